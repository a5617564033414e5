// The "boardsim" plug-in: stand-ins under the board's element names.
#include "boardsim/aac_dec.h"
#include "boardsim/aiur_demux.h"
#include "boardsim/gst_compat.h"
#include "boardsim/v4l_sink.h"
#include "boardsim/vpu_dec.h"

// The decoders rank above the stock ones, as the board's own do, so that the discoverer
// plugs them; the demuxer and the sink are only ever made by name.
static gboolean pluginInit(GstPlugin* plugin) {
    return gst_element_register(plugin, "aiurdemux", GST_RANK_NONE,
                                boardsim_aiur_demux_get_type()) &&
           gst_element_register(plugin, "vpudec", GST_RANK_PRIMARY + 1,
                                boardsim_vpu_dec_get_type()) &&
           gst_element_register(plugin, "boardsimaacdec", GST_RANK_MARGINAL,
                                boardsim_aac_dec_get_type()) &&
           gst_element_register(plugin, "mfw_v4lsink", GST_RANK_NONE, boardsim_v4l_sink_get_type());
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, BOARDSIM_PLUGIN_NAME,
                  "Stand-ins for the board's demuxer, decoders and display sink", pluginInit,
                  VERSION, "Proprietary", PACKAGE, "https://videod.invalid")
