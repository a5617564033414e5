// Test client of the abstract SOCK_SEQPACKET control socket, and request builders.
#include "tests/support/client.h"

#include <cstddef>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace testsupport {

bool ControlClient::connect() {
    disconnect();
    socketFd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = std::string(1, '\0') + "TVorne_Video";
    name.copy(address.sun_path, name.size());
    socklen_t length = offsetof(struct sockaddr_un, sun_path) + name.size();
    if (::connect(socketFd, reinterpret_cast<struct sockaddr*>(&address), length) == 0)
        return true;
    disconnect();
    return false;
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
    Bytes reply(8192);
    ssize_t n = poll(&ready, 1, timeoutMs) > 0 ? recv(socketFd, reply.data(), reply.size(), 0) : 0;
    reply.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return reply;
}

Bytes request(uint8_t type, const std::vector<Bytes>& fields) {
    Bytes out = {0xB1, 0xFB, 0, 0, type, 1, static_cast<uint8_t>(fields.size()), 0};
    for (const Bytes& field : fields) {
        out.insert(out.end(), {static_cast<uint8_t>(field.size()),
                               static_cast<uint8_t>(field.size() >> 8), 0, 0});
        out.insert(out.end(), field.begin(), field.end());
        out.resize((out.size() + 3) / 4 * 4);
    }
    out[2] = static_cast<uint8_t>(out.size());
    out[3] = static_cast<uint8_t>(out.size() >> 8);
    return out;
}

Bytes bareMessage(uint8_t type, uint8_t code) {
    return {0xB1, 0xFB, 8, 0, type, code, 0, 0};
}

Bytes int32Field(int32_t value) {
    auto v = static_cast<uint32_t>(value);
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}

Bytes wideField(const std::string& text) {
    Bytes out;
    for (char c : text)
        out.insert(out.end(), {static_cast<uint8_t>(c), 0, 0, 0});
    return out;
}

Bytes loadPlaylistRequest(const std::string& path, bool stopCurrent) {
    return request(48, {wideField(path), Bytes{uint8_t(stopCurrent)}});
}

Bytes playModeRequest(uint8_t mode) {
    return request(49, {Bytes{mode}});
}

Bytes nextRequest() {
    return request(50, {});
}

Bytes displayRequest(int32_t width, int32_t height, int32_t left, int32_t top, uint8_t rotation) {
    return request(32, {int32Field(width), int32Field(height), int32Field(left), int32Field(top),
                        Bytes{rotation}});
}

} // namespace testsupport
