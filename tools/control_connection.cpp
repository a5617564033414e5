// Client side of the abstract SOCK_SEQPACKET control socket.
#include "tools/control_connection.h"

#include "protocol/message.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

ControlConnection::~ControlConnection() {
    close();
}

void ControlConnection::close() {
    if (fd >= 0)
        (void)::close(fd);
    fd = -1;
}

bool ControlConnection::open(int timeoutMs) {
    close();
    fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    // A local socket's connect waits for room in the listen queue no longer than this.
    const struct timeval bound = {timeoutMs / 1000, timeoutMs % 1000 * 1000};
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    static const char name[] = "TVorne_Video";
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name, sizeof name - 1);
    const socklen_t length = offsetof(struct sockaddr_un, sun_path) + 1 + sizeof name - 1;
    if (connect(fd, reinterpret_cast<struct sockaddr*>(&address), length) == 0)
        return true;
    if (errno == EINPROGRESS)
        errno = EAGAIN;
    return false;
}

bool ControlConnection::send(const uint8_t* data, int32_t length) {
    return ::send(fd, data, static_cast<size_t>(length), MSG_EOR | MSG_NOSIGNAL) == length;
}

bool ControlConnection::receive(std::vector<uint8_t>& reply, int timeoutMs) {
    struct pollfd ready = {fd, POLLIN, 0};
    if (poll(&ready, 1, timeoutMs) <= 0)
        return false;
    reply.resize(MaxMessageSize + DecodeSlack);
    ssize_t n = recv(fd, reply.data(), MaxMessageSize, MSG_DONTWAIT);
    if (n <= 0)
        return false;
    reply.resize(static_cast<size_t>(n));
    return true;
}
