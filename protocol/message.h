// Wire format of control messages: the decoded record and the codec that validates a
// datagram and decodes it in place, encodes a reply, and dumps a message for diagnosis.
// Stateless; any thread may call it on buffers of its own.
#pragma once

#include <cstdint>

constexpr int MaxFields = 16;
constexpr int MaxParams = 100;
constexpr int MaxMessageSize = 4096;
// In-place decoding may write this many bytes past the received size.
constexpr int DecodeSlack = 7;

struct MessageField {
    uint16_t length;
    const uint8_t* data; // into the receive buffer after decoding; not owned
};

struct MessageParam {
    const wchar_t* name;  // zero-terminated; null encodes as the empty string
    const wchar_t* value; // zero-terminated; null encodes as the empty string
};

struct Message {
    uint8_t type;
    uint8_t code;
    uint8_t fieldCount;
    uint8_t paramCount;
    MessageField fields[MaxFields];
    MessageParam params[MaxParams];
};

// Validates the datagram of size bytes and fills message with pointers into buffer, which
// must be 4-byte aligned and writable for size + DecodeSlack bytes. Strings are terminated
// in place by zeroing item headers that have been read. False for a malformed datagram.
bool decodeMessage(uint8_t* buffer, int32_t size, Message& message);

// Writes message into buffer (MaxMessageSize bytes); returns its length, or -1 when it has
// too many fields or parameters or would exceed MaxMessageSize.
int32_t encodeMessage(uint8_t* buffer, const Message& message);

void dumpMessage(const Message& message);
