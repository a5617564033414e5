// A client's connection to the service's control socket: one request, one reply.
#pragma once

#include <cstdint>
#include <vector>

class ControlConnection {
  public:
    ControlConnection() = default;
    ControlConnection(const ControlConnection&) = delete;
    ControlConnection& operator=(const ControlConnection&) = delete;
    ~ControlConnection();

    // False when nothing listens on the socket, or when it is not accepted within timeoutMs
    // (errno EAGAIN): a service that does not run its loop leaves the listen queue full. The
    // same bound holds for each send. Opening again replaces the connection.
    bool open(int timeoutMs = 1000);
    void close();
    bool send(const uint8_t* data, int32_t length);
    // Receives one datagram into reply; false when none arrives within the time-out.
    bool receive(std::vector<uint8_t>& reply, int timeoutMs);

  private:
    int fd = -1;
};
