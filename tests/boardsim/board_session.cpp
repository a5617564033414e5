// Helpers for the stand-in element tests; also starts GStreamer once for the test program.
#include "board_session.h"

#include <gtest/gtest.h>

namespace boardsim_test {
namespace {

// The registry scan would otherwise fork a helper, which AddressSanitizer does not survive.
class GstEnvironment : public ::testing::Environment {
  public:
    void SetUp() override {
        gst_registry_fork_set_enabled(FALSE);
        gst_init(nullptr, nullptr);
    }
};

const auto* const environment = ::testing::AddGlobalTestEnvironment(new GstEnvironment);

void onPadAdded(GstElement*, GstPad* pad, gpointer queue) {
    GstCaps* caps = gst_pad_query_caps(pad, nullptr);
    const bool h264 = !gst_caps_is_empty(caps) &&
                      gst_structure_has_name(gst_caps_get_structure(caps, 0), "video/x-h264");
    gst_caps_unref(caps);
    GstPad* sink = gst_element_get_static_pad(GST_ELEMENT(queue), "sink");
    if (h264 && !gst_pad_is_linked(sink))
        (void)gst_pad_link(pad, sink);
    gst_object_unref(sink);
}

} // namespace

std::string mediaPath(const char* name) {
    return std::string(VIDEOD_BINARY_DIR "/media/") + name;
}

std::string clipName(const char* file) {
    std::string name = file;
    name = name.substr(0, name.find('.'));
    for (char& c : name)
        if (c == '-')
            c = '_';
    return name;
}

GstElement* makePlayerPipeline(const std::string& path) {
    GstElement* pipeline = gst_pipeline_new(nullptr);
    GstElement* source = gst_element_factory_make("filesrc", "source");
    GstElement* demuxer = gst_element_factory_make("aiurdemux", "demuxer");
    GstElement* queue = gst_element_factory_make("queue", "queue");
    GstElement* decoder = gst_element_factory_make("vpudec", "decoder");
    GstElement* sink = gst_element_factory_make("mfw_v4lsink", "sink");
    if (!source || !demuxer || !queue || !decoder || !sink) {
        for (GstElement* element : {pipeline, source, demuxer, queue, decoder, sink})
            if (element)
                gst_object_unref(gst_object_ref_sink(element));
        return nullptr;
    }
    g_object_set(source, "location", path.c_str(), nullptr);
    // The player lets the queue hold hardly one buffer.
    g_object_set(queue, "max-size-time", static_cast<guint64>(1000), nullptr);
    gst_bin_add_many(GST_BIN(pipeline), source, demuxer, queue, decoder, sink, nullptr);
    GstCaps* quicktime = gst_caps_new_empty_simple("video/quicktime");
    const bool linked = gst_element_link_filtered(source, demuxer, quicktime) &&
                        gst_element_link_many(queue, decoder, sink, nullptr);
    gst_caps_unref(quicktime);
    if (!linked) {
        gst_object_unref(pipeline);
        return nullptr;
    }
    g_signal_connect(demuxer, "pad-added", G_CALLBACK(onPadAdded), queue);
    return pipeline;
}

Ending playToEnd(GstElement* pipeline, GstClockTime timeout) {
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, timeout, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    gst_object_unref(bus);
    if (!message)
        return {GST_MESSAGE_UNKNOWN, {}};
    Ending ending{GST_MESSAGE_TYPE(message), {}};
    if (ending.type == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        ending.error = error->message;
        g_error_free(error);
    }
    gst_message_unref(message);
    return ending;
}

Rgb Image::at(int x, int y) const {
    const std::uint8_t* pixel = &rgbx[(static_cast<size_t>(y) * width + x) * 4];
    return {pixel[0], pixel[1], pixel[2]};
}

Image loadPng(const std::string& path) {
    Image image;
    gchar* location = g_strescape(path.c_str(), nullptr);
    gchar* description = g_strdup_printf(
        "filesrc location=\"%s\" ! pngdec ! videoconvert ! video/x-raw,format=RGBx ! "
        "fakesink name=out",
        location);
    g_free(location);
    GstElement* pipeline = gst_parse_launch(description, nullptr);
    g_free(description);
    if (!pipeline)
        return image;
    gst_element_set_state(pipeline, GST_STATE_PAUSED);
    GstSample* sample = nullptr;
    if (gst_element_get_state(pipeline, nullptr, nullptr, 5 * GST_SECOND) ==
        GST_STATE_CHANGE_SUCCESS) {
        GstElement* out = gst_bin_get_by_name(GST_BIN(pipeline), "out");
        g_object_get(out, "last-sample", &sample, nullptr);
        gst_object_unref(out);
    }
    if (sample) {
        GstStructure* format = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
        gst_structure_get_int(format, "width", &image.width);
        gst_structure_get_int(format, "height", &image.height);
        GstBuffer* buffer = gst_sample_get_buffer(sample);
        image.rgbx.resize(gst_buffer_get_size(buffer));
        gst_buffer_extract(buffer, 0, image.rgbx.data(), image.rgbx.size());
        if (image.rgbx.size() < static_cast<size_t>(image.width) * image.height * 4)
            image = Image{};
        gst_sample_unref(sample);
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return image;
}

} // namespace boardsim_test
