// Connecting a stand-in display to the screen viewer's socket.
#include "boardsim/screen_feed.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int connectScreenFeed(const char* path) {
    struct sockaddr_un address {};
    if (!path || !*path || strlen(path) >= sizeof address.sun_path)
        return -1;
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, path);
    const int feed = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (feed < 0)
        return -1;
    if (connect(feed, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(feed);
        return -1;
    }
    return feed;
}
