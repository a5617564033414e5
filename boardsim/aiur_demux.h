// "aiurdemux" stand-in: MP4/QuickTime demuxer whose stream pads appear at run time.
// GStreamer calls it from its own threads; the plug-in registers it.
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

GType boardsim_aiur_demux_get_type(void);

G_END_DECLS
