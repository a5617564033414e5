// "boardsimaacdec": AAC in, the same stretch of silence out. The service never plays sound;
// the discoverer only needs a decoder to reach raw audio.
#include "boardsim/aac_dec.h"

#include "boardsim/gst_compat.h"

#include <cstring>

namespace {

constexpr gint DefaultRate = 48000;
constexpr gint DefaultChannels = 2;
constexpr guint64 SamplesPerFrame = 1024; // of an AAC frame, when a buffer has no duration

struct BoardsimAacDec {
    GstElement parent;
    GstPad* srcPad;
    gint rate; // written by setCaps, read by chain, both on the streaming thread
    gint channels;
};

struct BoardsimAacDecClass {
    GstElementClass parent_class;
};

GstStaticPadTemplate sinkTemplate = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS("audio/mpeg, mpegversion=(int)4"));
GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(BOARDSIM_S16));

BoardsimAacDec* self(GstElement* element) {
    return reinterpret_cast<BoardsimAacDec*>(element);
}

gboolean setCaps(GstElement* element, GstCaps* caps) {
    BoardsimAacDec* dec = self(element);
    const GstStructure* structure = gst_caps_get_structure(caps, 0);
    if (!gst_structure_get_int(structure, "rate", &dec->rate) || dec->rate <= 0)
        dec->rate = DefaultRate;
    if (!gst_structure_get_int(structure, "channels", &dec->channels) || dec->channels <= 0)
        dec->channels = DefaultChannels;
    GstCaps* raw = gst_caps_from_string(BOARDSIM_S16);
    gst_caps_set_simple(raw, "rate", G_TYPE_INT, dec->rate, "channels", G_TYPE_INT, dec->channels,
                        nullptr);
    const gboolean set = gst_pad_set_caps(dec->srcPad, raw);
    gst_caps_unref(raw);
    return set;
}

GstFlowReturn chain(GstElement* element, GstBuffer* input) {
    BoardsimAacDec* dec = self(element);
    const GstClockTime duration = GST_BUFFER_DURATION(input);
    const guint64 samples = GST_CLOCK_TIME_IS_VALID(duration)
                                ? gst_util_uint64_scale(duration, guint64(dec->rate), GST_SECOND)
                                : SamplesPerFrame;
    GstBuffer* output = newBuffer(gsize(samples) * gsize(dec->channels) * 2);
    {
        BufferBytes bytes(output, true);
        if (bytes.data)
            memset(bytes.data, 0, bytes.size);
    }
    GST_BUFFER_TIMESTAMP(output) = GST_BUFFER_TIMESTAMP(input);
    GST_BUFFER_DURATION(output) = duration;
    gst_buffer_unref(input);
    return pushBuffer(dec->srcPad, output);
}

} // namespace

G_DEFINE_TYPE(BoardsimAacDec, boardsim_aac_dec, GST_TYPE_ELEMENT)

static void boardsim_aac_dec_init(BoardsimAacDec* dec) {
    dec->rate = DefaultRate;
    dec->channels = DefaultChannels;
    GstPad* sink = gst_pad_new_from_static_template(&sinkTemplate, "sink");
    setSinkFunctions<chain, setCaps>(sink);
    gst_element_add_pad(GST_ELEMENT(dec), sink);
    dec->srcPad = gst_pad_new_from_static_template(&srcTemplate, "src");
    gst_pad_use_fixed_caps(dec->srcPad);
    gst_element_add_pad(GST_ELEMENT(dec), dec->srcPad);
}

static void boardsim_aac_dec_class_init(BoardsimAacDecClass* klass) {
    GstElementClass* elementClass = GST_ELEMENT_CLASS(klass);
    gst_element_class_add_static_pad_template(elementClass, &sinkTemplate);
    gst_element_class_add_static_pad_template(elementClass, &srcTemplate);
    setElementMetadata(elementClass, "Board AAC decoder stand-in", "Codec/Decoder/Audio",
                       "Turns AAC into silence of the same length");
}
