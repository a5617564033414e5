// "mfw_v4lsink" stand-in: a bin around the screen chain, with the display's properties.
#include "boardsim/v4l_sink.h"

#include "boardsim/gst_compat.h"
#include "boardsim/screen_chain.h"

namespace {

struct BoardsimV4lSink {
    GstBin parent;
    ScreenChain chain;       // all null when an element is missing; READY then fails
    ScreenGeometry geometry; // guarded by the object lock
};

struct BoardsimV4lSinkClass {
    GstBinClass parent_class;
};

enum { PROP_0, PROP_DISP_WIDTH, PROP_DISP_HEIGHT, PROP_AXIS_LEFT, PROP_AXIS_TOP, PROP_ROTATE };

// A width or height that is not positive keeps the video's own size.
constexpr gint DEFAULT_DISP_WIDTH = 0;
constexpr gint DEFAULT_DISP_HEIGHT = 0;
constexpr gint DEFAULT_AXIS_LEFT = 0;
constexpr gint DEFAULT_AXIS_TOP = 0;
constexpr gint DEFAULT_ROTATE = 0;

GstStaticPadTemplate sinkTemplate = GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                                                            GST_STATIC_CAPS(BOARDSIM_RAW_VIDEO));

} // namespace

G_DEFINE_TYPE(BoardsimV4lSink, boardsim_v4l_sink, GST_TYPE_BIN)

static void applyGeometry(BoardsimV4lSink* self) {
    if (!self->chain.picture)
        return;
    GST_OBJECT_LOCK(self);
    const ScreenGeometry geometry = self->geometry;
    GST_OBJECT_UNLOCK(self);
    screenChainApply(self->chain, geometry);
}

static void boardsim_v4l_sink_init(BoardsimV4lSink* self) {
    self->geometry = {DEFAULT_DISP_WIDTH, DEFAULT_DISP_HEIGHT, DEFAULT_AXIS_LEFT, DEFAULT_AXIS_TOP,
                      DEFAULT_ROTATE};
    GstPadTemplate* templ = gst_static_pad_template_get(&sinkTemplate);
    GstPad* ghost;
    if (screenChainBuild(GST_BIN(self), &self->chain)) {
        GstPad* target = gst_element_get_static_pad(self->chain.first, "sink");
        ghost = gst_ghost_pad_new_from_template("sink", target, templ);
        gst_object_unref(target);
        applyGeometry(self);
    } else {
        ghost = gst_ghost_pad_new_no_target_from_template("sink", templ);
    }
    gst_object_unref(templ);
    gst_element_add_pad(GST_ELEMENT(self), ghost);
}

static gint* field(ScreenGeometry* geometry, guint id) {
    switch (id) {
    case PROP_DISP_WIDTH:
        return &geometry->width;
    case PROP_DISP_HEIGHT:
        return &geometry->height;
    case PROP_AXIS_LEFT:
        return &geometry->left;
    case PROP_AXIS_TOP:
        return &geometry->top;
    case PROP_ROTATE:
        return &geometry->rotate;
    default:
        return nullptr;
    }
}

// Takes effect at once, in any state: the next frame is scaled, turned and placed anew.
static void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    auto* self = reinterpret_cast<BoardsimV4lSink*>(object);
    switch (id) {
    case PROP_DISP_WIDTH:
    case PROP_DISP_HEIGHT:
    case PROP_AXIS_LEFT:
    case PROP_AXIS_TOP:
    case PROP_ROTATE:
        GST_OBJECT_LOCK(self);
        *field(&self->geometry, id) = g_value_get_int(value);
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
        g_value_set_int(value, *field(&self->geometry, id));
        GST_OBJECT_UNLOCK(self);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

static void dispose(GObject* object) {
    screenChainRelease(&reinterpret_cast<BoardsimV4lSink*>(object)->chain);
    G_OBJECT_CLASS(boardsim_v4l_sink_parent_class)->dispose(object);
}

static GstStateChangeReturn changeState(GstElement* element, GstStateChange transition) {
    if (transition == GST_STATE_CHANGE_NULL_TO_READY &&
        !reinterpret_cast<BoardsimV4lSink*>(element)->chain.picture) {
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
    setElementMetadata(elementClass, "Board display sink stand-in", "Sink/Video",
                       "Scales, rotates and places the picture on a black 1024x768 virtual "
                       "screen, played in real time, like the board's display");
}
