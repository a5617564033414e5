// The stand-in elements as the player chains them: the red clip demuxed, decoded and shown on
// the virtual screen, scaled, turned and placed where the display properties say.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr int ScreenWidth = 1024, ScreenHeight = 768;

// Runs a pipeline description to its end; false on an error or after the time-out.
bool runToEnd(const std::string& description) {
    GstElement* pipeline = gst_parse_launch(description.c_str(), nullptr);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* end = gst_bus_timed_pop_filtered(
        bus, 60 * GST_SECOND, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    bool ended = end && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS;
    if (end)
        gst_message_unref(end);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return ended;
}

TEST(Boardsim, ThePictureLandsScaledAndTurnedAtItsAxis) {
    gst_init(nullptr, nullptr);
    const std::string png = testing::TempDir() + "boardsim-screen.png", raw = png + ".rgb";
    // Sizes of 0 and less keep the clip's 320x240, turned here to 240x320 at the axis.
    const int x = 16, y = 24, right = x + 240, bottom = y + 320;
    g_setenv("BOARDSIM_PNG", png.c_str(), TRUE);
    ASSERT_TRUE(runToEnd("filesrc location=" VIDEOD_BINARY_DIR "/media/clip-a.mp4 ! "
                         "video/quicktime ! aiurdemux ! queue ! vpudec ! mfw_v4lsink "
                         "disp-width=0 disp-height=-8 axis-left=16 axis-top=24 rotate=270"));
    g_unsetenv("BOARDSIM_PNG");
    ASSERT_TRUE(runToEnd("filesrc location=" + png + " ! pngdec ! videoconvert ! " +
                         "video/x-raw,format=RGB ! filesink location=" + raw));
    std::ifstream file(raw, std::ios::binary);
    const std::string rgb{std::istreambuf_iterator<char>(file), {}};
    ASSERT_EQ(rgb.size(), size_t(ScreenWidth * ScreenHeight * 3));
    auto red = [&](int px, int py) {
        const auto* p = reinterpret_cast<const uint8_t*>(&rgb[3 * (py * ScreenWidth + px)]);
        return p[0] > 180 && p[1] < 70 && p[2] < 70;
    };
    EXPECT_TRUE(red(x + 3, y + 3) && red(right - 4, bottom - 4));
    EXPECT_FALSE(red(x - 3, y + 3) || red(right + 2, y + 3) || red(x + 3, y - 3) ||
                 red(x + 3, bottom + 2));
}

} // namespace
