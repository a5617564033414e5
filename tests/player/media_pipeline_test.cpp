// Media pipeline in the test process: the sink's geometry and rotation for display settings,
// and a run whose stop comes at any moment, racing the teardown.
#include "player/media_pipeline.h"
#include "player/player.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <thread>

namespace {

const std::string MediaDir = VIDEOD_BINARY_DIR "/media/";

// The run whose main loop gets a stop just before it starts running.
std::atomic<MediaPipeline*> lateStopTarget{nullptr};

} // namespace

// Stands in for GLib's g_main_loop_run in this test program, so that a stop can be placed
// exactly where a quit used to be lost: after the run checked stopRequested, before the
// loop runs. The stop does what the Player's stop does.
extern "C" void g_main_loop_run(GMainLoop* loop) {
    using Run = void (*)(GMainLoop*);
    static Run realRun = reinterpret_cast<Run>(dlsym(RTLD_NEXT, "g_main_loop_run"));
    MediaPipeline* media = lateStopTarget.load();
    if (media && loop == media->mainLoop && lateStopTarget.exchange(nullptr)) {
        media->stopRequested = true;
        sysman::MutexLock held(media->lock);
        (void)gst_element_set_state(media->pipeline, GST_STATE_NULL);
        g_main_loop_quit(loop);
    }
    realRun(loop);
}

namespace {

class MediaPipelineTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        gst_registry_fork_set_enabled(FALSE);
        gst_init(nullptr, nullptr);
    }
};

struct Geometry {
    DisplaySettings display;
    gint width, height, left, top, rotate;
};

TEST_F(MediaPipelineTest, DisplaySettingsBecomeSinkProperties) {
    const Geometry cases[] = {
        {{720, 576, 10, 20, 0}, 720, 576, 10, 20, 0},
        {{721, 0, 10, 20, 1}, 728, 0, 7, 20, 90},
        {{724, 577, 10, 20, 2}, 728, 584, 8, 17, 180},
        {{727, 579, 10, 20, 3}, 728, 584, 10, 18, 270},
        {{-3, -8, 0, 0, 4}, 0, -8, -1, 0, 0},
        {{1, 2, 0, 0, -1}, 8, 8, -3, -3, 0},
    };
    for (const Geometry& expected : cases) {
        MediaPipeline media;
        media.display = expected.display;
        ASSERT_EQ(media.create(), 1);
        media.applyDisplaySettings();
        gint width = 0, height = 0, left = 0, top = 0, rotate = 0;
        g_object_get(media.sink, "disp-width", &width, "disp-height", &height, "axis-left", &left,
                     "axis-top", &top, "rotate", &rotate, nullptr);
        guint64 queueTime = 0;
        g_object_get(media.queue, "max-size-time", &queueTime, nullptr);
        media.teardown();
        EXPECT_EQ(width, expected.width) << expected.display.width;
        EXPECT_EQ(height, expected.height) << expected.display.height;
        EXPECT_EQ(left, expected.left) << expected.display.width;
        EXPECT_EQ(top, expected.top) << expected.display.height;
        EXPECT_EQ(rotate, expected.rotate) << expected.display.rotation;
        EXPECT_EQ(queueTime, 1000u);
        EXPECT_EQ(media.status.load(), PlayerStatus::Ended);
    }
}

TEST_F(MediaPipelineTest, StopJustBeforeTheLoopRunsIsNotLost) {
    MediaPipeline media;
    media.path = MediaDir + "short.mp4";
    lateStopTarget = &media;
    std::atomic<bool> done{false};
    std::thread worker([&] {
        MediaPipeline::run(&media);
        done = true;
    });
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(4);
    while (!done && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    bool ended = done;
    if (!ended) {
        sysman::MutexLock held(media.lock);
        g_main_loop_quit(media.mainLoop);
    }
    worker.join();
    EXPECT_EQ(lateStopTarget.load(), nullptr) << "the run never reached its main loop";
    EXPECT_TRUE(ended) << "the stop was lost";
}

// Commands are fired at the pipeline from the main thread until the worker has finished:
// each stop must end the run wherever it lands (before, during or after discovery, before
// or after the main loop started), and no command may touch the pipeline after its release.
TEST_F(MediaPipelineTest, StopAtAnyMomentEndsTheRun) {
    for (int delayMs = 0; delayMs <= 150; delayMs += 5) {
        Player player;
        ASSERT_TRUE(player.start(MediaDir + "short.mp4", DisplaySettings{}));
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        if (delayMs % 10 == 5)
            player.play();
        player.stop();
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(4);
        while (!player.finished() && std::chrono::steady_clock::now() < deadline) {
            player.play();
            player.pause();
            player.stop();
        }
        ASSERT_TRUE(player.finished()) << "stop lost after " << delayMs << " ms";
        EXPECT_EQ(player.status(), PlayerStatus::Ended);
    }
}

} // namespace
