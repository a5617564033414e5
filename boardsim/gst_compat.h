// What differs between GStreamer 1.x and the board's 0.10 for the stand-in elements: caps
// names, pad names, element metadata, pad functions, buffers and frame conversion.
// Everything else in the plug-in is written once against the calls both series share.
#pragma once

#include <gst/gst.h>
#include <gst/video/video.h>

#if GST_CHECK_VERSION(1, 0, 0)
#define BOARDSIM_GST_1 1
#else
#define BOARDSIM_GST_1 0
#endif

#if BOARDSIM_GST_1

#define BOARDSIM_RAW_VIDEO "video/x-raw"
#define BOARDSIM_H264                                                                              \
    "video/x-h264, stream-format=(string){ avc, avc3, byte-stream }, alignment=(string)au"
#define BOARDSIM_I420 "video/x-raw, format=(string)I420"
#define BOARDSIM_BGRX "video/x-raw, format=(string)BGRx"
#define BOARDSIM_S16 "audio/x-raw, format=(string)S16LE, layout=(string)interleaved"
// qtdemux names its stream pads after these templates.
#define BOARDSIM_VIDEO_PADS "video_%u"
#define BOARDSIM_AUDIO_PADS "audio_%u"
#define BOARDSIM_SUBTITLE_PADS "subtitle_%u"
#define BOARDSIM_COMPOSITOR "compositor"
#define BOARDSIM_CONVERT "videoconvert"
#define BOARDSIM_COMPOSITOR_PADS "sink_%u"
#define BOARDSIM_PLUGIN_NAME boardsim

// videoflip's property for the picture's turn and its values for 0, 90, 180 and 270 degrees.
constexpr const char* FlipProperty = "video-direction";
constexpr const char* FlipTurns[4] = {"identity", "90r", "180", "90l"};

#else

#define BOARDSIM_RAW_VIDEO "video/x-raw-yuv"
#define BOARDSIM_H264 "video/x-h264"
#define BOARDSIM_I420 "video/x-raw-yuv, format=(fourcc)I420"
#define BOARDSIM_BGRX                                                                              \
    "video/x-raw-rgb, bpp=(int)32, depth=(int)24, endianness=(int)4321, "                          \
    "red_mask=(int)65280, green_mask=(int)16711680, blue_mask=(int)-16777216"
#define BOARDSIM_S16                                                                               \
    "audio/x-raw-int, width=(int)16, depth=(int)16, signed=(boolean)true, "                        \
    "endianness=(int)1234"
#define BOARDSIM_VIDEO_PADS "video_%02d"
#define BOARDSIM_AUDIO_PADS "audio_%02d"
#define BOARDSIM_SUBTITLE_PADS "subtitle_%02d"
#define BOARDSIM_COMPOSITOR "videomixer2"
#define BOARDSIM_CONVERT "ffmpegcolorspace"
#define BOARDSIM_COMPOSITOR_PADS "sink_%d"
#define BOARDSIM_PLUGIN_NAME "boardsim"

constexpr const char* FlipProperty = "method";
constexpr const char* FlipTurns[4] = {"none", "clockwise", "rotate-180", "counterclockwise"};

#endif

inline void setElementMetadata(GstElementClass* klass, const char* longName,
                               const char* classification, const char* description) {
#if BOARDSIM_GST_1
    gst_element_class_set_static_metadata(klass, longName, classification, description,
                                          "videod developers");
#else
    gst_element_class_set_details_simple(klass, longName, classification, description,
                                         "videod developers");
#endif
}

inline GstPad* requestPad(GstElement* element, const char* templateName) {
#if BOARDSIM_GST_1
    return gst_element_request_pad_simple(element, templateName);
#else
    return gst_element_get_request_pad(element, templateName);
#endif
}

// The caps a pad has agreed on, or null; the caller releases them.
inline GstCaps* currentCaps(GstPad* pad) {
#if BOARDSIM_GST_1
    return gst_pad_get_current_caps(pad);
#else
    return gst_pad_get_negotiated_caps(pad);
#endif
}

inline GstBuffer* newBuffer(gsize size) {
#if BOARDSIM_GST_1
    return gst_buffer_new_allocate(nullptr, size, nullptr);
#else
    return gst_buffer_new_and_alloc(static_cast<guint>(size));
#endif
}

// A buffer's bytes for as long as the object lives.
class BufferBytes {
  public:
    BufferBytes(GstBuffer* buffer, bool write) : buffer_(buffer) {
#if BOARDSIM_GST_1
        mapped_ = gst_buffer_map(buffer, &map_, write ? GST_MAP_WRITE : GST_MAP_READ);
        data = mapped_ ? map_.data : nullptr;
        size = mapped_ ? map_.size : 0;
#else
        (void)write;
        data = GST_BUFFER_DATA(buffer);
        size = GST_BUFFER_SIZE(buffer);
#endif
    }
    ~BufferBytes() {
#if BOARDSIM_GST_1
        if (mapped_)
            gst_buffer_unmap(buffer_, &map_);
#endif
    }
    BufferBytes(const BufferBytes&) = delete;
    BufferBytes& operator=(const BufferBytes&) = delete;

    guint8* data;
    gsize size;

  private:
    GstBuffer* buffer_;
#if BOARDSIM_GST_1
    GstMapInfo map_;
    bool mapped_;
#endif
};

// 0.10 buffers carry their caps themselves; 1.x buffers follow the pad's caps event.
inline GstFlowReturn pushBuffer(GstPad* pad, GstBuffer* buffer) {
#if !BOARDSIM_GST_1
    gst_buffer_set_caps(buffer, GST_PAD_CAPS(pad));
#endif
    return gst_pad_push(pad, buffer);
}

// The Drain of an element that holds nothing back.
inline void keepNothing(GstElement*, bool) {}

// Installs the sink pad functions of a one-in, one-out element: Chain takes each buffer,
// SetCaps the input's caps, Drain empties the element before the end of the stream passes on
// (true: what it held goes downstream) and when a flush ends (false: what it held is dropped);
// every other event takes the default course.
template <GstFlowReturn (*Chain)(GstElement*, GstBuffer*),
          gboolean (*SetCaps)(GstElement*, GstCaps*),
          void (*Drain)(GstElement*, bool) = keepNothing>
void setSinkFunctions(GstPad* pad) {
#if BOARDSIM_GST_1
    gst_pad_set_chain_function(pad, [](GstPad*, GstObject* parent, GstBuffer* buffer) {
        return Chain(GST_ELEMENT(parent), buffer);
    });
    gst_pad_set_event_function(pad, [](GstPad* sink, GstObject* parent, GstEvent* event) {
        const GstEventType type = GST_EVENT_TYPE(event);
        if (type == GST_EVENT_EOS || type == GST_EVENT_FLUSH_STOP)
            Drain(GST_ELEMENT(parent), type == GST_EVENT_EOS);
        if (type != GST_EVENT_CAPS)
            return gst_pad_event_default(sink, parent, event);
        GstCaps* caps = nullptr;
        gst_event_parse_caps(event, &caps);
        const gboolean accepted = SetCaps(GST_ELEMENT(parent), caps);
        gst_event_unref(event);
        return accepted;
    });
#else
    gst_pad_set_chain_function(pad, [](GstPad* sink, GstBuffer* buffer) {
        return Chain(GST_ELEMENT(GST_PAD_PARENT(sink)), buffer);
    });
    gst_pad_set_setcaps_function(pad, [](GstPad* sink, GstCaps* caps) {
        return SetCaps(GST_ELEMENT(GST_PAD_PARENT(sink)), caps);
    });
    gst_pad_set_event_function(pad, [](GstPad* sink, GstEvent* event) {
        const GstEventType type = GST_EVENT_TYPE(event);
        if (type == GST_EVENT_EOS || type == GST_EVENT_FLUSH_STOP)
            Drain(GST_ELEMENT(GST_PAD_PARENT(sink)), type == GST_EVENT_EOS);
        return gst_pad_event_default(sink, event);
    });
#endif
}

// Calls Frame with each buffer that passes the pad, and End at the end of the stream.
template <void (*Frame)(GstBuffer*, gpointer), void (*End)(GstPad*, gpointer)>
void watchFrames(GstPad* pad, gpointer data, GDestroyNotify destroy) {
#if BOARDSIM_GST_1
    auto type = static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                             GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM);
    gst_pad_add_probe(
        pad, type,
        [](GstPad* watched, GstPadProbeInfo* info, gpointer user) {
            if (info->type & GST_PAD_PROBE_TYPE_BUFFER)
                Frame(GST_PAD_PROBE_INFO_BUFFER(info), user);
            else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS)
                End(watched, user);
            return GST_PAD_PROBE_OK;
        },
        data, destroy);
#else
    auto probe = [](GstPad* watched, GstMiniObject* object, gpointer user) -> gboolean {
        if (GST_IS_BUFFER(object))
            Frame(GST_BUFFER(object), user);
        else if (GST_IS_EVENT(object) && GST_EVENT_TYPE(object) == GST_EVENT_EOS)
            End(watched, user);
        return TRUE;
    };
    gst_pad_add_data_probe_full(pad, G_CALLBACK(+probe), data, destroy);
#endif
}

// The frame converted to the caps to, or null with error set.
inline GstBuffer* convertFrame(GstBuffer* frame, GstCaps* caps, GstCaps* to, GstClockTime timeout,
                               GError** error) {
#if BOARDSIM_GST_1
    GstSample* sample = gst_sample_new(frame, caps, nullptr, nullptr);
    GstSample* converted = gst_video_convert_sample(sample, to, timeout, error);
    gst_sample_unref(sample);
    if (!converted)
        return nullptr;
    GstBuffer* result = gst_buffer_ref(gst_sample_get_buffer(converted));
    gst_sample_unref(converted);
    return result;
#else
    GstBuffer* withCaps = gst_buffer_make_metadata_writable(gst_buffer_ref(frame));
    gst_buffer_set_caps(withCaps, caps);
    GstBuffer* converted = gst_video_convert_frame(withCaps, to, timeout, error);
    gst_buffer_unref(withCaps);
    return converted;
#endif
}
