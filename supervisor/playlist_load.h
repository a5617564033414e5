// Playlist loader: replaces the controller's playlist with the entries a one-off reader child
// sends from a client-named file, so that a file system that stops answering holds up that
// child alone. Called only from the supervisor's loop thread: request handling (loadPlaylist)
// and the controller's step.
#pragma once

#include "sysman/wait_set.h"

#include <cstdint>

// A reader that has not sent the whole file this long after its start is killed, and the
// playlist counts as one that could not be opened.
constexpr uint32_t PlaylistReadMs = 5000;

// Always empties the playlist and rewinds it at once; false after "No file.\n" for an empty
// path or when no reader could be started. Otherwise the entries follow once the reader is
// done (the controller launches nothing meanwhile), with "Couldn't open playlist\n" when the
// file could not be opened or read in time; then, with stopCurrent, the running child is told
// to stop. A load while another is reading replaces it.
bool loadPlaylist(const char* path, bool stopCurrent);
// Once per loop pass: takes what the reader sent, finishes the load at its end or deadline,
// reaps readers that have gone and registers what the wait must watch.
void pollPlaylistLoad(sysman::WaitSet& waitSet);
// At exit: kills every reader and reaps each that goes within ExitReapMs.
void stopPlaylistLoad();
