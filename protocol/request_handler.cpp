// Request handling: checks each request's fields, passes it on, and answers the client.
#include "protocol/request_handler.h"

#include "protocol/control_server.h"
#include "supervisor/controller.h"
#include "supervisor/playlist_load.h"
#include "sysman/utf8_string.h"

#include <vector>

namespace {

const wchar_t* const Capabilities[] = {L"single_video", nullptr};

Message replyOf(uint8_t type, MessageCode code) {
    Message reply;
    reply.type = type;
    reply.code = static_cast<uint8_t>(code);
    reply.fieldCount = 0;
    reply.paramCount = 0;
    return reply;
}

int32_t int32At(const MessageField& field) {
    const uint8_t* b = field.data;
    return static_cast<int32_t>(static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
                                static_cast<uint32_t>(b[2]) << 16 |
                                static_cast<uint32_t>(b[3]) << 24);
}

// Width, height, left and top in 4-byte fields, the rotation code in a 1-byte field, each
// optional from the end; a field of the wrong length refuses the whole request.
MessageCode setDisplayFrom(const Message& message) {
    int32_t values[5] = {100, 100, 0, 0, 0};
    const int used = message.fieldCount < 5 ? message.fieldCount : 5;
    for (int i = 0; i < used; ++i) {
        const uint16_t expected = i < 4 ? 4 : 1;
        if (message.fields[i].length != expected)
            return MessageCode::BadArguments;
        values[i] = i < 4 ? int32At(message.fields[i]) : message.fields[i].data[0];
    }
    setDisplay(values[0], values[1], values[2], values[3], values[4]);
    return MessageCode::Ok;
}

// Field 0 is the path in 32-bit characters, terminated in place by the decoder; an optional
// 1-byte field 1 holding 1 stops the current video.
MessageCode loadPlaylistFrom(const Message& message) {
    if (message.fieldCount == 0)
        return MessageCode::BadArguments;
    if (message.fieldCount >= 2 && message.fields[1].length != 1)
        return MessageCode::BadArguments;
    const bool stopCurrent = message.fieldCount >= 2 && message.fields[1].data[0] == 1;
    const sysman::Utf8String path(reinterpret_cast<const wchar_t*>(message.fields[0].data));
    (void)loadPlaylist(path.c_str(), stopCurrent);
    return MessageCode::Ok;
}

// 1 play, 0 stop, 2 pause; any other value changes nothing.
MessageCode setPlayModeFrom(const Message& message) {
    if (message.fieldCount == 0 || message.fields[0].length != 1)
        return MessageCode::BadArguments;
    const uint8_t mode = message.fields[0].data[0];
    if (mode > 2)
        return MessageCode::BadArguments;
    const PlaybackRequest requests[] = {PlaybackRequest::Stop, PlaybackRequest::Play,
                                        PlaybackRequest::Pause};
    setRequest(static_cast<int>(requests[mode]));
    return MessageCode::Ok;
}

} // namespace

uint32_t versionMajor() {
    return 1;
}
uint32_t versionMinor() {
    return 0;
}
uint32_t versionPatch() {
    return 0;
}

sysman::WString capabilityList() {
    sysman::WString list;
    for (int i = 0; Capabilities[i]; ++i) {
        if (i > 0)
            list += L",";
        list += Capabilities[i];
    }
    return list;
}

void sendStatusReply(int slot, uint8_t type, MessageCode code) {
    (void)sendReply(slot, replyOf(type, code));
}

void sendIdentifyReply(int slot, uint8_t requestCode) {
    if (requestCode != static_cast<uint8_t>(MessageCode::Request))
        return;
    uint8_t version[4];
    const uint32_t word = versionMajor() << 24 | versionMinor() << 16 | versionPatch();
    for (int i = 0; i < 4; ++i)
        version[i] = static_cast<uint8_t>(word >> (8 * i));
    const sysman::WString capabilities = capabilityList();
    // Characters go out little-endian, like every number on the wire.
    std::vector<uint8_t> text;
    for (const wchar_t* c = capabilities.c_str(); *c != 0; ++c)
        for (int i = 0; i < 4; ++i)
            text.push_back(static_cast<uint8_t>(static_cast<uint32_t>(*c) >> (8 * i)));
    Message reply = replyOf(static_cast<uint8_t>(MessageType::Identify), MessageCode::Ok);
    reply.fieldCount = 2;
    reply.fields[0] = {4, version};
    reply.fields[1] = {static_cast<uint16_t>(capabilities.length() * 4), text.data()};
    (void)sendReply(slot, reply);
}

void handleRequest(int slot, const Message& message) {
    if (slot < 0 || slot >= ClientSlotCount || !clientSlots[slot].active)
        return;
    const bool isRequest = message.code == static_cast<uint8_t>(MessageCode::Request);
    switch (static_cast<MessageType>(message.type)) {
    case MessageType::Identify:
        sendIdentifyReply(slot, message.code);
        break;
    case MessageType::SetDisplay:
        if (isRequest)
            sendStatusReply(slot, message.type, setDisplayFrom(message));
        break;
    case MessageType::LoadPlaylist:
        if (isRequest)
            sendStatusReply(slot, message.type, loadPlaylistFrom(message));
        break;
    case MessageType::SetPlayMode:
        if (isRequest)
            sendStatusReply(slot, message.type, setPlayModeFrom(message));
        break;
    case MessageType::Next: // accepted whatever its code
        setRequest(static_cast<int>(PlaybackRequest::Next));
        sendStatusReply(slot, message.type, MessageCode::Ok);
        break;
    default:
        if (isRequest)
            sendStatusReply(slot, message.type, MessageCode::UnknownType);
        break;
    }
}
