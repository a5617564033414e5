// The whole service end to end: the real binary in a private network namespace, real player
// processes on the stand-in elements, generated clips. Which clip plays is told by the caps
// line each player prints: the clips differ in width.
#include "supervisor/playlist_load.h"
#include "tests/support/service.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace testsupport;

// Ten times what a clip start takes on a loaded machine.
constexpr int PlayTimeoutMs = 15000;
// Play-mode requests are type 49 with one byte: 1 play, 2 pause, 0 stop.
const std::string ClipA = "width=(int)320,", ClipB = "width=(int)240,", ClipC = "width=(int)160,";

class Service : public ServiceFixture {
  protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        ASSERT_TRUE(IsSkipped() || client.open());
    }
    void expectReply(const Bytes& request, uint8_t type, uint8_t code) {
        EXPECT_EQ(ask(client, request), bareMessage(type, code));
    }
    void TearDown() override { unlink(list.c_str()); }
    // Playlist entries cannot leave the playlist's directory, so it lies beside the clips. It
    // stays there: the service's reader may open it after the reply.
    void load(const std::string& lines, bool stopCurrent = false) {
        std::ofstream(list) << lines;
        expectReply(loadPlaylistRequest(list, stopCurrent), 48, 2);
    }
    // Waits for each text in turn, each after the one before; returns the last position.
    size_t expectInOrder(std::initializer_list<std::string> texts, size_t at = 0) {
        for (const std::string& text : texts) {
            at = service.waitFor(text, PlayTimeoutMs, at);
            EXPECT_NE(at, std::string::npos) << "no " << text << " in\n" << service.text();
            if (at++ == std::string::npos)
                return at;
        }
        return at;
    }

    ControlClient client;
    const std::string list = VIDEOD_BINARY_DIR "/media/list-" + std::to_string(getpid());
};

// Replies to refused requests are byte-exact and change nothing; a second instance is refused;
// a stop signal ends the idle service.
TEST_F(Service, RefusalsAndStopSignalWhileIdle) {
    const Bytes i4 = int32Field(4);
    const struct {
        Bytes request;
        uint8_t type, code;
    } rows[] = {
        {request(49, {Bytes{3}}), 49, 5},
        {request(32, {i4, i4, i4, i4, i4}), 32, 5},
        {request(48, {wideField("/x"), Bytes{1, 1}}), 48, 5},
        {request(255, {}), 255, 3},
        {Bytes{0xB1, 0xFB, 8, 0, 50, 7, 0, 0}, 50, 2},
        {request(32, {i4, i4, i4, i4, Bytes{1}}), 32, 2},
        {request(32, {}), 32, 2},
        {loadPlaylistRequest("/nowhere/list", false), 48, 2},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ask(client, row.request), bareMessage(row.type, row.code)) << int(row.type);
    ServiceProcess second;
    second.keepErrorsApart();
    ASSERT_TRUE(second.start());
    EXPECT_EQ(second.stop(0), 1);
    EXPECT_EQ(second.text(ServiceProcess::Errors),
              "Binding to service address: Address already in use\n"
              "Is the service already running?\n");
    EXPECT_EQ(second.text(), "");
    EXPECT_EQ(service.stop(SIGINT), 0);
    EXPECT_EQ(service.text(ServiceProcess::Input), "Video sigint\n");

    // Started by another user on root's terminal, whose output is then suspended, with 1 and 2
    // closed, and no home for a plug-in registry: one is written in a private folder removed at
    // exit, the standard descriptors are /dev/null (not the socket), and a stop signal still
    // ends the service.
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const std::string temporary = testing::TempDir() + "videod-tmp-" + std::to_string(getpid());
    ASSERT_EQ(mkdir(temporary.c_str(), 0700) | chmod(temporary.c_str(), 0777), 0);
    const std::string asNobody = "setpriv --reuid=nobody --regid=nogroup --clear-groups ";
    ServiceProcess bare;
    ASSERT_TRUE(
        bare.start("/bin/sh", {"-c", "unset GST_REGISTRY HOME XDG_CACHE_HOME; TMPDIR=" + temporary +
                                         " GST_PLUGIN_SYSTEM_PATH=/nonexistent"
                                         " GST_PLUGIN_SYSTEM_PATH_1_0=/nonexistent exec " +
                                         asNobody + VIDEOD_BINARY_DIR "/supervisor/videod 0<>" +
                                         std::string(ptsname(terminal)) + " >&- 2>&-"}));
    ASSERT_TRUE(bare.waitUntilListening());
    const std::string written = "test -f " + temporary + "/videod-*/registry.bin";
    for (int i = 0; i < 6000 && system(written.c_str()) != 0; ++i)
        usleep(10000);
    EXPECT_EQ(system(written.c_str()), 0) << "no registry written";
    for (const char* fd : {"1", "2"})
        EXPECT_EQ(
            std::filesystem::read_symlink("/proc/" + std::to_string(bare.pid()) + "/fd/" + fd),
            "/dev/null");
    const int stopped = open(ptsname(terminal), O_RDWR | O_NOCTTY);
    ASSERT_EQ(tcflow(stopped, TCOOFF), 0);
    EXPECT_EQ(bare.stop(SIGTERM), 0) << "the stop waits for the terminal";
    EXPECT_EQ(rmdir(temporary.c_str()), 0) << "the private registry was left behind";
    // Run by another user while the output flows, the line comes all the same.
    ASSERT_EQ(tcflow(stopped, TCOON), 0);
    ServiceProcess user;
    ASSERT_TRUE(user.start("/bin/sh",
                           {"-c", "exec " + asNobody + VIDEOD_BINARY_DIR "/supervisor/videod 0<>" +
                                      ptsname(terminal)}));
    ASSERT_TRUE(user.waitUntilListening());
    EXPECT_EQ(user.stop(SIGTERM), 0);
    struct pollfd said = {terminal, POLLIN, 0};
    char text[64] = {};
    EXPECT_TRUE(poll(&said, 1, 10000) == 1 && read(terminal, text, sizeof text - 1) > 0);
    EXPECT_STREQ(text, "Video sigint\r\n");
    close(stopped);
    close(terminal);
}

TEST_F(Service, PlaysTheListInOrderSkippingBadEntriesAndWrapsAround) {
    // A FIFO fails like a missing file, without hanging; a name that a URI must escape plays.
    const std::string fifo = "fifo" + std::to_string(getpid()), clipC = "c#%41?" + fifo;
    ASSERT_EQ(mkfifo((VIDEOD_BINARY_DIR "/media/" + fifo).c_str(), 0600), 0);
    ASSERT_EQ(symlink("clip-c.mp4", (VIDEOD_BINARY_DIR "/media/" + clipC).c_str()), 0);
    expectReply(request(49, {Bytes{1}}), 49, 2);
    load("missing.mp4\nclip-b.mp4\r\n:clip-a.mp4\nclip-mpeg4.mp4\ntruncated.mp4\nempty.mp4\n"
         "not-a-video.mp4\n" +
         fifo + "\n" + clipC);
    // The MPEG-4 clip comes between the end of the second and the next H.264 caps line.
    const size_t mpeg4 = expectInOrder({"Couldn't open the video\n", ClipB, "End of Stream \n"});
    const size_t next = expectInOrder({"caps are video/x-h264"}, mpeg4);
    EXPECT_EQ(service.text().substr(mpeg4, next - mpeg4).find("NULL to READY"), std::string::npos)
        << "a clip that is not H.264 reached the pipeline";
    expectInOrder({"Couldn't open the video\n", ClipC, ClipB}, next);
    unlink((VIDEOD_BINARY_DIR "/media/" + fifo).c_str());
    unlink((VIDEOD_BINARY_DIR "/media/" + clipC).c_str());
}

TEST_F(Service, FollowsPauseNextPlayAndStop) {
    load("clip-a.mp4\nclip-b.mp4\nclip-c.mp4\n");
    size_t at = expectInOrder({ClipA, "to PAUSED:"});
    EXPECT_EQ(service.waitFor("to PLAYING:", 500, at), std::string::npos);
    expectReply(request(49, {Bytes{1}}), 49, 2);
    at = expectInOrder({"from PAUSED to PLAYING:"}, at);
    expectReply(request(49, {Bytes{2}}), 49, 2);
    at = expectInOrder({"from PLAYING to PAUSED:"}, at);

    // Next while paused: the second clip starts paused. A paused player that dies without a
    // last report wakes nothing but its end: the third starts paused at once.
    expectReply(request(50, {}), 50, 2);
    at = expectInOrder({ClipB, "to PAUSED:"}, at);
    EXPECT_EQ(service.waitFor("to PLAYING:", 1000, at), std::string::npos);
    ASSERT_EQ(service.children().size(), 1u);
    kill(service.children()[0], SIGKILL);
    at = expectInOrder({ClipC, "to PAUSED:"}, at);
    // Next while playing: the first plays.
    expectReply(request(49, {Bytes{1}}), 49, 2);
    at = expectInOrder({"to PLAYING:"}, at);
    expectReply(request(50, {}), 50, 2);
    at = expectInOrder({ClipA, "to PLAYING:"}, at);

    // Stop ends the player and nothing starts; Next then skips one entry for the next Play.
    expectReply(request(49, {Bytes{0}}), 49, 2);
    for (int i = 0; i < 200 && !service.children().empty(); ++i)
        usleep(50000);
    EXPECT_TRUE(service.children().empty());
    at = service.text().size();
    EXPECT_EQ(service.waitFor("file caps", 1000, at), std::string::npos);
    expectReply(request(50, {}), 50, 2);
    expectReply(request(49, {Bytes{1}}), 49, 2);
    expectInOrder({"file caps", ClipC}, at);
    EXPECT_EQ(service.text().find(ClipB, at), std::string::npos);
}

TEST_F(Service, LoadWithStopEndsTheClipAndStopSignalLeavesNoPlayer) {
    expectReply(request(49, {Bytes{1}}), 49, 2);
    load("clip-a.mp4\n");
    size_t at = expectInOrder({"to PLAYING:"});
    load("clip-c.mp4\n", true);
    expectInOrder({ClipC, "to PLAYING:"}, at);
    EXPECT_EQ(service.text().find("End of Stream", at), std::string::npos)
        << "the first clip was stopped, not played to its end";
    std::vector<pid_t> players = service.children();
    ASSERT_EQ(players.size(), 1u);
    const auto descriptors = [](pid_t pid) {
        std::set<std::string> links;
        for (const auto& fd :
             std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd"))
            links.insert(std::filesystem::read_symlink(fd).string());
        return links;
    };
    const std::set<std::string> held = descriptors(players[0]);
    for (const std::string& link : descriptors(service.pid()))
        EXPECT_TRUE(link.rfind("socket:", 0) != 0 || held.count(link) == 0)
            << "the player holds the service's " << link;
    EXPECT_EQ(service.stop(SIGTERM), 0);
    EXPECT_NE(kill(players[0], 0), 0) << "the player process is gone, not even a zombie";
}

// A player frozen in the kernel does not die when killed: the service serves on and starts no
// other player until it has gone, and a stop signal does not wait for it.
TEST_F(Service, APlayerThatCannotDieHoldsNothingUp) {
    const std::string cgroup = "/sys/fs/cgroup/freezer/videod-" + std::to_string(getpid());
    if (mkdir(cgroup.c_str(), 0700) != 0)
        GTEST_SKIP() << "no cgroup freezer: " << strerror(errno);
    auto freeze = [&](const char* state) {
        for (pid_t player : service.children())
            std::ofstream(cgroup + "/cgroup.procs") << player;
        std::ofstream(cgroup + "/freezer.state") << state;
    };
    expectReply(request(49, {Bytes{1}}), 49, 2);
    load("clip-a.mp4\nclip-b.mp4\n");
    size_t at = expectInOrder({ClipA, "to PLAYING:"});
    const std::vector<pid_t> frozen = service.children();
    freeze("FROZEN");
    expectReply(request(50, {}), 50, 2);
    const int cpuBefore = service.cpuMs();
    usleep(3000000); // past the stop grace, so it has been killed
    expectReply(request(49, {Bytes{1}}), 49, 2);
    EXPECT_EQ(service.children(), frozen) << "a second player while the first lingers";
    EXPECT_LT(service.cpuMs() - cpuBefore, 500) << "the service polls for the lingering player";
    freeze("THAWED");
    at = expectInOrder({"file caps", "to PLAYING:"}, at);
    freeze("FROZEN");
    EXPECT_EQ(service.stop(SIGTERM), 0);
    freeze("THAWED");
    for (int i = 0; i < 500 && rmdir(cgroup.c_str()) != 0; ++i)
        usleep(10000);
}

// A playlist whose open never returns (a FIFO without a writer stands for a file system that
// stops answering): clients get replies meanwhile, the reader is killed at its deadline, the
// next load plays, and a stop signal during a hung read ends the service and the reader.
TEST_F(Service, APlaylistThatNeverOpensHoldsNothingUp) {
    const std::string fifo = list + "-fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    expectReply(loadPlaylistRequest(fifo, false), 48, 2);
    EXPECT_EQ(ask(client, request(49, {Bytes{1}}), 1000), bareMessage(49, 2));
    EXPECT_NE(service.waitFor("Couldn't open playlist\n", 10 * PlaylistReadMs), std::string::npos);
    load("clip-b.mp4\n");
    expectInOrder({ClipB, "to PLAYING:"});
    expectReply(loadPlaylistRequest(fifo, true), 48, 2);
    usleep(200000);
    const std::vector<pid_t> children = service.children();
    EXPECT_EQ(children.size(), 2u) << "a player and a reader";
    EXPECT_EQ(service.stop(SIGTERM, 1000), 0);
    for (pid_t child : children)
        EXPECT_NE(kill(child, 0), 0) << "a child outlived the service";
    unlink(fifo.c_str());
}

// A plug-in scan that never ends (a scanner that hangs stands for a plug-in whose init hangs):
// the scanner the registry update started goes with it when the service stops.
TEST_F(Service, AHungPluginScanLeavesNoProcessBehind) {
    EXPECT_EQ(service.stop(SIGTERM), 0);
    const std::string base = testing::TempDir() + "scan-" + std::to_string(getpid());
    std::ofstream(base + ".sh") << "#!/bin/sh\necho $$ >" << base << ".pid\nexec sleep 60\n";
    ASSERT_EQ(chmod((base + ".sh").c_str(), 0700), 0);
    ServiceProcess hung;
    ASSERT_TRUE(hung.start(
        "/bin/sh", {"-c", "GST_REGISTRY_FORK=yes GST_REGISTRY=" + base +
                              ".bin GST_PLUGIN_SCANNER=" + base + ".sh GST_PLUGIN_SCANNER_1_0=" +
                              base + ".sh exec " VIDEOD_BINARY_DIR "/supervisor/videod"}));
    pid_t scanner = 0;
    for (int i = 0; i < 1000 && !(std::ifstream(base + ".pid") >> scanner); ++i)
        usleep(10000);
    ASSERT_GT(scanner, 0) << "no plug-in scan started";
    const int scan = static_cast<int>(syscall(SYS_pidfd_open, scanner, 0)); // readable at its end
    ASSERT_GE(scan, 0);
    EXPECT_EQ(hung.stop(SIGTERM, 1000), 0);
    struct pollfd exited = {scan, POLLIN, 0};
    EXPECT_EQ(poll(&exited, 1, 1000), 1) << "the scanner outlived the service";
    if (exited.revents == 0)
        kill(scanner, SIGKILL);
    close(scan);
    for (const char* suffix : {".sh", ".pid", ".bin"})
        unlink((base + suffix).c_str());
}

// Another GStreamer program rewrites the service's registry without the stand-ins: the next
// player cannot create its elements, the service updates the registry and plays again.
TEST_F(Service, ARegistryRewrittenByAnotherProgramIsUpdatedAgain) {
    EXPECT_EQ(service.stop(SIGTERM), 0);
    const std::string registry = testing::TempDir() + "registry-" + std::to_string(getpid());
    std::filesystem::copy_file(getenv("GST_REGISTRY"), registry);
    ServiceProcess own;
    ASSERT_TRUE(own.start("/bin/sh", {"-c", "GST_REGISTRY=" + registry +
                                                " exec " VIDEOD_BINARY_DIR "/supervisor/videod"}));
    ASSERT_TRUE(own.waitUntilListening() && client.open());
    std::ofstream(list) << "clip-a.mp4\nclip-b.mp4\n";
    EXPECT_EQ(ask(client, loadPlaylistRequest(list, false)), bareMessage(48, 2));
    EXPECT_EQ(ask(client, request(49, {Bytes{1}})), bareMessage(49, 2));
    size_t at = own.waitFor("to PLAYING:", PlayTimeoutMs);
    // The tests' registry writer exits 1 when it finds no stand-in.
    ASSERT_EQ(runProgram("/bin/sh", {"-c", "env -u GST_PLUGIN_PATH GST_REGISTRY=" + registry +
                                               " " VIDEOD_BINARY_DIR "/tests/gst_registry_warmup"})
                  .first,
              1);
    for (const std::string& text :
         {"Pipeline elements could not be created." + std::string(),
          "Plug-in registry " + registry + " lacks", "to PLAYING:" + std::string()})
        EXPECT_NE(at = own.waitFor(text, 3 * PlayTimeoutMs, at), std::string::npos) << own.text();
    EXPECT_EQ(own.stop(SIGTERM), 0);
    unlink(registry.c_str());
}

TEST_F(Service, AHungPlayerDiesWithAServiceKilledOutright) {
    load("clip-a.mp4\n");
    expectInOrder({"to PAUSED:"});
    std::vector<pid_t> players = service.children();
    ASSERT_EQ(players.size(), 1u);
    // Readable once the orphan has exited.
    int player = static_cast<int>(syscall(SYS_pidfd_open, players[0], 0));
    ASSERT_GE(player, 0);
    ASSERT_EQ(kill(players[0], SIGSTOP), 0);
    service.stop(SIGKILL);
    struct pollfd exited = {player, POLLIN, 0};
    EXPECT_EQ(poll(&exited, 1, 10000), 1) << "the player outlived its service";
    if (exited.revents == 0)
        kill(players[0], SIGKILL);
}

// The lines the service and its players print are part of its interface: byte for byte, each
// on its own stream, in order. Of a clip with two H.264 tracks only the first is linked; one
// that the board's decoder refuses ends with an error line, and the service goes on.
class ServiceLines : public Service {
  protected:
    void SetUp() override {
        service.keepErrorsApart();
        Service::SetUp();
    }
    // The lines of text but those that report a pipeline's state, which race the demuxer's
    // lines; they are collected in states, to be checked whole.
    static std::string withoutStateLines(const std::string& text, std::string& states) {
        std::string rest;
        for (size_t at = 0, end; at < text.size(); at = end) {
            end = std::min(text.find('\n', at), text.size() - 1) + 1;
            const std::string line = text.substr(at, end - at);
            (line.rfind("Pipeline state changed from ", 0) == 0 ? states : rest) += line;
        }
        return rest;
    }
};

TEST_F(ServiceLines, EachOnItsStreamByteForByte) {
    // The first pass of the loop, which finds no playlist, may come after the socket accepts.
    service.waitFor("Could not load any videos \n", PlayTimeoutMs, 0, ServiceProcess::Errors);
    expectReply(loadPlaylistRequest("/nowhere/list", false), 48, 2);
    // A reader child tries the file; the next load would replace it before it says so.
    service.waitFor("Couldn't open playlist\nCould not load any videos \n", PlayTimeoutMs, 0,
                    ServiceProcess::Errors);
    expectReply(request(49, {Bytes{1}}), 49, 2);
    load("missing.mp4\nclip-c.mp4\nclip-444.mp4\nclip-two-video.mp4\n");
    const auto pad = [](char number) {
        return std::string("Received new pad '") + VIDEO_PAD_PREFIX + number +
               "' from 'boardsimaiurdemux0':\n";
    };
    const std::string linked = " Link succeeded (type 'video/x-h264').\n";
    const std::string wanted = "Could not load any videos \nCouldn't open playlist\n"
                               "Could not load any videos \nCouldn't open the video\n" +
                               pad('0') + linked + "End of Stream \n" + pad('0') + linked +
                               "Error: H.264 in 4:4:4 chroma format is not supported\n" + pad('0') +
                               linked + pad('1') +
                               " Type is 'video/x-h264' but link failed.\n"
                               "End of Stream \n";
    const size_t failed = service.waitFor("link failed", PlayTimeoutMs, 0, ServiceProcess::Errors);
    service.waitFor("End of Stream \n", PlayTimeoutMs, failed, ServiceProcess::Errors);
    EXPECT_EQ(service.stop(SIGINT), 0);
    std::string states;
    EXPECT_EQ(
        withoutStateLines(service.text(ServiceProcess::Errors), states).substr(0, wanted.size()),
        wanted);
    EXPECT_NE(
        states.find("from READY to PAUSED:\nPipeline state changed from PAUSED to PLAYING:\n"),
        std::string::npos)
        << states;

    // Standard output has the caps line of each clip that passed discovery, in turn.
    std::istringstream output(service.text());
    std::string line;
    for (const char* width : {"width=(int)160,", "width=(int)320,", "width=(int)320,"}) {
        ASSERT_TRUE(std::getline(output, line)) << service.text();
        EXPECT_EQ(line.rfind("file caps are video/x-h264, ", 0), 0u) << line;
        EXPECT_NE(line.find(width), std::string::npos) << line;
        EXPECT_EQ(line.back(), ' ') << line;
    }
    EXPECT_TRUE(output.peek() == EOF || output.peek() == 'f') << service.text();
}

// Started by systemd (NOTIFY_SOCKET set): ready once its socket is bound, then one status line
// per change, naming what it does, the video's number, the total and the path.
class NotifiedService : public Service {
  protected:
    void SetUp() override {
        ASSERT_TRUE(bindNotify());
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
        Service::SetUp();
        unsetenv("NOTIFY_SOCKET");
    }
    void TearDown() override {
        close(notify);
        unlink(path.c_str());
    }
    bool bindNotify() {
        struct sockaddr_un address {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        unlink(path.c_str());
        notify = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        return bind(notify, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    // The next datagram; empty after ten times a clip's start.
    std::string next() {
        struct pollfd ready = {notify, POLLIN, 0};
        char text[8192];
        const ssize_t got =
            poll(&ready, 1, PlayTimeoutMs) == 1 ? recv(notify, text, sizeof text, 0) : 0;
        return std::string(text, got > 0 ? size_t(got) : 0);
    }

    std::string path = testing::TempDir() + "notify-" + std::to_string(getpid());
    int notify = -1;
};

TEST_F(NotifiedService, SaysReadyThenWhatItPlays) {
    EXPECT_EQ(next(), "READY=1");
    expectReply(request(49, {Bytes{1}}), 49, 2);
    load("clip-c.mp4\nclip-b.mp4\n");
    const std::string clips = VIDEOD_BINARY_DIR "/media/";
    std::vector<std::string> said;
    for (std::string line = next(); !line.empty() && said.size() < 30; line = next()) {
        said.push_back(line);
        if (line == "STATUS=Playing video 2 of 2: " + clips + "clip-b.mp4")
            break;
    }
    const std::vector<std::string> wanted = {"STATUS=Playing video 1 of 2: " + clips + "clip-c.mp4",
                                             "STATUS=Playing video 2 of 2: " + clips +
                                                 "clip-b.mp4"};
    std::vector<std::string> seen;
    std::copy_if(said.begin(), said.end(), std::back_inserter(seen), [&](const std::string& line) {
        return line.find("Playing") != std::string::npos;
    });
    EXPECT_EQ(seen, wanted);
    for (size_t i = 1; i < said.size(); ++i)
        EXPECT_NE(said[i], said[i - 1]) << "sent twice";

    // A new playlist while the clip plays: it is still the one named until the next starts.
    load("missing.mp4\n");
    std::string line;
    while ((line = next()).find("missing") == std::string::npos && !line.empty())
        EXPECT_NE(line.find("clip-b.mp4"), std::string::npos) << line;
    EXPECT_EQ(line, "STATUS=Starting video 1 of 1: " + clips + "missing.mp4");
    // A status that could not be sent goes at the next pass once systemd listens again.
    close(notify);
    expectReply(request(49, {Bytes{0}}), 49, 2);
    usleep(500000);
    ASSERT_TRUE(bindNotify());
    EXPECT_FALSE(ask(client, request(16, {})).empty());
    EXPECT_EQ(next().rfind("STATUS=Stop", 0), 0u);
}

} // namespace
