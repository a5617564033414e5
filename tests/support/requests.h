// Wire bytes of the service's requests, built by hand so tests check the protocol itself.
#pragma once

#include "tests/support/control_client.h"

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

// A request of the given type with code 1 and these raw fields.
Bytes request(uint8_t type, const std::vector<Bytes>& fields);
Bytes int32Field(int32_t value);
// Path as 32-bit characters (the bytes of the string taken as Latin-1).
Bytes wideField(const std::string& text);

Bytes loadPlaylistRequest(const std::string& path, bool stopCurrent);
Bytes playModeRequest(uint8_t mode); // 1 play, 0 stop, 2 pause
Bytes nextRequest();
Bytes displayRequest(int32_t width, int32_t height, int32_t left, int32_t top, uint8_t rotation);

} // namespace testsupport
