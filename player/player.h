// The object the player process's loop commands: owns the worker thread that runs one
// MediaPipeline and turns pause, play and stop into changes of that pipeline.
// Every operation is called on the player process's main thread.
#pragma once

#include "player/media_pipeline.h"
#include "player/player_types.h"
#include "sysman/thread_handle.h"

#include <gst/gst.h>

#include <string>

class Player {
  public:
    Player() = default;
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Checks that the path names a regular file that can be opened and starts the worker on it. A
    // previous playback is stopped and its record released first.
    bool start(const std::string& path, const DisplaySettings& display);
    void pause();
    void play();
    void stop();
    PlayerStatus status() const;
    bool finished() const;

  private:
    // Records the request; moves a running pipeline from either state in from to target.
    void request(PlayerStatus requested, GstState fromA, GstState fromB, GstState target);

    sysman::ThreadHandle worker;
    MediaPipeline* media = nullptr; // borrowed from worker's record while it holds it
};
