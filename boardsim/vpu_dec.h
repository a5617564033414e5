// "vpudec" stand-in: H.264 decoder from "video/x-h264" to raw I420 video.
// GStreamer calls it from its own threads; the plug-in registers it.
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

GType boardsim_vpu_dec_get_type(void);

G_END_DECLS
