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

// A message of the given type with code 1 and these raw fields; the bare 8-byte message.
Bytes request(uint8_t type, const std::vector<Bytes>& fields);
Bytes bareMessage(uint8_t type, uint8_t code);
Bytes int32Field(int32_t value);
// Text as 32-bit characters (the bytes of the string taken as Latin-1).
Bytes wideField(const std::string& text);
Bytes loadPlaylistRequest(const std::string& path, bool stopCurrent);
Bytes playModeRequest(uint8_t mode); // 1 play, 0 stop, 2 pause

} // namespace testsupport
