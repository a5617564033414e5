// Moves the calling test process into a network namespace of its own, so the abstract
// control socket it and its children use is private to that test.
#pragma once

#include <string>

namespace testsupport {

// Returns false with the reason when neither root nor a user namespace allows it.
bool enterPrivateNetworkNamespace(std::string& why);

} // namespace testsupport
