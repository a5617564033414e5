// "aiurdemux" stand-in: a bin around qtdemux that ghosts each stream pad while it exists.
#include "boardsim/aiur_demux.h"

#include "boardsim/gst_compat.h"

namespace {

struct BoardsimAiurDemux {
    GstBin parent;
};

struct BoardsimAiurDemuxClass {
    GstBinClass parent_class;
};

// Key under which an inner stream pad remembers the ghost pad that exposes it.
constexpr const char* GhostKey = "boardsim-ghost";

GstStaticPadTemplate sinkTemplate = GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                                                            GST_STATIC_CAPS("video/quicktime"));
GstStaticPadTemplate videoTemplate = GST_STATIC_PAD_TEMPLATE(
    BOARDSIM_VIDEO_PADS, GST_PAD_SRC, GST_PAD_SOMETIMES, GST_STATIC_CAPS_ANY);
GstStaticPadTemplate audioTemplate = GST_STATIC_PAD_TEMPLATE(
    BOARDSIM_AUDIO_PADS, GST_PAD_SRC, GST_PAD_SOMETIMES, GST_STATIC_CAPS_ANY);
GstStaticPadTemplate subtitleTemplate = GST_STATIC_PAD_TEMPLATE(
    BOARDSIM_SUBTITLE_PADS, GST_PAD_SRC, GST_PAD_SOMETIMES, GST_STATIC_CAPS_ANY);

} // namespace

G_DEFINE_TYPE(BoardsimAiurDemux, boardsim_aiur_demux, GST_TYPE_BIN)

// qtdemux names its pads after its own templates, which this element mirrors; a pad of any
// other kind is not exposed.
static GstPadTemplate* templateFor(GstElement* self, GstPad* inner) {
    GstPadTemplate* innerTemplate = GST_PAD_PAD_TEMPLATE(inner);
    if (!innerTemplate)
        return nullptr;
    return gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(self),
                                              GST_PAD_TEMPLATE_NAME_TEMPLATE(innerTemplate));
}

static void onInnerPadAdded(GstElement*, GstPad* inner, gpointer data) {
    GstElement* self = GST_ELEMENT(data);
    if (GST_PAD_DIRECTION(inner) != GST_PAD_SRC)
        return;
    GstPadTemplate* templ = templateFor(self, inner);
    if (!templ)
        return;
    gchar* name = gst_pad_get_name(inner);
    GstPad* ghost = gst_ghost_pad_new_from_template(name, inner, templ);
    g_free(name);
    if (!ghost)
        return;
    // The ghost forwards caps queries to qtdemux's pad, which already carries the stream's
    // fixed caps, so a "pad-added" handler sees the real stream type.
    g_object_set_data(G_OBJECT(inner), GhostKey, ghost);
    gst_pad_set_active(ghost, TRUE);
    gst_element_add_pad(self, ghost);
}

static void onInnerPadRemoved(GstElement*, GstPad* inner, gpointer data) {
    GstPad* ghost = static_cast<GstPad*>(g_object_steal_data(G_OBJECT(inner), GhostKey));
    if (!ghost)
        return;
    gst_pad_set_active(ghost, FALSE);
    gst_element_remove_pad(GST_ELEMENT(data), ghost);
}

static void onInnerNoMorePads(GstElement*, gpointer data) {
    gst_element_no_more_pads(GST_ELEMENT(data));
}

static void boardsim_aiur_demux_init(BoardsimAiurDemux* self) {
    GstElement* demuxer = gst_element_factory_make("qtdemux", "demuxer");
    GstPad* ghost = nullptr;
    GstPadTemplate* templ = gst_static_pad_template_get(&sinkTemplate);
    if (demuxer) {
        gst_bin_add(GST_BIN(self), demuxer);
        g_signal_connect(demuxer, "pad-added", G_CALLBACK(onInnerPadAdded), self);
        g_signal_connect(demuxer, "pad-removed", G_CALLBACK(onInnerPadRemoved), self);
        g_signal_connect(demuxer, "no-more-pads", G_CALLBACK(onInnerNoMorePads), self);
        GstPad* target = gst_element_get_static_pad(demuxer, "sink");
        ghost = gst_ghost_pad_new_from_template("sink", target, templ);
        gst_object_unref(target);
    } else {
        // Without qtdemux the state change to READY fails with a missing-element error.
        ghost = gst_ghost_pad_new_no_target_from_template("sink", templ);
    }
    gst_object_unref(templ);
    gst_element_add_pad(GST_ELEMENT(self), ghost);
}

static GstStateChangeReturn changeState(GstElement* element, GstStateChange transition) {
    if (transition == GST_STATE_CHANGE_NULL_TO_READY && GST_BIN_NUMCHILDREN(element) == 0) {
        GST_ELEMENT_ERROR(element, CORE, MISSING_PLUGIN, ("qtdemux is not installed"), (nullptr));
        return GST_STATE_CHANGE_FAILURE;
    }
    return GST_ELEMENT_CLASS(boardsim_aiur_demux_parent_class)->change_state(element, transition);
}

static void boardsim_aiur_demux_class_init(BoardsimAiurDemuxClass* klass) {
    GstElementClass* elementClass = GST_ELEMENT_CLASS(klass);
    elementClass->change_state = changeState;
    gst_element_class_add_static_pad_template(elementClass, &sinkTemplate);
    gst_element_class_add_static_pad_template(elementClass, &videoTemplate);
    gst_element_class_add_static_pad_template(elementClass, &audioTemplate);
    gst_element_class_add_static_pad_template(elementClass, &subtitleTemplate);
    setElementMetadata(
        elementClass, "Board demuxer stand-in", "Codec/Demuxer",
        "Demultiplexes MP4/QuickTime files into one pad per stream, like the board's demuxer");
}
