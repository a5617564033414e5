// boardsim-screen SOCKET: one window that shows the stand-in display's virtual screen for as
// long as it runs, fed over SOCKET by each player in turn, and black between players, as the
// board's panel is. Used by the demo; PC only.
#include "boardsim/screen_chain.h"

#include <gst/gst.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

// The screen sits in a grey frame, so that black picture edges and the placement show.
constexpr int Border = 24;
constexpr int CanvasWidth = ScreenWidth + 2 * Border;
constexpr int CanvasHeight = ScreenHeight + 2 * Border;
constexpr size_t FrameBytes = size_t(ScreenWidth) * ScreenHeight * 4;
constexpr uint8_t FrameGrey = 0x70;
constexpr int IdleRedrawMs = 200;

volatile sig_atomic_t stopRequested = 0;

void onStop(int) {
    stopRequested = 1;
}

int listenAt(const char* path) {
    struct sockaddr_un address {};
    if (strlen(path) >= sizeof address.sun_path)
        return -1;
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, path);
    unlink(path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0 ||
        bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 1) != 0) {
        if (listener >= 0)
            close(listener);
        return -1;
    }
    return listener;
}

class Window {
  public:
    // False with the reason printed when no window can be opened (no display, no X sink).
    bool open() {
        GError* error = nullptr;
        const std::string launch = "appsrc name=frames is-live=true do-timestamp=true format=time "
                                   "caps=video/x-raw,format=BGRx,width=" +
                                   std::to_string(CanvasWidth) +
                                   ",height=" + std::to_string(CanvasHeight) +
                                   ",framerate=0/1 ! videoconvert ! ximagesink sync=false";
        pipeline_ = gst_parse_launch(launch.c_str(), &error);
        if (!pipeline_) {
            fprintf(stderr, "boardsim-screen: no window: %s\n", error ? error->message : "");
            g_clear_error(&error);
            return false;
        }
        frames_ = gst_bin_get_by_name(GST_BIN(pipeline_), "frames");
        canvas_.assign(size_t(CanvasWidth) * CanvasHeight * 4, FrameGrey);
        blank();
        if (gst_element_set_state(pipeline_, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE ||
            !healthy()) {
            fprintf(stderr, "boardsim-screen: no window: the X display cannot be opened "
                            "(is DISPLAY set?)\n");
            return false;
        }
        return true;
    }
    ~Window() {
        if (frames_)
            gst_object_unref(frames_);
        if (pipeline_) {
            gst_element_set_state(pipeline_, GST_STATE_NULL);
            gst_object_unref(pipeline_);
        }
    }

    // The screen shows frame, a whole screen of BGRx rows.
    void show(const uint8_t* frame) {
        for (int row = 0; row < ScreenHeight; ++row)
            memcpy(&canvas_[(size_t(row + Border) * CanvasWidth + Border) * 4],
                   frame + size_t(row) * ScreenWidth * 4, size_t(ScreenWidth) * 4);
        push();
    }
    void blank() {
        std::vector<uint8_t> black(FrameBytes, 0);
        show(black.data());
    }
    void push() {
        GstBuffer* buffer = gst_buffer_new_memdup(canvas_.data(), canvas_.size());
        GstFlowReturn result;
        g_signal_emit_by_name(frames_, "push-buffer", buffer, &result);
        gst_buffer_unref(buffer);
    }
    // False once the window has gone (closed by its user) or failed.
    bool healthy() {
        GstBus* bus = gst_element_get_bus(pipeline_);
        GstMessage* error = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
        gst_object_unref(bus);
        if (!error)
            return true;
        gst_message_unref(error);
        return false;
    }

  private:
    GstElement* pipeline_ = nullptr;
    GstElement* frames_ = nullptr;
    std::vector<uint8_t> canvas_;
};

// Reads frames from one player until it goes; a frame cut short by a dying player is dropped.
void showPlayer(int player, Window& window) {
    std::vector<uint8_t> frame(FrameBytes);
    size_t filled = 0;
    struct pollfd ready = {player, POLLIN, 0};
    while (!stopRequested) {
        if (poll(&ready, 1, IdleRedrawMs) == 0) {
            window.push();
            if (!window.healthy())
                return;
            continue;
        }
        const ssize_t got = read(player, frame.data() + filled, FrameBytes - filled);
        if (got <= 0)
            break;
        filled += size_t(got);
        if (filled == FrameBytes) {
            window.show(frame.data());
            filled = 0;
        }
    }
    window.blank();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: boardsim-screen SOCKET\n");
        return 2;
    }
    gst_init(nullptr, nullptr);
    struct sigaction stop {};
    stop.sa_handler = onStop;
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
    Window window;
    if (!window.open())
        return 1;
    const int listener = listenAt(argv[1]);
    if (listener < 0) {
        perror("boardsim-screen: listening socket");
        return 1;
    }
    struct pollfd ready = {listener, POLLIN, 0};
    while (!stopRequested && window.healthy()) {
        if (poll(&ready, 1, IdleRedrawMs) <= 0) {
            window.push();
            continue;
        }
        const int player = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (player >= 0) {
            showPlayer(player, window);
            close(player);
        }
    }
    close(listener);
    unlink(argv[1]);
    return 0;
}
