// "aiurdemux" stand-in: one run-time pad per stream, carrying the stream's caps when the
// "pad-added" handler asks, and the pads gone again once the pipeline stops.
#include "board_session.h"

#include <gtest/gtest.h>

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace {

using boardsim_test::mediaPath;

struct Streams {
    const char* file;
    std::vector<std::string> types; // first caps structure name of each pad, in order
};

// What the pad-added handler saw, filled from the streaming thread.
struct Seen {
    std::mutex lock;
    std::vector<std::string> types;
    bool noMorePads = false;
};

// Reads the caps as the player does, then drains the pad into a fakesink of its own.
void onPadAdded(GstElement* demuxer, GstPad* pad, gpointer data) {
    auto* seen = static_cast<Seen*>(data);
    GstCaps* caps = gst_pad_query_caps(pad, nullptr);
    std::string type = gst_caps_is_empty(caps)
                           ? "(none)"
                           : gst_structure_get_name(gst_caps_get_structure(caps, 0));
    gst_caps_unref(caps);
    {
        std::lock_guard<std::mutex> hold(seen->lock);
        seen->types.push_back(type);
    }
    GstElement* drain = gst_element_factory_make("fakesink", nullptr);
    g_object_set(drain, "async", FALSE, nullptr);
    gst_bin_add(GST_BIN(GST_ELEMENT_PARENT(demuxer)), drain);
    gst_element_sync_state_with_parent(drain);
    GstPad* sink = gst_element_get_static_pad(drain, "sink");
    (void)gst_pad_link(pad, sink);
    gst_object_unref(sink);
}

void onNoMorePads(GstElement*, gpointer data) {
    auto* seen = static_cast<Seen*>(data);
    std::lock_guard<std::mutex> hold(seen->lock);
    seen->noMorePads = true;
}

void PrintTo(const Streams& streams, std::ostream* out) {
    *out << streams.file;
}

class DemuxerPads : public ::testing::TestWithParam<Streams> {};

TEST_P(DemuxerPads, OnePadPerStreamWithItsCapsThenRemovedAtStop) {
    gchar* description =
        g_strdup_printf("filesrc location=\"%s\" ! video/quicktime ! aiurdemux name=demuxer",
                        mediaPath(GetParam().file).c_str());
    GstElement* pipeline = gst_parse_launch(description, nullptr);
    g_free(description);
    ASSERT_NE(pipeline, nullptr);
    GstElement* demuxer = gst_bin_get_by_name(GST_BIN(pipeline), "demuxer");
    Seen seen;
    g_signal_connect(demuxer, "pad-added", G_CALLBACK(onPadAdded), &seen);
    g_signal_connect(demuxer, "no-more-pads", G_CALLBACK(onNoMorePads), &seen);

    EXPECT_EQ(boardsim_test::playToEnd(pipeline, 20 * GST_SECOND).type, GST_MESSAGE_EOS);
    {
        std::lock_guard<std::mutex> hold(seen.lock);
        EXPECT_EQ(seen.types, GetParam().types);
        EXPECT_TRUE(seen.noMorePads);
    }
    EXPECT_EQ(demuxer->numsrcpads, static_cast<guint16>(GetParam().types.size()));
    for (GList* item = demuxer->srcpads; item; item = item->next) {
        GstPadTemplate* templ = GST_PAD_PAD_TEMPLATE(item->data);
        ASSERT_NE(templ, nullptr);
        EXPECT_EQ(GST_PAD_TEMPLATE_PRESENCE(templ), GST_PAD_SOMETIMES);
    }

    gst_element_set_state(pipeline, GST_STATE_NULL);
    EXPECT_EQ(demuxer->numsrcpads, 0);
    gst_object_unref(demuxer);
    gst_object_unref(pipeline);
}

INSTANTIATE_TEST_SUITE_P(
    Boardsim, DemuxerPads,
    ::testing::Values(Streams{"clip-a.mp4", {"video/x-h264"}},
                      Streams{"clip-audio.mp4", {"video/x-h264", "audio/mpeg"}},
                      Streams{"clip-two-video.mp4", {"video/x-h264", "video/x-h264"}},
                      Streams{"clip-mpeg4.mp4", {"video/mpeg"}}),
    [](const auto& streams) { return boardsim_test::clipName(streams.param.file); });

} // namespace
