// Values the supervisor and the player process agree on: status numbers, the one-byte
// pipe protocol in both directions, and the display geometry handed to each player.
#pragma once

#include <cstdint>

enum class PlayerStatus : int32_t {
    Stopped = 0,
    Ready = 1, // inside the player process only; never reported
    Paused = 2,
    Playing = 3,
    Ended = 4,
    Gone = 5, // supervisor side only: no usable player process
};

// Commands, supervisor to player.
constexpr char CommandPlay = 'g';
constexpr char CommandPause = 'p';
constexpr char CommandStop = 'q';

// Reports, player to supervisor; ReportFinished is the last byte a player writes.
constexpr char ReportStopped = 'q';
constexpr char ReportPaused = 'p';
constexpr char ReportPlaying = 'g';
constexpr char ReportEnded = 'e';
constexpr char ReportFinished = 'f';

// Exit status of a player that found an element missing from the plug-in registry, and of a
// registry update that could not write it: either way the registry must be brought up to date.
constexpr int ExitRegistryStale = 3;

struct DisplaySettings {
    int32_t width = 100;
    int32_t height = 100;
    int32_t left = 0;
    int32_t top = 0;
    int32_t rotation = 0; // code: 1, 2, 3 for 90, 180, 270 degrees; anything else 0
};
