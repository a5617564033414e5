// The link from a stand-in display to the screen viewer: a stream socket that carries each
// shown screen as one raw BGRx frame of the virtual screen's size.
#pragma once

// Connects to the viewer listening on the socket at path; -1 when path is null or empty, or
// no viewer listens there. The descriptor is close-on-exec; the caller closes it.
int connectScreenFeed(const char* path);
