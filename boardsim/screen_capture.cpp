// Saving what the simulated display shows as a PNG file at the end of the stream.
#include "boardsim/screen_capture.h"

#include <gst/video/video.h>

#include <string>

namespace {

constexpr GstClockTime ConvertTimeout = 5 * GST_SECOND;

// Buffers and serialized events of one pad arrive in order on one streaming thread, so the
// last frame needs no lock.
struct ScreenCapture {
    explicit ScreenCapture(const char* file) : path(file) {}
    ~ScreenCapture() { gst_buffer_replace(&last, nullptr); }
    ScreenCapture(const ScreenCapture&) = delete;
    ScreenCapture& operator=(const ScreenCapture&) = delete;

    std::string path;
    GstBuffer* last = nullptr;
};

void warn(GstPad* pad, const char* text, const char* detail) {
    GstElement* element = gst_pad_get_parent_element(pad);
    if (!element)
        return;
    GST_ELEMENT_WARNING(element, RESOURCE, WRITE, ("%s", text), ("%s", detail));
    gst_object_unref(element);
}

void writePng(GstPad* pad, const ScreenCapture& capture) {
    GstCaps* caps = gst_pad_get_current_caps(pad);
    if (!caps || !capture.last) {
        if (caps)
            gst_caps_unref(caps);
        warn(pad, "No frame was shown, no PNG written", capture.path.c_str());
        return;
    }
    GstSample* frame = gst_sample_new(capture.last, caps, nullptr, nullptr);
    gst_caps_unref(caps);
    GstCaps* pngCaps = gst_caps_new_empty_simple("image/png");
    GError* error = nullptr;
    GstSample* png = gst_video_convert_sample(frame, pngCaps, ConvertTimeout, &error);
    gst_caps_unref(pngCaps);
    gst_sample_unref(frame);
    GstMapInfo map;
    if (png && gst_buffer_map(gst_sample_get_buffer(png), &map, GST_MAP_READ)) {
        (void)g_file_set_contents(capture.path.c_str(), reinterpret_cast<const gchar*>(map.data),
                                  static_cast<gssize>(map.size), &error);
        gst_buffer_unmap(gst_sample_get_buffer(png), &map);
    }
    if (png)
        gst_sample_unref(png);
    if (error) {
        warn(pad, error->message, capture.path.c_str());
        g_error_free(error);
    }
}

GstPadProbeReturn onData(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
    auto* capture = static_cast<ScreenCapture*>(data);
    if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
        gst_buffer_replace(&capture->last, GST_PAD_PROBE_INFO_BUFFER(info));
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS) {
        writePng(pad, *capture);
    }
    return GST_PAD_PROBE_OK;
}

void destroy(gpointer data) {
    delete static_cast<ScreenCapture*>(data);
}

} // namespace

void boardsimCaptureScreen(GstPad* pad, const char* path) {
    gst_pad_add_probe(pad,
                      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
                      onData, new ScreenCapture(path), destroy);
}
