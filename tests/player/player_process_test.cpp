// Player process seen from the supervisor's side: report bytes, exit status and log lines
// for a played clip, for each failure exit and for files the player cannot play.
#include "tests/player/player_child.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace {

const std::string MediaDir = VIDEOD_BINARY_DIR "/media/";

// Report bytes a player may send before its last byte "f".
void expectOnlyReports(const std::string& bytes) {
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(bytes.back(), 'f');
    EXPECT_EQ(bytes.find('f'), bytes.size() - 1) << bytes;
    EXPECT_EQ(bytes.find_first_not_of("qpgef"), std::string::npos) << bytes;
}

TEST(PlayerProcess, PausesPlaysEndsAndFinishesOnStop) {
    PlayerChild child;
    ASSERT_TRUE(child.start(MediaDir + "clip-a.mp4"));
    ASSERT_TRUE(child.waitForStatus('p', 5000)) << child.statusBytes << child.logText;
    // The log is line-buffered: the state line is there while the child still runs.
    EXPECT_TRUE(child.waitForLog("Pipeline state changed from READY to PAUSED:\n", 1000));
    EXPECT_TRUE(child.waitForLog(" Link succeeded (type 'video/x-h264').\n", 1000));
    child.send('g');
    ASSERT_TRUE(child.waitForStatus('g', 2000)) << child.statusBytes;
    ASSERT_TRUE(child.waitForStatus('e', 5000)) << child.statusBytes;
    EXPECT_EQ(child.statusBytes, "pge");
    EXPECT_NE(child.logText.find("End of Stream \n"), std::string::npos);
    child.send('q');
    EXPECT_EQ(child.waitExit(3000), 0);
    expectOnlyReports(child.statusBytes);
    EXPECT_EQ(child.statusBytes.rfind("pge", 0), 0u) << child.statusBytes;
}

TEST(PlayerProcess, StopSignalWhilePlayingIsAnOrderlyStop) {
    for (int signal : {SIGTERM, SIGINT}) {
        PlayerChild child;
        ASSERT_TRUE(child.start(MediaDir + "clip-b.mp4"));
        child.send('g');
        ASSERT_TRUE(child.waitForStatus('g', 5000)) << child.statusBytes;
        kill(child.pid(), signal);
        EXPECT_EQ(child.waitExit(3000), 0) << signal;
        expectOnlyReports(child.statusBytes);
    }
}

TEST(PlayerProcess, StopDuringDiscoveryReportsOnlyFinished) {
    PlayerChild child;
    ASSERT_TRUE(child.start(MediaDir + "clip-c.mp4"));
    child.send('q');
    EXPECT_EQ(child.waitExit(4000), 0);
    EXPECT_EQ(child.statusBytes, "f");
}

struct FailureCase {
    const char* name;
    std::string path;
    bool closeCommands;
    std::string logStart;
    std::string statusBytes;
};

TEST(PlayerProcess, FailureExitsWriteOneLineAndStatusOne) {
    const FailureCase cases[] = {
        {"empty path", "", false, "", ""},
        {"missing file", MediaDir + "missing.mp4", false, "Couldn't open the video\n", "f"},
        {"command pipe closed", MediaDir + "clip-a.mp4", true, "Control pipe closed!", "f"},
    };
    for (const FailureCase& failure : cases) {
        PlayerChild child;
        ASSERT_TRUE(child.start(failure.path));
        if (failure.closeCommands)
            child.closeCommands();
        EXPECT_EQ(child.waitExit(4000), 1) << failure.name;
        EXPECT_EQ(child.statusBytes, failure.statusBytes) << failure.name;
        EXPECT_EQ(child.logText.rfind(failure.logStart, 0), 0u) << failure.name << child.logText;
        if (failure.logStart.empty() || failure.logStart.back() == '\n') {
            EXPECT_EQ(child.logText, failure.logStart) << failure.name;
        }
    }
}

// Asked to play, a file the player cannot play ends with "e" instead of hanging: the
// discoverer turns the first three away, the truncated clip stops with an error or its end.
TEST(PlayerProcess, UnplayableFilesEnd) {
    const char* files[] = {"clip-mpeg4.mp4", "empty.mp4", "not-a-video.mp4", "truncated.mp4"};
    for (const char* file : files) {
        PlayerChild child;
        ASSERT_TRUE(child.start(MediaDir + file));
        child.send('g');
        EXPECT_TRUE(child.waitForStatus('e', 4000)) << file << " " << child.statusBytes;
        child.send('q');
        EXPECT_EQ(child.waitExit(3000), 0) << file;
        expectOnlyReports(child.statusBytes);
        if (file == files[0]) {
            EXPECT_NE(child.outputText.find("file caps are video/mpeg"), std::string::npos)
                << child.outputText;
        }
    }
}

TEST(PlayerProcess, OnlyTheFirstH264PadIsLinked) {
    struct Clip {
        const char* file;
        size_t newPads;
        bool secondLinkFails;
    };
    for (Clip clip : {Clip{"clip-audio.mp4", 2, false}, Clip{"clip-two-video.mp4", 2, true}}) {
        PlayerChild child;
        ASSERT_TRUE(child.start(MediaDir + clip.file));
        ASSERT_TRUE(child.waitForStatus('p', 5000)) << clip.file;
        child.send('q');
        EXPECT_EQ(child.waitExit(3000), 0);
        size_t pads = 0;
        for (size_t at = 0;
             (at = child.logText.find("Received new pad '", at)) != std::string::npos; ++at)
            ++pads;
        EXPECT_EQ(pads, clip.newPads) << clip.file << child.logText;
        EXPECT_NE(child.logText.find(" Link succeeded (type 'video/x-h264').\n"),
                  std::string::npos);
        EXPECT_EQ(child.logText.find(" Type is 'video/x-h264' but link failed.\n") !=
                      std::string::npos,
                  clip.secondLinkFails)
            << clip.file << child.logText;
    }
}

// The leaks tracer reports every GStreamer object still alive at gst_deinit.
TEST(PlayerProcess, NoGStreamerObjectOutlivesThePlayer) {
    PlayerChild child;
    ASSERT_TRUE(child.start(MediaDir + "short.mp4", {},
                            "GST_TRACERS=leaks;GST_DEBUG=GST_TRACER:7;GST_DEBUG_NO_COLOR=1"));
    child.send('g');
    ASSERT_TRUE(child.waitForStatus('e', 5000)) << child.statusBytes;
    child.send('q');
    EXPECT_EQ(child.waitExit(3000), 0);
    EXPECT_NE(child.outputText.find("GST_TRACER"), std::string::npos) << "tracer did not run";
    // The record's format line also names object-alive, but with a %s for the type.
    const std::string leak = "object-alive, type-name=(string)";
    for (size_t at = 0; (at = child.outputText.find(leak, at)) != std::string::npos; ++at) {
        EXPECT_EQ(child.outputText.compare(at + leak.size(), 2, "%s"), 0)
            << child.outputText.substr(at, 200);
    }
}

} // namespace
