// Writes the tests' shared GStreamer registry: one plug-in scan before any test runs.
#include <gst/gst.h>

int main() {
    gst_init(nullptr, nullptr);
    GstElementFactory* sink = gst_element_factory_find("mfw_v4lsink");
    bool found = sink != nullptr;
    if (sink)
        gst_object_unref(sink);
    gst_deinit();
    return found ? 0 : 1;
}
