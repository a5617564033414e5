// One playback of one video file: the GStreamer graph, its discovery check, the bus watch
// and the state shared with the Player. run() is the worker thread's body; the Player calls
// nothing but the shared fields and lock from the main thread.
#pragma once

#include "player/player_types.h"
#include "sysman/mutex.h"

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <atomic>
#include <cstdint>
#include <string>

class MediaPipeline {
  public:
    MediaPipeline() = default;
    MediaPipeline(const MediaPipeline&) = delete;
    MediaPipeline& operator=(const MediaPipeline&) = delete;

    // Steps of run, public so that a test can build the graph without playing it.
    int create();
    int link();
    void watchBus();
    void applyDisplaySettings();
    // Releases every GStreamer object the record still holds and ends with Ended.
    void teardown();
    static bool isPlayableVideo(GstDiscovererInfo* info);

    // Worker entry: argument is the MediaPipeline. Returns 1, or -1 when the graph failed.
    static int32_t run(void* argument);
    // Set by create when an element could not be made: the plug-in registry lacks it. One
    // pipeline per process, so the flag is the process's.
    static std::atomic<bool> elementsMissing;

    // Owned by the pipeline once linked; pipeline and mainLoop are guarded by lock
    // against their release while the main thread uses them.
    GstElement* pipeline = nullptr;
    GstElement* source = nullptr;
    GstElement* demuxer = nullptr;
    GstElement* decoder = nullptr;
    GstElement* sink = nullptr;
    GstElement* queue = nullptr;
    GMainLoop* mainLoop = nullptr;
    GstDiscoverer* discoverer = nullptr;
    guint busWatchId = 0;
    GSource* stopCheck = nullptr;

    // Shared with the main thread without the lock.
    std::atomic<PlayerStatus> status{PlayerStatus::Stopped};
    std::atomic<PlayerStatus> requestedState{PlayerStatus::Paused};
    std::atomic<bool> running{false};
    std::atomic<bool> stopRequested{false};

    std::string path;
    DisplaySettings display{0, 0, 0, 0, 0};
    sysman::Mutex lock;

  private:
    int32_t play();
    void releaseElements();
    static gboolean onBusMessage(GstBus* bus, GstMessage* message, gpointer data);
    static void onPadAdded(GstElement* element, GstPad* pad, gpointer queue);
    static gboolean quitIfStopRequested(gpointer data);
};
