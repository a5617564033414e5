// Saving what the simulated display shows: keeps the last frame that passes a pad and writes
// it as a PNG file when the end of the stream passes. Runs on the pad's streaming thread.
#pragma once

#include <gst/gst.h>

// Watches raw video on pad for as long as the pad lives. A file that cannot be written is
// reported as a warning message from the pad's element.
void boardsimCaptureScreen(GstPad* pad, const char* path);
