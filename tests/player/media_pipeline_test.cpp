// Media pipeline in the test process: the sink's geometry and rotation for display settings,
// as the stand-in display shows them, every picture of a clip on the display in order, and
// stops that land at any moment of a run, racing its teardown.
#include "boardsim/gst_compat.h"
#include "player/media_pipeline.h"
#include "player/player.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
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

// The time stamps of the pictures that reach the display, taken on the streaming thread.
struct Shown {
    std::mutex lock;
    std::vector<GstClockTime> times;
};

void onShown(GstBuffer* picture, gpointer data) {
    Shown& shown = *static_cast<Shown*>(data);
    std::lock_guard<std::mutex> hold(shown.lock);
    shown.times.push_back(GST_BUFFER_TIMESTAMP(picture));
}

void onEnd(GstPad*, gpointer) {}

// B-frames leave the decoder reordered for display, and it holds pictures back until the end
// of the stream: each picture must still reach the display, later than the one before. The
// parameter sets of an avc3 track come in the stream (the 0.10 demuxer does not know avc3).
TEST(MediaPipeline, EveryPictureReachesTheDisplayInOrder) {
    gst_init(nullptr, nullptr);
    const struct {
        const char* clip;
        size_t pictures;
    } rows[] = {{"clip-bframes.mp4", 75}, {"clip-avc3.mp4", AVC3_PICTURES}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.clip);
        if (row.pictures == 0)
            continue;
        MediaPipeline media;
        ASSERT_EQ(media.create(), 1);
        const std::string path = VIDEOD_BINARY_DIR "/media/" + std::string(row.clip);
        g_object_set(media.source, "location", path.c_str(), nullptr);
        ASSERT_EQ(media.link(), 1);
        media.applyDisplaySettings();
        Shown shown;
        GstPad* pad = gst_element_get_static_pad(media.sink, "sink");
        watchFrames<onShown, onEnd>(pad, &shown, nullptr);
        gst_object_unref(pad);
        gst_element_set_state(media.pipeline, GST_STATE_PLAYING);
        GstBus* bus = gst_element_get_bus(media.pipeline);
        GstMessage* end = gst_bus_timed_pop_filtered(
            bus, 30 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        ASSERT_NE(end, nullptr) << "no end within ten times the clip's length";
        EXPECT_EQ(GST_MESSAGE_TYPE(end), GST_MESSAGE_EOS);
        gst_message_unref(end);
        gst_object_unref(bus);
        gst_element_set_state(media.pipeline, GST_STATE_NULL);
        media.teardown();
        std::lock_guard<std::mutex> hold(shown.lock);
        EXPECT_EQ(shown.times.size(), row.pictures);
        for (size_t i = 1; i < shown.times.size(); ++i)
            EXPECT_GT(shown.times[i], shown.times[i - 1]) << "picture " << i;
    }
}

// An end that the bus delivers before the pipeline's own move to PAUSED or PLAYING (a clip that
// ends while it prerolls) stays the status; a later move down does not.
TEST(MediaPipeline, AnEndBeforeThePipelinesOwnMoveStays) {
    gst_init(nullptr, nullptr);
    const struct {
        bool error;
        GstState to;
        PlayerStatus status;
    } rows[] = {{false, GST_STATE_PLAYING, PlayerStatus::Ended},
                {true, GST_STATE_PAUSED, PlayerStatus::Ended},
                {false, GST_STATE_READY, PlayerStatus::Ready}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.to);
        MediaPipeline media;
        ASSERT_EQ(media.create(), 1);
        media.watchBus();
        GstObject* pipeline = GST_OBJECT(media.pipeline);
        GError* error = g_error_new_literal(GST_STREAM_ERROR, GST_STREAM_ERROR_DECODE, "cut");
        GstBus* bus = gst_element_get_bus(media.pipeline);
        gst_bus_post(bus, row.error ? gst_message_new_error(pipeline, error, nullptr)
                                    : gst_message_new_eos(pipeline));
        gst_bus_post(bus, gst_message_new_state_changed(pipeline, GST_STATE_PAUSED, row.to,
                                                        GST_STATE_VOID_PENDING));
        g_error_free(error);
        gst_object_unref(bus);
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        EXPECT_EQ(media.status, row.status);
        media.teardown();
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
