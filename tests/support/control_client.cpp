// Test client of the control socket over AF_UNIX SOCK_SEQPACKET in the abstract namespace.
#include "tests/support/control_client.h"

#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace testsupport {

ControlClient::~ControlClient() {
    disconnect();
}

bool ControlClient::connect() {
    disconnect();
    socketFd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (socketFd < 0)
        return false;
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    static const char name[] = "TVorne_Video";
    memcpy(address.sun_path + 1, name, sizeof name - 1);
    socklen_t length = offsetof(struct sockaddr_un, sun_path) + 1 + sizeof name - 1;
    if (::connect(socketFd, reinterpret_cast<struct sockaddr*>(&address), length) != 0) {
        disconnect();
        return false;
    }
    return true;
}

void ControlClient::disconnect() {
    if (socketFd >= 0)
        close(socketFd);
    socketFd = -1;
}

bool ControlClient::send(const Bytes& datagram) {
    return ::send(socketFd, datagram.data(), datagram.size(), MSG_EOR) ==
           static_cast<ssize_t>(datagram.size());
}

Bytes ControlClient::receive(int timeoutMs) {
    struct pollfd ready = {socketFd, POLLIN, 0};
    if (poll(&ready, 1, timeoutMs) <= 0)
        return {};
    Bytes reply(8192);
    ssize_t n = recv(socketFd, reply.data(), reply.size(), MSG_DONTWAIT);
    reply.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return reply;
}

} // namespace testsupport
