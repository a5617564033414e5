// Fuzzes the message decoder: no write beyond the allowed slack, every recorded pointer
// inside the datagram, and whatever decodes re-encodes to a message with the same content.
#include "fuzz/check.h"
#include "protocol/message.h"

#include <cstring>
#include <cwchar>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > static_cast<size_t>(MaxMessageSize))
        return 0; // the server never receives more
    constexpr uint8_t Canary = 0xA5;
    alignas(4) static uint8_t buffer[MaxMessageSize + 64], encoded[MaxMessageSize + DecodeSlack];
    memset(buffer, Canary, sizeof buffer);
    memcpy(buffer, data, size);
    Message message, again;
    const bool decoded = decodeMessage(buffer, static_cast<int32_t>(size), message);
    for (size_t i = size + DecodeSlack; i < sizeof buffer; ++i)
        check(buffer[i] == Canary);
    if (!decoded)
        return 0;
    const int32_t length = encodeMessage(encoded, message);
    check(length >= 8 && length <= MaxMessageSize && decodeMessage(encoded, length, again));
    check(memcmp(&message, &again, 4) == 0); // type, code and both counts
    for (int i = 0; i < message.fieldCount; ++i) {
        const MessageField& field = message.fields[i];
        check(field.data >= buffer + 8 && field.data + field.length <= buffer + size);
        check(field.length == again.fields[i].length &&
              memcmp(field.data, again.fields[i].data, field.length) == 0);
    }
    for (int i = 0; i < message.paramCount; ++i)
        check(wcscmp(message.params[i].name, again.params[i].name) == 0 &&
              wcscmp(message.params[i].value, again.params[i].value) == 0);
    return 0;
}
