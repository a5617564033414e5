// The whole service end to end: the real binary in a private network namespace, real player
// processes with the stand-in elements, generated clips. Which clip plays is told by the caps
// line each player prints: the clips of the rotation differ in width.
#include "tests/boardsim/board_session.h"
#include "tests/support/requests.h"
#include "tests/support/service_fixture.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <gst/gst.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testsupport::Bytes;
using testsupport::ControlClient;

constexpr int PlayTimeoutMs = 15000;

Bytes reply(uint8_t type, uint8_t code) {
    return testsupport::bareMessage(type, code);
}

class Playback : public testsupport::ServiceFixture {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/playbackXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        // Playlist entries cannot leave the playlist's directory, so the clips are linked in.
        for (const char* clip : {"clip-a.mp4", "clip-b.mp4", "clip-c.mp4", "clip-mpeg4.mp4",
                                 "truncated.mp4", "empty.mp4", "not-a-video.mp4"})
            ASSERT_EQ(symlink((std::string(VIDEOD_BINARY_DIR) + "/media/" + clip).c_str(),
                              (dir + "/" + clip).c_str()),
                      0);
        // Every player's display sink saves the screen here when its clip ends.
        screen = dir + "/screen.png";
        ASSERT_EQ(setenv("BOARDSIM_PNG", screen.c_str(), 1), 0);
        testsupport::ServiceFixture::SetUp();
        if (IsSkipped())
            return;
        ASSERT_TRUE(client.connect());
    }
    void TearDown() override {
        if (!dir.empty())
            (void)system(("rm -rf " + dir).c_str());
    }

    std::string playlist(const std::string& name, const std::string& lines) {
        std::ofstream(dir + "/" + name) << lines;
        return dir + "/" + name;
    }
    void expectReply(const Bytes& request, const Bytes& expected) {
        EXPECT_EQ(ask(client, request), expected);
    }
    // Position of the next caps line of a clip of the given width after offset, or npos.
    size_t nextClip(int width, size_t offset, int timeoutMs = PlayTimeoutMs) {
        return service.waitForOutput("width=(int)" + std::to_string(width) + ",", timeoutMs,
                                     offset);
    }

    std::string dir;
    std::string screen;
    ControlClient client;
};

constexpr int WidthA = 320;
constexpr int WidthB = 240;
constexpr int WidthC = 160;

TEST_F(Playback, PlaysTheListInOrderAndWrapsAround) {
    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    expectReply(
        testsupport::loadPlaylistRequest(
            playlist("list.txt", "clip-a.mp4\r\n:comment\nclip-b.mp4\nclip-c.mp4\n"), false),
        reply(48, 2));
    size_t at = 0;
    for (int width : {WidthA, WidthB, WidthC, WidthA}) {
        at = nextClip(width, at);
        ASSERT_NE(at, std::string::npos) << "no clip of width " << width << "\n"
                                         << service.outputText() << service.errorText();
        ++at;
    }
    EXPECT_NE(service.errorText().find("End of Stream \n"), std::string::npos);
}

TEST_F(Playback, StartsPausedThenFollowsPlayPauseStopAndNext) {
    expectReply(
        testsupport::loadPlaylistRequest(playlist("list.txt", "clip-a.mp4\nclip-b.mp4\n"), false),
        reply(48, 2));
    ASSERT_NE(service.waitForError("to PAUSED:", PlayTimeoutMs), std::string::npos);
    EXPECT_EQ(service.waitForError("to PLAYING:", 500), std::string::npos);

    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    size_t playing = service.waitForError("from PAUSED to PLAYING:", PlayTimeoutMs);
    ASSERT_NE(playing, std::string::npos);
    expectReply(testsupport::playModeRequest(2), reply(49, 2));
    ASSERT_NE(service.waitForError("from PLAYING to PAUSED:", 5000, playing), std::string::npos);

    // Next while paused: the second clip starts, paused.
    size_t before = service.outputText().size();
    expectReply(testsupport::nextRequest(), reply(50, 2));
    ASSERT_NE(nextClip(WidthB, before), std::string::npos);

    expectReply(testsupport::playModeRequest(0), reply(49, 2));
    for (int i = 0; i < 100 && !service.children().empty(); ++i)
        usleep(50000);
    EXPECT_TRUE(service.children().empty());
    size_t stoppedAt = service.outputText().size();
    EXPECT_EQ(nextClip(WidthA, stoppedAt, 1000), std::string::npos)
        << "nothing starts when stopped";

    // Play after stop starts the entry after the stopped one.
    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    EXPECT_NE(nextClip(WidthA, stoppedAt), std::string::npos);
}

TEST_F(Playback, LoadWithStopEndsTheCurrentClipAtOnce) {
    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    expectReply(testsupport::loadPlaylistRequest(playlist("one.txt", "clip-a.mp4\n"), false),
                reply(48, 2));
    ASSERT_NE(service.waitForError("to PLAYING:", PlayTimeoutMs), std::string::npos);
    size_t before = service.outputText().size();
    expectReply(testsupport::loadPlaylistRequest(playlist("two.txt", "clip-c.mp4\n"), true),
                reply(48, 2));
    // clip-a lasts two seconds; the new list's clip starts well before it would have ended.
    EXPECT_NE(nextClip(WidthC, before, 1500), std::string::npos);
}

TEST_F(Playback, UnplayableEntriesAreSkippedWithoutStallingTheRotation) {
    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    expectReply(testsupport::loadPlaylistRequest(
                    playlist("bad.txt", "missing.mp4\nclip-mpeg4.mp4\ntruncated.mp4\nempty.mp4\n"
                                        "not-a-video.mp4\nclip-b.mp4\n"),
                    false),
                reply(48, 2));
    size_t first = nextClip(WidthB, 0);
    ASSERT_NE(first, std::string::npos) << service.errorText();
    EXPECT_NE(nextClip(WidthB, first + 1, 2 * PlayTimeoutMs), std::string::npos)
        << service.errorText();
    EXPECT_NE(service.errorText().find("Couldn't open the video\n"), std::string::npos);
}

TEST_F(Playback, DisplaySettingsReachTheNextClipsSink) {
    // 200x104 at (300, 200), turned a quarter: the red clip covers 104x200 there.
    expectReply(testsupport::displayRequest(200, 104, 300, 200, 1), reply(32, 2));
    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    expectReply(testsupport::loadPlaylistRequest(playlist("one.txt", "clip-a.mp4\n"), false),
                reply(48, 2));
    ASSERT_NE(service.waitForError("End of Stream \n", PlayTimeoutMs), std::string::npos)
        << service.errorText() << service.outputText();
    expectReply(testsupport::playModeRequest(0), reply(49, 2));
    for (int i = 0; i < 100 && !service.children().empty(); ++i)
        usleep(50000);

    gst_registry_fork_set_enabled(FALSE);
    gst_init(nullptr, nullptr);
    boardsim_test::Image image = boardsim_test::loadPng(screen);
    ASSERT_GT(image.width, 0) << "no screen saved at " << screen;
    auto red = [&](int x, int y) {
        boardsim_test::Rgb p = image.at(x, y);
        return p.r > 200 && p.g < 60 && p.b < 60;
    };
    EXPECT_TRUE(red(303, 203));
    EXPECT_TRUE(red(300 + 100, 200 + 196));
    EXPECT_FALSE(red(300 + 110, 250)) << "wider than the turned picture";
    EXPECT_FALSE(red(350, 200 + 206)) << "taller than the turned picture";
    EXPECT_FALSE(red(296, 250));
}

TEST_F(Playback, ErrorRepliesAreByteExactAndChangeNothing) {
    expectReply(testsupport::request(49, {Bytes{3}}), reply(49, 5));
    expectReply(testsupport::request(49, {Bytes{}}), reply(49, 5));
    expectReply(testsupport::request(49, {Bytes{1, 0}}), reply(49, 5));
    expectReply(testsupport::request(49, {}), reply(49, 5));
    expectReply(testsupport::request(32, {Bytes{1, 2}}), reply(32, 5));
    expectReply(testsupport::request(32, {testsupport::int32Field(1), testsupport::int32Field(2),
                                          testsupport::int32Field(3), testsupport::int32Field(4),
                                          testsupport::int32Field(5)}),
                reply(32, 5));
    expectReply(testsupport::request(48, {}), reply(48, 5));
    expectReply(testsupport::request(48, {testsupport::wideField("/x"), Bytes{1, 1}}),
                reply(48, 5));
    expectReply(testsupport::request(17, {}), reply(17, 3));
    expectReply(testsupport::request(0, {}), reply(0, 3));
    expectReply(testsupport::request(255, {}), reply(255, 3));
    expectReply(Bytes{0xB1, 0xFB, 0x08, 0x00, 50, 7, 0, 0}, reply(50, 2));
    expectReply(testsupport::request(32, {}), reply(32, 2));
    // Loading a file that cannot be opened is still accepted; the service says why.
    expectReply(testsupport::loadPlaylistRequest(dir + "/none.txt", false), reply(48, 2));
    EXPECT_NE(service.waitForError("Couldn't open playlist\n", 2000), std::string::npos);
    EXPECT_TRUE(service.children().empty());
}

TEST_F(Playback, StopSignalLeavesNoPlayerProcessBehind) {
    expectReply(testsupport::playModeRequest(1), reply(49, 2));
    expectReply(testsupport::loadPlaylistRequest(playlist("one.txt", "clip-a.mp4\n"), false),
                reply(48, 2));
    ASSERT_NE(service.waitForError("to PLAYING:", PlayTimeoutMs), std::string::npos);
    std::vector<pid_t> players = service.children();
    ASSERT_EQ(players.size(), 1u);
    EXPECT_EQ(service.stop(SIGTERM), 0);
    struct stat info;
    EXPECT_NE(stat(("/proc/" + std::to_string(players[0])).c_str(), &info), 0)
        << "the player process is gone, not even a zombie";
}

} // namespace
