// The display sink's inner chain: scaler, size filter, rotation, a compositor standing for
// the screen, and the output. Built once by the sink's init; geometry applied from any thread.
#pragma once

#include <gst/gst.h>

constexpr gint ScreenWidth = 1024;
constexpr gint ScreenHeight = 768;

// Where and how the picture is shown; a width or height that is not positive keeps the
// video's own, rotate is in degrees clockwise.
struct ScreenGeometry {
    gint width;
    gint height;
    gint left;
    gint top;
    gint rotate;
};

struct ScreenChain {
    GstElement* first; // the element whose sink pad the sink exposes
    GstElement* size;  // caps filter that sets the scaled size
    GstElement* flip;  // videoflip
    GstPad* picture;   // the compositor's pad for the picture; a reference of its own
    int feed = -1;     // socket to the screen viewer, or -1
};

// Adds the chain to bin. False when an element is missing; the chain is released then.
bool screenChainBuild(GstBin* bin, ScreenChain* chain);

void screenChainApply(const ScreenChain& chain, const ScreenGeometry& geometry);

// Drops the chain's own references; the elements belong to the bin.
void screenChainRelease(ScreenChain* chain);
