// "mfw_v4lsink" stand-in: integer display properties, and the saved virtual screen showing
// the picture scaled, rotated and placed where they say, black elsewhere.
#include "board_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>

namespace {

using boardsim_test::Image;
using boardsim_test::mediaPath;
using boardsim_test::Rgb;

constexpr int ScreenWidth = 1024;
constexpr int ScreenHeight = 768;

struct Geometry {
    int width, height, left, top, rotate;
};

struct Rect {
    int x, y, width, height;
};

bool isBlack(Rgb c) {
    return c.r < 40 && c.g < 40 && c.b < 40;
}
bool isRed(Rgb c) {
    return c.r > 180 && c.g < 70 && c.b < 70;
}
bool isLight(Rgb c) {
    return c.r > 150 && c.g > 150 && c.b > 150;
}
bool isBlue(Rgb c) {
    return c.b > 150 && c.r < 80 && c.g < 80;
}

std::string show(Rgb c) {
    return "rgb(" + std::to_string(c.r) + "," + std::to_string(c.g) + "," + std::to_string(c.b) +
           ")";
}

void setGeometry(GstElement* sink, const Geometry& g) {
    g_object_set(sink, "disp-width", g.width, "disp-height", g.height, "axis-left", g.left,
                 "axis-top", g.top, "rotate", g.rotate, nullptr);
}

class BoardsimScreen : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = test->name();
        std::replace(name.begin(), name.end(), '/', '-');
        png = ::testing::TempDir() + "boardsim-" + name + ".png";
        std::remove(png.c_str());
    }
    void TearDown() override { std::remove(png.c_str()); }

    // Plays file with the geometry set while the pipeline is NULL; change, when given, is
    // applied after the preroll in PAUSED. Returns the screen saved at the end.
    Image play(const char* file, const Geometry& geometry, const Geometry* change = nullptr) {
        g_setenv("BOARDSIM_PNG", png.c_str(), TRUE);
        GstElement* pipeline = boardsim_test::makePlayerPipeline(mediaPath(file));
        g_unsetenv("BOARDSIM_PNG");
        if (!pipeline)
            return {};
        GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
        setGeometry(sink, geometry);
        if (change) {
            gst_element_set_state(pipeline, GST_STATE_PAUSED);
            (void)gst_element_get_state(pipeline, nullptr, nullptr, 10 * GST_SECOND);
            setGeometry(sink, *change);
        }
        const auto ending = boardsim_test::playToEnd(pipeline, 20 * GST_SECOND);
        EXPECT_EQ(ending.type, GST_MESSAGE_EOS) << ending.error;
        gst_element_set_state(pipeline, GST_STATE_NULL);
        gst_object_unref(sink);
        gst_object_unref(pipeline);
        return boardsim_test::loadPng(png);
    }

    // The picture fills rect (clipped to the screen) with colour, and the screen is black
    // just outside each of its edges.
    static void expectPlaced(const Image& image, const Rect& rect, bool (*colour)(Rgb)) {
        ASSERT_EQ(image.width, ScreenWidth);
        ASSERT_EQ(image.height, ScreenHeight);
        const int left = std::max(rect.x, 0);
        const int top = std::max(rect.y, 0);
        const int right = std::min(rect.x + rect.width, ScreenWidth) - 1;
        const int bottom = std::min(rect.y + rect.height, ScreenHeight) - 1;
        const int midX = (left + right) / 2;
        const int midY = (top + bottom) / 2;
        for (auto [x, y] : {std::pair{left + 3, top + 3},
                            {right - 3, top + 3},
                            {left + 3, bottom - 3},
                            {right - 3, bottom - 3},
                            {midX, midY}})
            EXPECT_TRUE(colour(image.at(x, y)))
                << "inside at " << x << "," << y << ": " << show(image.at(x, y));
        for (auto [x, y] :
             {std::pair{left - 3, midY}, {right + 3, midY}, {midX, top - 3}, {midX, bottom + 3}}) {
            if (x < 0 || y < 0 || x >= ScreenWidth || y >= ScreenHeight)
                continue;
            EXPECT_TRUE(isBlack(image.at(x, y)))
                << "outside at " << x << "," << y << ": " << show(image.at(x, y));
        }
    }

    std::string png;
};

TEST_F(BoardsimScreen, ScaledPictureLandsAtItsAxis) {
    expectPlaced(play("clip-a.mp4", {200, 104, 300, 200, 0}), {300, 200, 200, 104}, isRed);
}

TEST_F(BoardsimScreen, QuarterTurnsSwapWidthAndHeight) {
    expectPlaced(play("clip-a.mp4", {200, 104, 300, 200, 90}), {300, 200, 104, 200}, isRed);
    expectPlaced(play("clip-a.mp4", {200, 104, 300, 200, 270}), {300, 200, 104, 200}, isRed);
}

TEST_F(BoardsimScreen, SizeNotPositiveKeepsTheVideoSize) {
    expectPlaced(play("clip-a.mp4", {0, -8, 16, 24, 0}), {16, 24, 320, 240}, isRed);
}

TEST_F(BoardsimScreen, PictureOffTheTopLeftIsClipped) {
    expectPlaced(play("clip-a.mp4", {200, 104, -100, -40, 0}), {-100, -40, 200, 104}, isRed);
}

TEST_F(BoardsimScreen, ChangesAfterPrerollTakeEffect) {
    const Geometry first{200, 104, 300, 200, 0};
    const Geometry second{96, 48, 40, 56, 90};
    expectPlaced(play("clip-a.mp4", first, &second), {40, 56, 48, 96}, isRed);
}

struct Turn {
    int rotate;
    // Where the test card's top-left (light) and top-right (blue) bars end up, as fractions
    // of the placed picture's width and height.
    double lightX, lightY, blueX, blueY;
};

void PrintTo(const Turn& turn, std::ostream* out) {
    *out << turn.rotate << " degrees";
}

class Rotation : public BoardsimScreen, public ::testing::WithParamInterface<Turn> {};

TEST_P(Rotation, TurnsClockwise) {
    const Turn& turn = GetParam();
    const bool quarter = turn.rotate % 180 != 0;
    const int width = quarter ? 96 : 192;
    const int height = quarter ? 192 : 96;
    const Image image = play("short.mp4", {192, 96, 100, 100, turn.rotate});
    ASSERT_EQ(image.width, ScreenWidth);
    const Rgb light = image.at(100 + int(turn.lightX * width), 100 + int(turn.lightY * height));
    const Rgb blue = image.at(100 + int(turn.blueX * width), 100 + int(turn.blueY * height));
    EXPECT_TRUE(isLight(light)) << show(light);
    EXPECT_TRUE(isBlue(blue)) << show(blue);
}

INSTANTIATE_TEST_SUITE_P(
    Boardsim, Rotation,
    ::testing::Values(Turn{0, 0.05, 0.1, 0.95, 0.1}, Turn{90, 0.9, 0.05, 0.9, 0.95},
                      Turn{180, 0.95, 0.9, 0.05, 0.9}, Turn{270, 0.1, 0.95, 0.1, 0.05}),
    [](const auto& turn) { return "deg" + std::to_string(turn.param.rotate); });

// The player sets these with g_object_set and plain ints while the pipeline is NULL.
TEST(BoardsimDisplayProperties, AreSignedIntsReadableBack) {
    GstElement* sink = gst_element_factory_make("mfw_v4lsink", nullptr);
    ASSERT_NE(sink, nullptr);
    int value = -3;
    for (const char* name : {"disp-width", "disp-height", "axis-left", "axis-top", "rotate"}) {
        GParamSpec* property = g_object_class_find_property(G_OBJECT_GET_CLASS(sink), name);
        ASSERT_NE(property, nullptr) << name;
        EXPECT_EQ(property->value_type, G_TYPE_INT) << name;
        g_object_set(sink, name, value, nullptr);
        int read = 0;
        g_object_get(sink, name, &read, nullptr);
        EXPECT_EQ(read, value) << name;
        value += 90;
    }
    gst_object_unref(sink);
}

} // namespace
