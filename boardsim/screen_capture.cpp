// Saving what the simulated display shows as a PNG file at the end of the stream.
#include "boardsim/screen_capture.h"

#include "boardsim/gst_compat.h"

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
    GstCaps* caps = currentCaps(pad);
    if (!caps || !capture.last) {
        if (caps)
            gst_caps_unref(caps);
        warn(pad, "No frame was shown, no PNG written", capture.path.c_str());
        return;
    }
    GstCaps* pngCaps = gst_caps_new_simple("image/png", nullptr, nullptr);
    GError* error = nullptr;
    GstBuffer* png = convertFrame(capture.last, caps, pngCaps, ConvertTimeout, &error);
    gst_caps_unref(pngCaps);
    gst_caps_unref(caps);
    if (png) {
        BufferBytes bytes(png, false);
        if (bytes.data)
            (void)g_file_set_contents(capture.path.c_str(),
                                      reinterpret_cast<const gchar*>(bytes.data),
                                      static_cast<gssize>(bytes.size), &error);
    }
    if (png)
        gst_buffer_unref(png);
    if (error) {
        warn(pad, error->message, capture.path.c_str());
        g_error_free(error);
    }
}

void onFrame(GstBuffer* frame, gpointer data) {
    gst_buffer_replace(&static_cast<ScreenCapture*>(data)->last, frame);
}

void onEnd(GstPad* pad, gpointer data) {
    writePng(pad, *static_cast<ScreenCapture*>(data));
}

void destroy(gpointer data) {
    delete static_cast<ScreenCapture*>(data);
}

} // namespace

void boardsimCaptureScreen(GstPad* pad, const char* path) {
    watchFrames<onFrame, onEnd>(pad, new ScreenCapture(path), destroy);
}
