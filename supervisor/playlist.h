// Playlist file reading: the line rules and the path check that keep entries inside the
// playlist's directory tree. Runs in the one-off reader child that the playlist loader starts.
#pragma once

#include <cstddef>
#include <string>

// Entries taken from one playlist file at most.
constexpr unsigned MaxPlaylistEntries = 100;
// Longest line taken, in bytes, without its line end; longer lines are skipped.
constexpr size_t MaxPlaylistLine = 4096;
// Bytes read from one playlist file at most: every entry at its longest, with CR LF.
constexpr size_t MaxPlaylistBytes = MaxPlaylistEntries * (MaxPlaylistLine + 2);
// Ends what the reader writes once the whole file has been read; an accepted line never holds
// it, nor a line feed.
constexpr char PlaylistReadEnd = '\0';

// False for paths that could leave the playlist's directory tree: empty, absolute, or with
// a "." or ".." component anywhere but as the whole path.
bool isSafeRelativePath(const std::string& line);

// Reads at most MaxPlaylistBytes of the regular file path and writes each accepted line,
// without the prefix, followed by a line feed to fd, then PlaylistReadEnd. Writes nothing when
// path is not a regular file that could be opened. May block as long as the file system does.
void writePlaylistEntries(const char* path, int fd);
