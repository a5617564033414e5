// "mfw_v4lsink" stand-in: videoscale ! capsfilter ! videoflip ! compositor ! capsfilter ! sink.
// The compositor is the virtual screen: black, ScreenWidth x ScreenHeight, the picture at
// (axis-left, axis-top). BOARDSIM_SHOW=1 shows the screen in a window, BOARDSIM_PNG=file saves
// it as a PNG at the end of the stream; otherwise a synchronised fakesink stands for the panel.
#include "boardsim/v4l_sink.h"

#include "boardsim/screen_capture.h"

#include <gst/video/video.h>

namespace {

struct BoardsimV4lSink {
    GstBin parent;
    // Inner elements and the compositor pad that carries the picture; null when an element
    // is missing, which the state change to READY reports.
    GstElement* size;
    GstElement* flip;
    GstPad* picture;
    // Property values, guarded by the object lock.
    gint dispWidth;
    gint dispHeight;
    gint axisLeft;
    gint axisTop;
    gint rotate;
};

struct BoardsimV4lSinkClass {
    GstBinClass parent_class;
};

enum { PROP_0, PROP_DISP_WIDTH, PROP_DISP_HEIGHT, PROP_AXIS_LEFT, PROP_AXIS_TOP, PROP_ROTATE };

// A width or height that is not positive keeps the picture's own size.
constexpr gint DEFAULT_DISP_WIDTH = 0;
constexpr gint DEFAULT_DISP_HEIGHT = 0;
constexpr gint DEFAULT_AXIS_LEFT = 0;
constexpr gint DEFAULT_AXIS_TOP = 0;
constexpr gint DEFAULT_ROTATE = 0;

constexpr gint ScreenWidth = 1024;
constexpr gint ScreenHeight = 768;

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS("video/x-raw"));

} // namespace

G_DEFINE_TYPE(BoardsimV4lSink, boardsim_v4l_sink, GST_TYPE_BIN)

static GstElement* make(GstBin* bin, const char* factory, const char* name) {
    GstElement* element = gst_element_factory_make(factory, name);
    if (element)
        gst_bin_add(bin, element);
    return element;
}

// Square pixels throughout, so that the compositor draws the picture at exactly the size
// the caps give, and the scaler stretches instead of adding borders.
static GstCaps* rawCaps(gint width, gint height) {
    GstCaps* caps =
        gst_caps_new_simple("video/x-raw", "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, nullptr);
    if (width > 0)
        gst_caps_set_simple(caps, "width", G_TYPE_INT, width, nullptr);
    if (height > 0)
        gst_caps_set_simple(caps, "height", G_TYPE_INT, height, nullptr);
    return caps;
}

static GstVideoOrientationMethod directionFor(gint degrees) {
    switch ((degrees % 360 + 360) % 360) {
    case 90:
        return GST_VIDEO_ORIENTATION_90R;
    case 180:
        return GST_VIDEO_ORIENTATION_180;
    case 270:
        return GST_VIDEO_ORIENTATION_90L;
    default:
        return GST_VIDEO_ORIENTATION_IDENTITY;
    }
}

static void applyGeometry(BoardsimV4lSink* self) {
    if (!self->picture)
        return;
    GST_OBJECT_LOCK(self);
    GstCaps* caps = rawCaps(self->dispWidth, self->dispHeight);
    gint left = self->axisLeft;
    gint top = self->axisTop;
    GstVideoOrientationMethod direction = directionFor(self->rotate);
    GST_OBJECT_UNLOCK(self);
    g_object_set(self->size, "caps", caps, nullptr);
    gst_caps_unref(caps);
    g_object_set(self->flip, "video-direction", direction, nullptr);
    g_object_set(self->picture, "xpos", left, "ypos", top, nullptr);
}

static GstElement* makeOutput(GstBin* bin) {
    if (g_strcmp0(g_getenv("BOARDSIM_SHOW"), "1") != 0) {
        GstElement* sink = make(bin, "fakesink", "panel");
        if (sink)
            g_object_set(sink, "sync", TRUE, nullptr);
        return sink;
    }
    GstElement* convert = make(bin, "videoconvert", "window-convert");
    GstElement* window = make(bin, "autovideosink", "window");
    if (!convert || !window || !gst_element_link(convert, window))
        return nullptr;
    return convert;
}

// Builds the chain and returns the element whose sink pad the bin exposes, or null.
static GstElement* build(BoardsimV4lSink* self) {
    GstBin* bin = GST_BIN(self);
    GstElement* scale = make(bin, "videoscale", "scale");
    self->size = make(bin, "capsfilter", "size");
    self->flip = make(bin, "videoflip", "flip");
    GstElement* screen = make(bin, "compositor", "screen");
    GstElement* screenSize = make(bin, "capsfilter", "screen-size");
    GstElement* output = makeOutput(bin);
    if (!scale || !self->size || !self->flip || !screen || !screenSize || !output)
        return nullptr;
    g_object_set(scale, "add-borders", FALSE, nullptr);
    gst_util_set_object_arg(G_OBJECT(screen), "background", "black");
    GstCaps* caps = rawCaps(ScreenWidth, ScreenHeight);
    g_object_set(screenSize, "caps", caps, nullptr);
    gst_caps_unref(caps);
    if (!gst_element_link_many(scale, self->size, self->flip, nullptr) ||
        !gst_element_link_many(screen, screenSize, output, nullptr))
        return nullptr;
    self->picture = gst_element_request_pad_simple(screen, "sink_%u");
    GstPad* flipped = gst_element_get_static_pad(self->flip, "src");
    GstPadLinkReturn linked = gst_pad_link(flipped, self->picture);
    gst_object_unref(flipped);
    if (linked != GST_PAD_LINK_OK)
        return nullptr;
    const gchar* png = g_getenv("BOARDSIM_PNG");
    if (png && *png) {
        GstPad* shown = gst_element_get_static_pad(screenSize, "src");
        boardsimCaptureScreen(shown, png);
        gst_object_unref(shown);
    }
    return scale;
}

static void boardsim_v4l_sink_init(BoardsimV4lSink* self) {
    self->dispWidth = DEFAULT_DISP_WIDTH;
    self->dispHeight = DEFAULT_DISP_HEIGHT;
    self->axisLeft = DEFAULT_AXIS_LEFT;
    self->axisTop = DEFAULT_AXIS_TOP;
    self->rotate = DEFAULT_ROTATE;
    GstElement* first = build(self);
    GstPadTemplate* templ = gst_static_pad_template_get(&sinkTemplate);
    GstPad* ghost;
    if (first) {
        GstPad* target = gst_element_get_static_pad(first, "sink");
        ghost = gst_ghost_pad_new_from_template("sink", target, templ);
        gst_object_unref(target);
        applyGeometry(self);
    } else {
        if (self->picture)
            gst_object_unref(self->picture);
        self->picture = nullptr;
        ghost = gst_ghost_pad_new_no_target_from_template("sink", templ);
    }
    gst_object_unref(templ);
    gst_element_add_pad(GST_ELEMENT(self), ghost);
}

static gint* field(BoardsimV4lSink* self, guint id) {
    switch (id) {
    case PROP_DISP_WIDTH:
        return &self->dispWidth;
    case PROP_DISP_HEIGHT:
        return &self->dispHeight;
    case PROP_AXIS_LEFT:
        return &self->axisLeft;
    case PROP_AXIS_TOP:
        return &self->axisTop;
    case PROP_ROTATE:
        return &self->rotate;
    default:
        return nullptr;
    }
}

static void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    auto* self = reinterpret_cast<BoardsimV4lSink*>(object);
    switch (id) {
    case PROP_DISP_WIDTH:
    case PROP_DISP_HEIGHT:
    case PROP_AXIS_LEFT:
    case PROP_AXIS_TOP:
    case PROP_ROTATE:
        GST_OBJECT_LOCK(self);
        *field(self, id) = g_value_get_int(value);
        GST_OBJECT_UNLOCK(self);
        applyGeometry(self);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

static void getProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    auto* self = reinterpret_cast<BoardsimV4lSink*>(object);
    switch (id) {
    case PROP_DISP_WIDTH:
    case PROP_DISP_HEIGHT:
    case PROP_AXIS_LEFT:
    case PROP_AXIS_TOP:
    case PROP_ROTATE:
        GST_OBJECT_LOCK(self);
        g_value_set_int(value, *field(self, id));
        GST_OBJECT_UNLOCK(self);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

static void dispose(GObject* object) {
    auto* self = reinterpret_cast<BoardsimV4lSink*>(object);
    if (self->picture) {
        gst_object_unref(self->picture);
        self->picture = nullptr;
    }
    G_OBJECT_CLASS(boardsim_v4l_sink_parent_class)->dispose(object);
}

static GstStateChangeReturn changeState(GstElement* element, GstStateChange transition) {
    if (transition == GST_STATE_CHANGE_NULL_TO_READY &&
        !reinterpret_cast<BoardsimV4lSink*>(element)->picture) {
        GST_ELEMENT_ERROR(element, CORE, MISSING_PLUGIN,
                          ("a video element of the display chain is not installed"), (nullptr));
        return GST_STATE_CHANGE_FAILURE;
    }
    return GST_ELEMENT_CLASS(boardsim_v4l_sink_parent_class)->change_state(element, transition);
}

static void installInt(GObjectClass* klass, guint id, const char* name, const char* blurb,
                       gint value) {
    auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                          GST_PARAM_MUTABLE_PLAYING);
    g_object_class_install_property(
        klass, id, g_param_spec_int(name, name, blurb, G_MININT, G_MAXINT, value, flags));
}

static void boardsim_v4l_sink_class_init(BoardsimV4lSinkClass* klass) {
    GObjectClass* objectClass = G_OBJECT_CLASS(klass);
    objectClass->set_property = setProperty;
    objectClass->get_property = getProperty;
    objectClass->dispose = dispose;
    installInt(objectClass, PROP_DISP_WIDTH, "disp-width",
               "Width of the picture on the display in pixels (not positive: the video's own)",
               DEFAULT_DISP_WIDTH);
    installInt(objectClass, PROP_DISP_HEIGHT, "disp-height",
               "Height of the picture on the display in pixels (not positive: the video's own)",
               DEFAULT_DISP_HEIGHT);
    installInt(objectClass, PROP_AXIS_LEFT, "axis-left",
               "Display column of the picture's left edge", DEFAULT_AXIS_LEFT);
    installInt(objectClass, PROP_AXIS_TOP, "axis-top", "Display row of the picture's top edge",
               DEFAULT_AXIS_TOP);
    installInt(objectClass, PROP_ROTATE, "rotate",
               "Clockwise rotation of the picture in degrees: 0, 90, 180 or 270", DEFAULT_ROTATE);
    GstElementClass* elementClass = GST_ELEMENT_CLASS(klass);
    elementClass->change_state = changeState;
    gst_element_class_add_static_pad_template(elementClass, &sinkTemplate);
    gst_element_class_set_static_metadata(
        elementClass, "Board display sink stand-in", "Sink/Video",
        "Scales, rotates and places the picture on a virtual screen, like the board's display",
        "videod developers");
}
