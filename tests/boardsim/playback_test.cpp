// The stand-ins in the player's pipeline shape: every good clip plays to its end in real
// time, files the board could not play end in an error rather than a hang, and the decoder
// can be swapped for one that runs under valgrind.
#include "board_session.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>

namespace {

using boardsim_test::Ending;
using boardsim_test::makePlayerPipeline;
using boardsim_test::mediaPath;
using boardsim_test::playToEnd;
using Clock = std::chrono::steady_clock;

constexpr GstClockTime EndTimeout = 20 * GST_SECOND;

struct Clip {
    const char* file;
    int seconds;
};

void PrintTo(const Clip& clip, std::ostream* out) {
    *out << clip.file;
}

class GoodClip : public ::testing::TestWithParam<Clip> {};

// The player prerolls in PAUSED first, then plays; a display shows frames at their time.
TEST_P(GoodClip, PrerollsThenPlaysToEndInRealTime) {
    GstElement* pipeline = makePlayerPipeline(mediaPath(GetParam().file));
    ASSERT_NE(pipeline, nullptr);
    gst_element_set_state(pipeline, GST_STATE_PAUSED);
    ASSERT_EQ(gst_element_get_state(pipeline, nullptr, nullptr, 10 * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);

    const auto start = Clock::now();
    const Ending ending = playToEnd(pipeline, EndTimeout);
    const auto elapsed = Clock::now() - start;
    EXPECT_EQ(ending.type, GST_MESSAGE_EOS) << ending.error;
    EXPECT_GE(elapsed, std::chrono::milliseconds(GetParam().seconds * 900));

    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

INSTANTIATE_TEST_SUITE_P(Boardsim, GoodClip,
                         ::testing::Values(Clip{"clip-a.mp4", 2}, Clip{"clip-b.mp4", 2},
                                           Clip{"clip-c.mp4", 2}, Clip{"clip-audio.mp4", 2},
                                           Clip{"clip-two-video.mp4", 2}, Clip{"short.mp4", 1}),
                         [](const auto& clip) { return boardsim_test::clipName(clip.param.file); });

// Paused half-way for longer than the rest of the clip lasts, the display must neither skip
// what is left to catch up with the clock nor stay stuck.
TEST(BoardsimPause, ResumedClipPlaysItsRestInRealTime) {
    GstElement* pipeline = makePlayerPipeline(mediaPath("short.mp4"));
    ASSERT_NE(pipeline, nullptr);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    g_usleep(400 * 1000);
    gst_element_set_state(pipeline, GST_STATE_PAUSED);
    ASSERT_EQ(gst_element_get_state(pipeline, nullptr, nullptr, 5 * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);
    g_usleep(800 * 1000);

    const auto start = Clock::now();
    const Ending ending = playToEnd(pipeline, EndTimeout);
    EXPECT_EQ(ending.type, GST_MESSAGE_EOS) << ending.error;
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(400));

    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

class BadFile : public ::testing::TestWithParam<const char*> {};

// No H.264 pad ever reaches the decoder, or the container is broken: the demuxer reports it.
TEST_P(BadFile, EndsWithAnError) {
    GstElement* pipeline = makePlayerPipeline(mediaPath(GetParam()));
    ASSERT_NE(pipeline, nullptr);
    const Ending ending = playToEnd(pipeline, EndTimeout);
    EXPECT_EQ(ending.type, GST_MESSAGE_ERROR);
    EXPECT_FALSE(ending.error.empty());
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

INSTANTIATE_TEST_SUITE_P(Boardsim, BadFile,
                         ::testing::Values("empty.mp4", "not-a-video.mp4", "clip-mpeg4.mp4"),
                         [](const auto& file) { return boardsim_test::clipName(file.param); });

// The index promises frames the file no longer holds; playback must still come to an end.
TEST(BoardsimTruncatedFile, EndsWithoutHanging) {
    GstElement* pipeline = makePlayerPipeline(mediaPath("truncated.mp4"));
    ASSERT_NE(pipeline, nullptr);
    EXPECT_NE(playToEnd(pipeline, EndTimeout).type, GST_MESSAGE_UNKNOWN);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

class BoardsimDecoder : public ::testing::Test {
  protected:
    void TearDown() override { g_unsetenv("BOARDSIM_H264_DECODER"); }

    // The factory of the decoder inside the "vpudec" bin, or empty.
    static std::string innerDecoder(GstElement* pipeline) {
        GstElement* bin = gst_bin_get_by_name(GST_BIN(pipeline), "decoder");
        GstElement* inner = gst_bin_get_by_name(GST_BIN(bin), "decoder");
        std::string name = inner ? GST_OBJECT_NAME(gst_element_get_factory(inner)) : "";
        if (inner)
            gst_object_unref(inner);
        gst_object_unref(bin);
        return name;
    }
};

TEST_F(BoardsimDecoder, Openh264PlaysTheClips) {
    g_setenv("BOARDSIM_H264_DECODER", "openh264dec", TRUE);
    GstElement* pipeline = makePlayerPipeline(mediaPath("short.mp4"));
    ASSERT_NE(pipeline, nullptr);
    EXPECT_EQ(innerDecoder(pipeline), "openh264dec");
    const Ending ending = playToEnd(pipeline, EndTimeout);
    EXPECT_EQ(ending.type, GST_MESSAGE_EOS) << ending.error;
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

TEST_F(BoardsimDecoder, MissingDecoderFailsTheStartWithItsName) {
    g_setenv("BOARDSIM_H264_DECODER", "no-such-decoder", TRUE);
    GstElement* pipeline = makePlayerPipeline(mediaPath("short.mp4"));
    ASSERT_NE(pipeline, nullptr);
    EXPECT_EQ(gst_element_set_state(pipeline, GST_STATE_PAUSED), GST_STATE_CHANGE_FAILURE);
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
    ASSERT_NE(message, nullptr);
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    EXPECT_NE(std::string(error->message).find("no-such-decoder"), std::string::npos);
    g_error_free(error);
    gst_message_unref(message);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

// The discoverer autoplugs by rank: a stand-in above NONE would be picked instead of the
// stock demuxer and decoder it wraps.
TEST(BoardsimRegistry, AreNeverAutoplugged) {
    for (const char* name : {"aiurdemux", "vpudec", "mfw_v4lsink"}) {
        GstElementFactory* factory = gst_element_factory_find(name);
        ASSERT_NE(factory, nullptr) << name;
        EXPECT_EQ(gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(factory)), GST_RANK_NONE) << name;
        gst_object_unref(factory);
    }
}

} // namespace
