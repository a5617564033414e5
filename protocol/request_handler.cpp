// Request handling: checks each request's fields, passes it on, and answers the client.
#include "protocol/request_handler.h"

#include "protocol/control_server.h"

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
    Message reply = replyOf(static_cast<uint8_t>(MessageType::Identify), MessageCode::Ok);
    reply.fieldCount = 2;
    reply.fields[0] = {4, version};
    reply.fields[1] = {static_cast<uint16_t>(capabilities.length() * 4),
                       reinterpret_cast<const uint8_t*>(capabilities.c_str())};
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
    case MessageType::LoadPlaylist:
    case MessageType::SetPlayMode:
    case MessageType::Next:
        break;
    default:
        if (isRequest)
            sendStatusReply(slot, message.type, MessageCode::UnknownType);
        break;
    }
}
