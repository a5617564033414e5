// "vpudec" stand-in: a bin of h264parse and a software H.264 decoder.
#include "boardsim/vpu_dec.h"

namespace {

struct BoardsimVpuDec {
    GstBin parent;
    // The decoder factory that was asked for; kept for the error when it is missing.
    gchar* decoderName;
};

struct BoardsimVpuDecClass {
    GstBinClass parent_class;
};

// avdec_h264 by default; valgrind cannot run it, so BOARDSIM_H264_DECODER may name another
// decoder (openh264dec).
constexpr const char* DecoderVariable = "BOARDSIM_H264_DECODER";
constexpr const char* DefaultDecoder = "avdec_h264";

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS("video/x-h264"));
GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("video/x-raw"));

} // namespace

G_DEFINE_TYPE(BoardsimVpuDec, boardsim_vpu_dec, GST_TYPE_BIN)

static void addGhost(GstElement* self, GstStaticPadTemplate* staticTemplate, GstElement* inner) {
    GstPadTemplate* templ = gst_static_pad_template_get(staticTemplate);
    const gchar* name = staticTemplate->name_template;
    GstPad* ghost;
    if (inner) {
        GstPad* target = gst_element_get_static_pad(inner, name);
        ghost = gst_ghost_pad_new_from_template(name, target, templ);
        gst_object_unref(target);
    } else {
        ghost = gst_ghost_pad_new_no_target_from_template(name, templ);
    }
    gst_object_unref(templ);
    gst_element_add_pad(self, ghost);
}

static void boardsim_vpu_dec_init(BoardsimVpuDec* self) {
    const gchar* chosen = g_getenv(DecoderVariable);
    self->decoderName = g_strdup(chosen && *chosen ? chosen : DefaultDecoder);
    GstElement* parser = gst_element_factory_make("h264parse", "parser");
    GstElement* decoder = gst_element_factory_make(self->decoderName, "decoder");
    if (parser && decoder) {
        gst_bin_add_many(GST_BIN(self), parser, decoder, nullptr);
        gst_element_link(parser, decoder);
    } else {
        // The bin stays empty; the state change to READY reports what is missing.
        if (parser)
            gst_object_unref(gst_object_ref_sink(parser));
        if (decoder)
            gst_object_unref(gst_object_ref_sink(decoder));
        parser = decoder = nullptr;
    }
    addGhost(GST_ELEMENT(self), &sinkTemplate, parser);
    addGhost(GST_ELEMENT(self), &srcTemplate, decoder);
}

static void finalize(GObject* object) {
    g_free(reinterpret_cast<BoardsimVpuDec*>(object)->decoderName);
    G_OBJECT_CLASS(boardsim_vpu_dec_parent_class)->finalize(object);
}

static GstStateChangeReturn changeState(GstElement* element, GstStateChange transition) {
    if (transition == GST_STATE_CHANGE_NULL_TO_READY && GST_BIN_NUMCHILDREN(element) == 0) {
        GST_ELEMENT_ERROR(element, CORE, MISSING_PLUGIN,
                          ("h264parse or %s is not installed",
                           reinterpret_cast<BoardsimVpuDec*>(element)->decoderName),
                          (nullptr));
        return GST_STATE_CHANGE_FAILURE;
    }
    return GST_ELEMENT_CLASS(boardsim_vpu_dec_parent_class)->change_state(element, transition);
}

static void boardsim_vpu_dec_class_init(BoardsimVpuDecClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = finalize;
    GstElementClass* elementClass = GST_ELEMENT_CLASS(klass);
    elementClass->change_state = changeState;
    gst_element_class_add_static_pad_template(elementClass, &sinkTemplate);
    gst_element_class_add_static_pad_template(elementClass, &srcTemplate);
    gst_element_class_set_static_metadata(
        elementClass, "Board H.264 decoder stand-in", "Codec/Decoder/Video",
        "Decodes H.264 in software, like the board's decoder", "videod developers");
}
