// A client of the control socket for tests, and the wire bytes of the service's requests built
// by hand, so that tests check the protocol itself.
#pragma once

#include "tools/control_connection.h"

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

using Bytes = std::vector<uint8_t>;

class ControlClient : public ControlConnection {
  public:
    bool send(const Bytes& datagram) {
        return ControlConnection::send(datagram.data(), static_cast<int32_t>(datagram.size()));
    }
    // One datagram, or an empty vector when none arrived within the time-out.
    Bytes receive(int timeoutMs) {
        Bytes reply;
        return ControlConnection::receive(reply, timeoutMs) ? reply : Bytes{};
    }
};

// A message of the given type with code 1 and these raw fields; the bare 8-byte message;
// a little-endian int32 field; text as 32-bit characters (its bytes taken as Latin-1);
// the load request.
inline Bytes request(uint8_t type, const std::vector<Bytes>& fields) {
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

inline Bytes bareMessage(uint8_t type, uint8_t code) {
    return {0xB1, 0xFB, 8, 0, type, code, 0, 0};
}

inline Bytes int32Field(int32_t value) {
    auto v = static_cast<uint32_t>(value);
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}

inline Bytes wideField(const std::string& text) {
    Bytes out;
    for (char c : text)
        out.insert(out.end(), {static_cast<uint8_t>(c), 0, 0, 0});
    return out;
}

inline Bytes loadPlaylistRequest(const std::string& path, bool stopCurrent) {
    return request(48, {wideField(path), Bytes{uint8_t(stopCurrent)}});
}

} // namespace testsupport
