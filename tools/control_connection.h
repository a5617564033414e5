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

    // False when nothing listens on the socket. Opening again replaces the connection.
    bool open();
    void close();
    bool send(const uint8_t* data, int32_t length);
    // Receives one datagram into reply; false when none arrives within the time-out.
    bool receive(std::vector<uint8_t>& reply, int timeoutMs);

  private:
    int fd = -1;
};
