// Media pipeline in the test process: the sink's geometry and rotation for display settings,
// as the stand-in display shows them, and stops that land at any moment of a run, racing its
// teardown.
#include "player/media_pipeline.h"
#include "player/player.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

TEST(MediaPipeline, DisplaySettingsBecomeSinkProperties) {
    gst_init(nullptr, nullptr);
    const struct {
        DisplaySettings display;
        // width, height, left, top, rotation; the stand-in's clockwise quarter turns and the
        // width it shows
        std::vector<gint> properties;
    } rows[] = {
        {{720, 576, 10, 20, 0}, {720, 576, 10, 20, 0, 0, 720}},
        {{721, 0, 10, 20, 1}, {728, 0, 7, 20, 90, 1, 728}},
        {{724, 577, 10, 20, 2}, {728, 584, 8, 17, 180, 2, 728}},
        {{727, 579, 10, 20, 3}, {728, 584, 10, 18, 270, 3, 728}},
        {{-3, -8, INT32_MIN, 0, 4}, {0, -8, INT32_MAX, 0, 0, 0, 0}}, // wraps, never overflows
        {{16384, 16384, 0, 0, 0}, {16384, 16384, 0, 0, 0, 0, 1024}},
    };
    for (const auto& row : rows) {
        MediaPipeline media;
        media.display = row.display;
        ASSERT_EQ(media.create(), 1);
        media.applyDisplaySettings();
        std::vector<gint> got(7);
        g_object_get(media.sink, "disp-width", &got[0], "disp-height", &got[1], "axis-left",
                     &got[2], "axis-top", &got[3], "rotate", &got[4], nullptr);
        GstElement* flip = gst_bin_get_by_name(GST_BIN(media.sink), "flip");
        GstElement* size = gst_bin_get_by_name(GST_BIN(media.sink), "size");
        GstCaps* caps = nullptr;
        g_object_get(flip, "method", &got[5], nullptr);
        g_object_get(size, "caps", &caps, nullptr);
        gst_structure_get_int(gst_caps_get_structure(caps, 0), "width", &got[6]);
        gst_caps_unref(caps);
        gst_object_unref(flip);
        gst_object_unref(size);
        media.teardown();
        EXPECT_EQ(got, row.properties);
    }
}

// Commands fired from the main thread until the worker has finished: each stop must end the
// run wherever it lands, and no command may touch the pipeline after its release.
TEST(MediaPipeline, StopAtAnyMomentEndsTheRun) {
    gst_init(nullptr, nullptr);
    for (int delayMs = 0; delayMs <= 150; delayMs += 10) {
        Player player;
        ASSERT_TRUE(player.start(VIDEOD_BINARY_DIR "/media/short.mp4", DisplaySettings{}));
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        player.play();
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!player.finished() && std::chrono::steady_clock::now() < deadline) {
            player.stop();
            player.pause();
        }
        ASSERT_TRUE(player.finished()) << "stop lost after " << delayMs << " ms";
        EXPECT_EQ(player.status(), PlayerStatus::Ended);
    }
}

} // namespace
