// Helpers for the stand-in element tests: GStreamer start-up, test videos, the player's
// pipeline shape, waiting on the bus and reading a saved screen back. Test thread only.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <string>
#include <vector>

namespace boardsim_test {

// Path of a video that the media target made.
std::string mediaPath(const char* name);

// A test name made from a video's file name: "clip-a.mp4" gives "clip_a".
std::string clipName(const char* file);

// filesrc ! video/quicktime ! aiurdemux, and queue ! vpudec ! mfw_v4lsink, as the player
// builds them, with the player's 1 µs queue; the first "video/x-h264" pad of the demuxer is linked
// to the queue when it appears. Elements are named source, demuxer, queue, decoder and sink. Null
// on failure.
GstElement* makePlayerPipeline(const std::string& path);

// How a playback ended: end of stream, an error (with its text), or GST_MESSAGE_UNKNOWN when
// neither came in time.
struct Ending {
    GstMessageType type;
    std::string error;
};

// Sets the pipeline PLAYING and waits for end of stream or an error; leaves the state alone.
Ending playToEnd(GstElement* pipeline, GstClockTime timeout);

struct Rgb {
    int r, g, b;
};

// A PNG file decoded to 8-bit RGB; empty (width 0) when it could not be read.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgbx;
    Rgb at(int x, int y) const;
};

Image loadPng(const std::string& path);

} // namespace boardsim_test
