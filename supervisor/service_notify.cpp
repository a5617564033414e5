// systemd's notification protocol: one datagram of "KEY=value" lines to the AF_UNIX socket
// that NOTIFY_SOCKET names ('@' for an abstract name). Written here rather than taken from
// libsystemd: it is a few lines, and the board image need not carry that library.
#include "supervisor/service_notify.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

struct ServiceNotify {
    int fd = -1;
    sockaddr_un address{};
    socklen_t addressLength = 0;
    std::string lastStatus;
};

ServiceNotify notify;

// Never waits: a notification that cannot go now only leaves systemd's view behind.
bool send(const std::string& text) {
    return notify.fd >= 0 &&
           sendto(notify.fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&notify.address), notify.addressLength) >= 0;
}

} // namespace

bool openServiceNotify() {
    const char* name = getenv("NOTIFY_SOCKET");
    if (!name || (name[0] != '/' && name[0] != '@'))
        return false;
    const size_t length = strlen(name);
    if (length < 2 || length >= sizeof notify.address.sun_path)
        return false;
    notify.address.sun_family = AF_UNIX;
    memcpy(notify.address.sun_path, name, length);
    if (name[0] == '@')
        notify.address.sun_path[0] = '\0';
    notify.addressLength =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length + (name[0] == '/' ? 1 : 0));
    notify.fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    return notify.fd >= 0;
}

void notifyReady() {
    (void)send("READY=1");
}

void notifyStatus(const std::string& status) {
    if (notify.fd < 0 || status == notify.lastStatus)
        return;
    if (send("STATUS=" + status))
        notify.lastStatus = status;
}

void closeServiceNotify() {
    if (notify.fd >= 0)
        (void)close(notify.fd);
    notify.fd = -1;
}
