// The few GStreamer calls whose form differs between the PC's 1.x and the board's 0.10 series;
// the rest of the player is written once against the calls both share. Used by the media
// pipeline on whichever thread calls it.
#pragma once

#include <gst/gst.h>

// Caps that a pad can produce now; the caller releases them.
inline GstCaps* padCaps(GstPad* pad) {
#if GST_CHECK_VERSION(1, 0, 0)
    return gst_pad_query_caps(pad, nullptr);
#else
    return gst_pad_get_caps_reffed(pad);
#endif
}
