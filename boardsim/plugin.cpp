// The "boardsim" plug-in: stand-ins under the board's element names, built from stock elements.
#include "boardsim/aiur_demux.h"
#include "boardsim/v4l_sink.h"
#include "boardsim/vpu_dec.h"

#include <gst/gst.h>

// Rank NONE: the discoverer's autoplugging must keep using the stock elements.
static gboolean pluginInit(GstPlugin* plugin) {
    return gst_element_register(plugin, "aiurdemux", GST_RANK_NONE,
                                boardsim_aiur_demux_get_type()) &&
           gst_element_register(plugin, "vpudec", GST_RANK_NONE, boardsim_vpu_dec_get_type()) &&
           gst_element_register(plugin, "mfw_v4lsink", GST_RANK_NONE, boardsim_v4l_sink_get_type());
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, boardsim,
                  "Stand-ins for the board's demuxer, decoder and display sink", pluginInit,
                  VERSION, "Proprietary", PACKAGE, "https://videod.invalid")
