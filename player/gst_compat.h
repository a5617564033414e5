// The few GStreamer calls whose form differs between the 1.x and 0.10 series, so that a
// build against the board's older GStreamer changes only this file. Used by the media
// pipeline on whichever thread calls it.
#pragma once

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

// Caps that a pad can produce now; the caller releases them.
inline GstCaps* padCaps(GstPad* pad) {
    return gst_pad_query_caps(pad, nullptr);
}

inline bool discoveryOk(GstDiscovererInfo* info) {
    return gst_discoverer_info_get_result(info) == GST_DISCOVERER_OK;
}

inline void releaseDiscoveryInfo(GstDiscovererInfo* info) {
    gst_discoverer_info_unref(info);
}
