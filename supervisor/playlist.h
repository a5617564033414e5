// Playlist file loader: replaces the controller's playlist with the safe relative paths a
// playlist file names, each prefixed by the file's own directory.
// Called from request handling on the supervisor's loop thread.
#pragma once

#include <cstddef>
#include <string>

// Entries taken from one playlist file at most.
constexpr unsigned MaxPlaylistEntries = 100;
// Longest line taken, in bytes, without its line end; longer lines are skipped.
constexpr size_t MaxPlaylistLine = 4096;
// Bytes read from one playlist file at most: every entry at its longest, with CR LF.
constexpr size_t MaxPlaylistBytes = MaxPlaylistEntries * (MaxPlaylistLine + 2);

// False for paths that could leave the playlist's directory tree: empty, absolute, or with
// a "." or ".." component anywhere but as the whole path.
bool isSafeRelativePath(const std::string& line);

// Always empties the playlist and rewinds it; true when path names a regular file that could
// be opened. Reads at most MaxPlaylistBytes of it. With stopCurrent the running child is told to
// stop once the new list is in place.
bool loadPlaylist(const char* path, bool stopCurrent);
