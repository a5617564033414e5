// "vpudec" stand-in: decodes H.264 with libopenh264, which loads in well under a millisecond
// where libavcodec takes about 15 ms, so a fresh player starts almost as fast as on the board.
#include "boardsim/vpu_dec.h"

#include "boardsim/gst_compat.h"
#include "boardsim/h264_stream.h"

#include <wels/codec_api.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

// State of one stream, touched only on the streaming thread (and at init and finalize).
struct Decoding {
    ISVCDecoder* decoder = nullptr; // null when libopenh264 could not make one
    H264Stream stream;
    std::vector<uint8_t> unit;
    bool setsPending = false; // the record's parameter sets go in before the next unit
    gint width = 0;           // of the output caps; 0 before they are set
    gint height = 0;
    gint rateNumerator = 0;
    gint rateDenominator = 1;
    GstClockTime duration = GST_CLOCK_TIME_NONE; // of the last access unit
    std::vector<GstBuffer*> waiting;             // decoded, not yet in display order
    ~Decoding() {
        for (GstBuffer* picture : waiting)
            gst_buffer_unref(picture);
    }
};

// libopenh264 puts out some pictures of a B-frame pyramid (x264's default) ahead of their
// turn, so decoded pictures wait here and the earliest goes on once more than this many wait:
// as many as an H.264 decoder may hold for reordering.
constexpr size_t ReorderDepth = 16;

struct BoardsimVpuDec {
    GstElement parent;
    GstPad* sinkPad;
    GstPad* srcPad;
    Decoding* decoding;
};

struct BoardsimVpuDecClass {
    GstElementClass parent_class;
};

// GStreamer hands an element from thread to thread with GLib's own locks, which ThreadSanitizer
// cannot see. Every access to a decoder's state, the pointer to it included, is made under this
// lock, which makes the hand-over visible; it is not contended but by a second instance.
std::mutex stateLock;

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(BOARDSIM_H264));
GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(BOARDSIM_I420));

constexpr gsize roundUp(gsize value, gsize to) {
    return (value + to - 1) / to * to;
}

// The standard I420 layout of both GStreamer series: rows padded to 4 bytes, chroma planes
// of half the size rounded up.
struct I420Layout {
    gsize strides[3];
    gsize heights[3];
    gsize offsets[3];
    gsize size;
};

I420Layout layoutFor(gint width, gint height) {
    I420Layout layout{};
    const gsize w = gsize(width);
    const gsize h = gsize(height);
    layout.strides[0] = roundUp(w, 4);
    layout.strides[1] = layout.strides[2] = roundUp(roundUp(w, 2) / 2, 4);
    layout.heights[0] = h;
    layout.heights[1] = layout.heights[2] = roundUp(h, 2) / 2;
    layout.offsets[1] = layout.strides[0] * roundUp(h, 2);
    layout.offsets[2] = layout.offsets[1] + layout.strides[1] * layout.heights[1];
    layout.size = layout.offsets[2] + layout.strides[2] * layout.heights[2];
    return layout;
}

BoardsimVpuDec* self(GstElement* element) {
    return reinterpret_cast<BoardsimVpuDec*>(element);
}

bool negotiate(BoardsimVpuDec* dec, gint width, gint height) {
    Decoding& decoding = *dec->decoding;
    GstCaps* caps = gst_caps_from_string(BOARDSIM_I420);
    gst_caps_set_simple(caps, "width", G_TYPE_INT, width, "height", G_TYPE_INT, height, "framerate",
                        GST_TYPE_FRACTION, decoding.rateNumerator, decoding.rateDenominator,
                        "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, nullptr);
    const bool set = gst_pad_set_caps(dec->srcPad, caps);
    gst_caps_unref(caps);
    if (set) {
        decoding.width = width;
        decoding.height = height;
    }
    return set;
}

gboolean setCaps(GstElement* element, GstCaps* caps) {
    BoardsimVpuDec* dec = self(element);
    std::lock_guard<std::mutex> hold(stateLock);
    Decoding& decoding = *dec->decoding;
    const GstStructure* structure = gst_caps_get_structure(caps, 0);
    const GValue* record = gst_structure_get_value(structure, "codec_data");
    if (record && GST_VALUE_HOLDS_BUFFER(record)) {
        BufferBytes bytes(gst_value_get_buffer(record), false);
        if (!bytes.data || !decoding.stream.configure(bytes.data, bytes.size)) {
            GST_ELEMENT_ERROR(element, STREAM, DECODE, ("Malformed H.264 decoder configuration"),
                              (nullptr));
            return FALSE;
        }
        decoding.setsPending = true;
    }
    if (!gst_structure_get_fraction(structure, "framerate", &decoding.rateNumerator,
                                    &decoding.rateDenominator)) {
        decoding.rateNumerator = 0;
        decoding.rateDenominator = 1;
    }
    gint width = 0;
    gint height = 0;
    if (gst_structure_get_int(structure, "width", &width) &&
        gst_structure_get_int(structure, "height", &height) && width > 0 && height > 0)
        return negotiate(dec, width, height);
    return TRUE;
}

// Copies the decoder's picture into a new buffer of the standard layout.
GstBuffer* copyPicture(const SBufferInfo& info, unsigned char* const planes[3]) {
    const SSysMEMBuffer& picture = info.UsrData.sSystemBuffer;
    const I420Layout layout = layoutFor(picture.iWidth, picture.iHeight);
    GstBuffer* buffer = newBuffer(layout.size);
    BufferBytes out(buffer, true);
    if (!out.data) {
        gst_buffer_unref(buffer);
        return nullptr;
    }
    const gsize widths[3] = {gsize(picture.iWidth), roundUp(gsize(picture.iWidth), 2) / 2,
                             roundUp(gsize(picture.iWidth), 2) / 2};
    const gsize sourceStrides[3] = {gsize(picture.iStride[0]), gsize(picture.iStride[1]),
                                    gsize(picture.iStride[1])};
    for (int plane = 0; plane < 3; ++plane) {
        for (gsize row = 0; row < layout.heights[plane]; ++row)
            memcpy(out.data + layout.offsets[plane] + row * layout.strides[plane],
                   planes[plane] + row * sourceStrides[plane], widths[plane]);
    }
    return buffer;
}

// Decoded pictures in display order, pushed once the state lock is let go: a paused sink
// holds a push until it plays.
using Pictures = std::vector<GstBuffer*>;

// Moves the earliest waiting pictures to pictures until at most keep wait.
void release(Decoding& decoding, size_t keep, Pictures& pictures) {
    std::vector<GstBuffer*>& waiting = decoding.waiting;
    while (waiting.size() > keep) {
        const auto earliest =
            std::min_element(waiting.begin(), waiting.end(), [](GstBuffer* a, GstBuffer* b) {
                return GST_BUFFER_TIMESTAMP(a) < GST_BUFFER_TIMESTAMP(b);
            });
        pictures.push_back(*earliest);
        waiting.erase(earliest);
    }
}

// Adds the picture that info describes, if it holds one, stamped with the time its access
// unit went in with, to those waiting for their turn.
GstFlowReturn takePicture(BoardsimVpuDec* dec, const SBufferInfo& info,
                          unsigned char* const planes[3]) {
    Decoding& decoding = *dec->decoding;
    if (info.iBufferStatus != 1)
        return GST_FLOW_OK;
    const SSysMEMBuffer& picture = info.UsrData.sSystemBuffer;
    if ((picture.iWidth != decoding.width || picture.iHeight != decoding.height) &&
        !negotiate(dec, picture.iWidth, picture.iHeight))
        return GST_FLOW_NOT_NEGOTIATED;
    GstBuffer* output = copyPicture(info, planes);
    if (!output)
        return GST_FLOW_ERROR;
    GST_BUFFER_TIMESTAMP(output) = info.uiOutYuvTimeStamp;
    GST_BUFFER_DURATION(output) = decoding.duration;
    decoding.waiting.push_back(output);
    return GST_FLOW_OK;
}

GstFlowReturn pushPictures(GstPad* source, const Pictures& pictures) {
    GstFlowReturn result = GST_FLOW_OK;
    for (GstBuffer* picture : pictures) {
        if (result == GST_FLOW_OK)
            result = pushBuffer(source, picture);
        else
            gst_buffer_unref(picture);
    }
    return result;
}

// Units the decoder cannot use are dropped, as a hardware decoder drops them; the stream goes
// on. So are those of a stream the board's decoder would refuse (see changeState).
GstFlowReturn chain(GstElement* element, GstBuffer* input) {
    BoardsimVpuDec* dec = self(element);
    std::unique_lock<std::mutex> hold(stateLock);
    Decoding& decoding = *dec->decoding;
    bool converted;
    {
        BufferBytes bytes(input, false);
        converted = bytes.data && decoding.stream.convert(bytes.data, bytes.size, decoding.unit);
    }
    const GstClockTime timestamp = GST_BUFFER_TIMESTAMP(input);
    decoding.duration = GST_BUFFER_DURATION(input);
    gst_buffer_unref(input);
    if (!converted || decoding.unit.empty() || decoding.stream.refusal())
        return GST_FLOW_OK;
    unsigned char* planes[3] = {};
    SBufferInfo info{};
    if (decoding.setsPending) {
        const std::vector<uint8_t>& sets = decoding.stream.parameterSets();
        if (!sets.empty())
            (void)decoding.decoder->DecodeFrameNoDelay(sets.data(), int(sets.size()), planes,
                                                       &info);
        decoding.setsPending = false;
        info = SBufferInfo{};
    }
    info.uiInBsTimeStamp = timestamp;
    (void)decoding.decoder->DecodeFrameNoDelay(decoding.unit.data(), int(decoding.unit.size()),
                                               planes, &info);
    const GstFlowReturn taken = takePicture(dec, info, planes);
    Pictures pictures;
    release(decoding, ReorderDepth, pictures);
    GstPad* source = dec->srcPad;
    hold.unlock();
    const GstFlowReturn pushed = pushPictures(source, pictures);
    return taken != GST_FLOW_OK ? taken : pushed;
}

// The pictures the decoder holds back and those waiting for their turn: sent on at the end of
// the stream, dropped when a flush ends.
void drain(GstElement* element, bool send) {
    BoardsimVpuDec* dec = self(element);
    std::unique_lock<std::mutex> hold(stateLock);
    ISVCDecoder* decoder = dec->decoding->decoder;
    int held = 0;
    if (decoder)
        (void)decoder->GetOption(DECODER_OPTION_NUM_OF_FRAMES_REMAINING_IN_BUFFER, &held);
    for (; held > 0; --held) {
        unsigned char* planes[3] = {};
        SBufferInfo info{};
        (void)decoder->FlushFrame(planes, &info);
        if (info.iBufferStatus != 1)
            break;
        (void)takePicture(dec, info, planes);
    }
    Pictures pictures;
    release(*dec->decoding, 0, pictures);
    if (!send) {
        for (GstBuffer* picture : pictures)
            gst_buffer_unref(picture);
        pictures.clear();
    }
    GstPad* source = dec->srcPad;
    hold.unlock();
    (void)pushPictures(source, pictures);
}

} // namespace

G_DEFINE_TYPE(BoardsimVpuDec, boardsim_vpu_dec, GST_TYPE_ELEMENT)

static void boardsim_vpu_dec_init(BoardsimVpuDec* dec) {
    std::lock_guard<std::mutex> hold(stateLock);
    dec->decoding = new Decoding;
    SDecodingParam parameters{};
    parameters.sVideoProperty.eVideoBsType = VIDEO_BITSTREAM_DEFAULT;
    if (WelsCreateDecoder(&dec->decoding->decoder) == 0 &&
        dec->decoding->decoder->Initialize(&parameters) != 0) {
        WelsDestroyDecoder(dec->decoding->decoder);
        dec->decoding->decoder = nullptr;
    }
    dec->sinkPad = gst_pad_new_from_static_template(&sinkTemplate, "sink");
    setSinkFunctions<chain, setCaps, drain>(dec->sinkPad);
    gst_element_add_pad(GST_ELEMENT(dec), dec->sinkPad);
    dec->srcPad = gst_pad_new_from_static_template(&srcTemplate, "src");
    gst_pad_use_fixed_caps(dec->srcPad);
    gst_element_add_pad(GST_ELEMENT(dec), dec->srcPad);
}

static void finalize(GObject* object) {
    stateLock.lock();
    Decoding* decoding = reinterpret_cast<BoardsimVpuDec*>(object)->decoding;
    if (decoding->decoder) {
        decoding->decoder->Uninitialize();
        WelsDestroyDecoder(decoding->decoder);
    }
    delete decoding;
    stateLock.unlock();
    G_OBJECT_CLASS(boardsim_vpu_dec_parent_class)->finalize(object);
}

static bool hasDecoder(BoardsimVpuDec* dec) {
    std::lock_guard<std::mutex> hold(stateLock);
    return dec->decoding->decoder != nullptr;
}

static const char* refusal(BoardsimVpuDec* dec) {
    std::lock_guard<std::mutex> hold(stateLock);
    return dec->decoding->stream.refusal();
}

// A stream the board's decoder cannot take fails when it is to be shown, with an error that
// says why. Prerolling it only reads it, so the discoverer, which plugs this decoder too and
// never plays, still judges the file by its caps.
static GstStateChangeReturn changeState(GstElement* element, GstStateChange transition) {
    if (transition == GST_STATE_CHANGE_NULL_TO_READY && !hasDecoder(self(element))) {
        GST_ELEMENT_ERROR(element, LIBRARY, INIT, ("libopenh264 could not make a decoder"),
                          (nullptr));
        return GST_STATE_CHANGE_FAILURE;
    }
    const char* refused =
        transition == GST_STATE_CHANGE_PAUSED_TO_PLAYING ? refusal(self(element)) : nullptr;
    if (refused) {
        GST_ELEMENT_ERROR(element, STREAM, WRONG_TYPE, ("%s", refused), (nullptr));
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
    setElementMetadata(elementClass, "Board H.264 decoder stand-in", "Codec/Decoder/Video",
                       "Decodes H.264 in software, like the board's decoder");
}
