// The display sink's inner chain:
// videoscale ! capsfilter ! videoflip ! compositor ! capsfilter ! fakesink or a window.
#include "boardsim/screen_chain.h"

#include "boardsim/gst_compat.h"
#include "boardsim/screen_capture.h"
#include "boardsim/screen_feed.h"

#include <unistd.h>

static GstElement* make(GstBin* bin, const char* factory, const char* name) {
    GstElement* element = gst_element_factory_make(factory, name);
    if (element)
        gst_bin_add(bin, element);
    return element;
}

// Square pixels throughout, so that the compositor draws the picture at exactly the size
// the caps give, and the scaler stretches instead of adding borders.
static GstCaps* rawCaps(gint width, gint height) {
    GstCaps* caps = gst_caps_new_simple(BOARDSIM_RAW_VIDEO, "pixel-aspect-ratio", GST_TYPE_FRACTION,
                                        1, 1, nullptr);
    if (width > 0)
        gst_caps_set_simple(caps, "width", G_TYPE_INT, width, nullptr);
    if (height > 0)
        gst_caps_set_simple(caps, "height", G_TYPE_INT, height, nullptr);
    return caps;
}

// Only the display's four turns are known; any other value leaves the picture as it is.
static const char* turnFor(gint degrees) {
    switch (degrees) {
    case 90:
        return FlipTurns[1];
    case 180:
        return FlipTurns[2];
    case 270:
        return FlipTurns[3];
    default:
        return FlipTurns[0];
    }
}

// BOARDSIM_SCREEN=socket sends the screen to the viewer listening there; otherwise, or when
// none listens, a fakesink stands for the panel. Both keep to the clock, as the display does.
static GstElement* makeOutput(GstBin* bin, ScreenChain* chain) {
    chain->feed = connectScreenFeed(g_getenv("BOARDSIM_SCREEN"));
    if (chain->feed < 0) {
        GstElement* panel = make(bin, "fakesink", "panel");
        if (panel)
            g_object_set(panel, "sync", TRUE, nullptr);
        return panel;
    }
    GstElement* convert = make(bin, BOARDSIM_CONVERT, "feed-convert");
    GstElement* format = make(bin, "capsfilter", "feed-format");
    GstElement* feed = make(bin, "fdsink", "feed");
    if (!convert || !format || !feed)
        return nullptr;
    GstCaps* caps = gst_caps_from_string(BOARDSIM_BGRX);
    g_object_set(format, "caps", caps, nullptr);
    gst_caps_unref(caps);
    g_object_set(feed, "fd", chain->feed, "sync", TRUE, nullptr);
    return gst_element_link_many(convert, format, feed, nullptr) ? convert : nullptr;
}

static bool linkToScreen(ScreenChain* chain, GstElement* screen) {
    chain->picture = requestPad(screen, BOARDSIM_COMPOSITOR_PADS);
    if (!chain->picture)
        return false;
    GstPad* flipped = gst_element_get_static_pad(chain->flip, "src");
    const bool linked = gst_pad_link(flipped, chain->picture) == GST_PAD_LINK_OK;
    gst_object_unref(flipped);
    return linked;
}

// BOARDSIM_PNG=file saves the screen as a PNG at the end of the stream.
static void captureIfAsked(GstElement* screenSize) {
    const gchar* png = g_getenv("BOARDSIM_PNG");
    if (!png || !*png)
        return;
    GstPad* shown = gst_element_get_static_pad(screenSize, "src");
    boardsimCaptureScreen(shown, png);
    gst_object_unref(shown);
}

bool screenChainBuild(GstBin* bin, ScreenChain* chain) {
    chain->first = make(bin, "videoscale", "scale");
    chain->size = make(bin, "capsfilter", "size");
    chain->flip = make(bin, "videoflip", "flip");
    GstElement* screen = make(bin, BOARDSIM_COMPOSITOR, "screen");
    GstElement* screenSize = make(bin, "capsfilter", "screen-size");
    GstElement* output = makeOutput(bin, chain);
    bool built = chain->first && chain->size && chain->flip && screen && screenSize && output;
    if (built) {
        g_object_set(chain->first, "add-borders", FALSE, nullptr);
        gst_util_set_object_arg(G_OBJECT(screen), "background", "black");
        GstCaps* caps = rawCaps(ScreenWidth, ScreenHeight);
        g_object_set(screenSize, "caps", caps, nullptr);
        gst_caps_unref(caps);
        built = gst_element_link_many(chain->first, chain->size, chain->flip, nullptr) &&
                gst_element_link_many(screen, screenSize, output, nullptr) &&
                linkToScreen(chain, screen);
    }
    if (!built) {
        screenChainRelease(chain);
        return false;
    }
    captureIfAsked(screenSize);
    return true;
}

// The screen shows no more than its longer side of the picture, whichever way it is turned;
// a larger picture would only cost memory.
static gint shownSide(gint side) {
    constexpr gint longest = ScreenWidth > ScreenHeight ? ScreenWidth : ScreenHeight;
    return side < longest ? side : longest;
}

void screenChainApply(const ScreenChain& chain, const ScreenGeometry& geometry) {
    GstCaps* caps = rawCaps(shownSide(geometry.width), shownSide(geometry.height));
    g_object_set(chain.size, "caps", caps, nullptr);
    gst_caps_unref(caps);
    gst_util_set_object_arg(G_OBJECT(chain.flip), FlipProperty, turnFor(geometry.rotate));
    g_object_set(chain.picture, "xpos", geometry.left, "ypos", geometry.top, nullptr);
}

void screenChainRelease(ScreenChain* chain) {
    if (chain->picture)
        gst_object_unref(chain->picture);
    if (chain->feed >= 0)
        close(chain->feed);
    *chain = ScreenChain{};
}
