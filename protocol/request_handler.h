// Meaning of each control request and its reply: identify, set display, load playlist,
// set play mode, next. Called by the control server on the main loop thread.
#pragma once

#include "protocol/message.h"
#include "sysman/wstring.h"

#include <cstdint>

enum class MessageType : uint8_t {
    Identify = 16,
    SetDisplay = 32,
    LoadPlaylist = 48,
    SetPlayMode = 49,
    Next = 50,
};

enum class MessageCode : uint8_t {
    Request = 1,
    Ok = 2,
    UnknownType = 3,
    BadArguments = 5,
};

void handleRequest(int slot, const Message& message);
void sendStatusReply(int slot, uint8_t type, MessageCode code);
void sendIdentifyReply(int slot, uint8_t requestCode);
// The capability names joined with ",".
sysman::WString capabilityList();
uint32_t versionMajor();
uint32_t versionMinor();
uint32_t versionPatch();
