// Writes the tests' shared GStreamer registry: one plug-in scan before any test runs.
#include <gst/gst.h>

int main() {
    gst_init(nullptr, nullptr);
    GstElementFactory* sink = gst_element_factory_find("mfw_v4lsink");
    if (sink)
        gst_object_unref(sink);
    gst_deinit();
    return sink ? 0 : 1;
}
