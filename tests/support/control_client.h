// A raw client of the control socket for tests: connects to the abstract address, sends
// datagrams as given and receives replies with a time-out.
#pragma once

#include <cstdint>
#include <vector>

namespace testsupport {

using Bytes = std::vector<uint8_t>;

class ControlClient {
  public:
    ControlClient() = default;
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;
    ~ControlClient();

    bool connect();
    void disconnect();
    bool send(const Bytes& datagram);
    // One datagram, or an empty vector when none arrived within the time-out.
    Bytes receive(int timeoutMs);
    int fd() const { return socketFd; }

  private:
    int socketFd = -1;
};

} // namespace testsupport
