// Control server over the abstract AF_UNIX socket: never blocks, works in steps of the main loop.
#include "protocol/control_server.h"

#include "protocol/request_handler.h"
#include "sysman/clock.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

ControlServer controlServer = {-1, {-1, -1, -1}, false, 0};
ClientSlot clientSlots[ClientSlotCount] = {};

namespace {

constexpr char SocketName[] = "TVorne_Video";
constexpr socklen_t SocketNameLength = sizeof SocketName - 1;
// How long the listening socket is left alone after accept failed for want of resources.
constexpr uint32_t AcceptPauseMs = 200;

bool validSlot(int slot) {
    return slot >= 0 && slot < ClientSlotCount;
}

void freeSlot(int slot) {
    (void)close(controlServer.clientFds[slot]);
    controlServer.clientFds[slot] = -1;
    deactivateClientSlot(slot);
}

// Takes a pending connection into a free slot and records its credentials. False when accept
// failed for want of descriptors or memory: the connection then stays pending.
bool acceptInto(int slot) {
    int fd = accept4(controlServer.listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0)
        return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ECONNABORTED;
    struct ucred credentials {};
    socklen_t length = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 ||
        length != sizeof credentials) {
        perror("credentials");
        (void)close(fd);
        return true;
    }
    controlServer.clientFds[slot] = fd;
    recordClientPeer(slot, credentials.pid, credentials.uid);
    return true;
}

// Receives at most one datagram from the client in slot and hands it on.
void receiveFrom(int slot) {
    alignas(4) uint8_t buffer[MaxMessageSize + DecodeSlack];
    Message message;
    ssize_t received = recv(controlServer.clientFds[slot], buffer, MaxMessageSize, 0);
    if (received > 0) {
        if (decodeMessage(buffer, static_cast<int32_t>(received), message))
            handleRequest(slot, message);
        return;
    }
    if (received == 0 || (errno != EINTR && errno != EAGAIN))
        freeSlot(slot);
}

} // namespace

bool startControlServer() {
    controlServer.listenFd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (controlServer.listenFd < 0) {
        perror("Creating server socket");
        return false;
    }
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, SocketName, SocketNameLength);
    const socklen_t length = offsetof(struct sockaddr_un, sun_path) + 1 + SocketNameLength;
    if (bind(controlServer.listenFd, reinterpret_cast<struct sockaddr*>(&address), length) != 0) {
        perror("Binding to service address");
        fputs("Is the service already running?\n", stderr);
        return false;
    }
    if (listen(controlServer.listenFd, 1) != 0) {
        perror("Setting socket to listen");
        return false;
    }
    for (int& fd : controlServer.clientFds)
        fd = -1;
    return true;
}

void clearClientSlots() {
    for (ClientSlot& slot : clientSlots)
        slot.active = false;
}

void serviceControlServer(sysman::WaitSet& waitSet) {
    if (controlServer.acceptPaused &&
        waitSet.lowerTimeoutToPeriod(controlServer.acceptPauseStart, AcceptPauseMs))
        controlServer.acceptPaused = false;
    bool slotFree = false;
    for (int slot = 0; slot < ClientSlotCount; ++slot) {
        if (controlServer.clientFds[slot] < 0 && !controlServer.acceptPaused && !acceptInto(slot)) {
            controlServer.acceptPaused = true;
            controlServer.acceptPauseStart = sysman::nowMs();
            (void)waitSet.lowerTimeoutToPeriod(controlServer.acceptPauseStart, AcceptPauseMs);
        }
        if (controlServer.clientFds[slot] < 0) {
            slotFree = true;
            continue;
        }
        receiveFrom(slot);
        if (controlServer.clientFds[slot] >= 0)
            waitSet.addRead(controlServer.clientFds[slot]);
        else
            slotFree = true;
    }
    // A connection waiting for a slot keeps the listening socket readable: watched while every
    // slot is taken, or while accept cannot take it, it would end each wait at once.
    if (slotFree && !controlServer.acceptPaused)
        waitSet.addRead(controlServer.listenFd);
}

void closeControlServer() {
    if (controlServer.listenFd >= 0)
        (void)close(controlServer.listenFd);
    controlServer.listenFd = -1;
    for (int& fd : controlServer.clientFds) {
        if (fd >= 0)
            (void)close(fd);
        fd = -1;
    }
}

bool sendReply(int slot, const Message& message) {
    if (!validSlot(slot) || controlServer.clientFds[slot] < 0)
        return false;
    uint8_t buffer[MaxMessageSize];
    int32_t length = encodeMessage(buffer, message);
    if (length < 1)
        return false;
    return send(controlServer.clientFds[slot], buffer, static_cast<size_t>(length), MSG_EOR) ==
           length;
}

void closeClientSlot(int slot) {
    if (validSlot(slot) && controlServer.clientFds[slot] >= 0)
        freeSlot(slot);
}

void recordClientPeer(int slot, pid_t pid, uid_t uid) {
    if (!validSlot(slot))
        return;
    clientSlots[slot].peerPid = pid;
    clientSlots[slot].sameUser = uid == getuid();
    clientSlots[slot].active = true;
}

void deactivateClientSlot(int slot) {
    if (validSlot(slot))
        clientSlots[slot].active = false;
}
