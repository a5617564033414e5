// Player process seen from the supervisor's side: report bytes, exit status and log lines
// for a played clip, a stop signal, and files the player cannot play.
#include "tests/player/player_child.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace {

const std::string MediaDir = VIDEOD_BINARY_DIR "/media/";

TEST(PlayerProcess, ReportsEachStateUntilItFinishesOnStop) {
    PlayerChild child;
    ASSERT_TRUE(child.start(MediaDir + "clip-a.mp4"));
    ASSERT_TRUE(child.waitForStatus("p", 10000)) << child.statusBytes << child.logText();
    child.send('g');
    ASSERT_TRUE(child.waitForStatus("g", 10000)) << child.statusBytes;
    child.send('p');
    ASSERT_TRUE(child.waitForStatus("pgp", 10000)) << child.statusBytes;
    child.send('g');
    ASSERT_TRUE(child.waitForStatus("pgpge", 20000)) << child.statusBytes;
    child.send('q');
    EXPECT_EQ(child.waitExit(10000), 0);
    EXPECT_EQ(child.statusBytes, "pgpgef");
    EXPECT_NE(child.logText().find("End of Stream \n"), std::string::npos);
}

TEST(PlayerProcess, StopSignalWhilePlayingIsAnOrderlyStop) {
    PlayerChild child;
    ASSERT_TRUE(child.start(MediaDir + "clip-b.mp4"));
    child.send('g');
    ASSERT_TRUE(child.waitForStatus("g", 10000)) << child.statusBytes;
    kill(child.pid(), SIGTERM);
    EXPECT_EQ(child.waitExit(10000), 0);
    EXPECT_EQ(child.statusBytes.back(), 'f');
}

// A missing file fails at once; a file that is no H.264 video ends when asked to play.
TEST(PlayerProcess, FilesItCannotPlayEndOrFail) {
    PlayerChild missing;
    ASSERT_TRUE(missing.start(MediaDir + "missing.mp4"));
    EXPECT_EQ(missing.waitExit(10000), 1);
    EXPECT_EQ(missing.statusBytes, "f");
    EXPECT_EQ(missing.logText(), "Couldn't open the video\n");
    for (const char* file : {"clip-mpeg4.mp4", "not-a-video.mp4"}) {
        PlayerChild child;
        ASSERT_TRUE(child.start(MediaDir + file));
        child.send('g');
        EXPECT_TRUE(child.waitForStatus("e", 10000)) << file << " " << child.statusBytes;
        child.send('q');
        EXPECT_EQ(child.waitExit(10000), 0) << file;
        EXPECT_EQ(child.statusBytes, "ef") << file;
    }
}

} // namespace
