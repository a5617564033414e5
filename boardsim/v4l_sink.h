// "mfw_v4lsink" stand-in: display sink that scales, rotates and places the picture on a
// virtual screen and plays in real time. GStreamer calls it from its own threads; the
// properties may be set from any thread, before or during playback.
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

GType boardsim_v4l_sink_get_type(void);

G_END_DECLS
