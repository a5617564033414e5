// The service's door for clients: the abstract SOCK_SEQPACKET socket "TVorne_Video", three
// client slots, one datagram per client per pass, and replies. Main loop thread only.
#pragma once

#include "protocol/message.h"
#include "sysman/wait_set.h"

#include <cstdint>
#include <sys/types.h>

constexpr int ClientSlotCount = 3;

struct ControlServer {
    int listenFd;
    int clientFds[ClientSlotCount]; // -1 when the slot is free
    bool acceptPaused;              // accept failed for want of resources; retried later
    uint32_t acceptPauseStart;      // nowMs when it failed
};

struct ClientSlot {
    pid_t peerPid;
    bool sameUser;
    bool active; // credentials read and connection open; requests from inactive slots are dropped
};

extern ControlServer controlServer;
extern ClientSlot clientSlots[ClientSlotCount];

// Creates, binds and listens; prints the failing call and returns false (the service then
// exits with status 1).
bool startControlServer();
void clearClientSlots();
// One step: accept into free slots, receive and dispatch at most one datagram per client,
// register every descriptor with the wait set.
void serviceControlServer(sysman::WaitSet& waitSet);
void closeControlServer();
bool sendReply(int slot, const Message& message);
void closeClientSlot(int slot);
void recordClientPeer(int slot, pid_t pid, uid_t uid);
void deactivateClientSlot(int slot);
