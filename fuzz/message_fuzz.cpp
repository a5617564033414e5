// Fuzzes the message decoder: no write beyond the allowed slack, every recorded pointer
// inside the datagram, and whatever decodes re-encodes to a message with the same content.
#include "protocol/message.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace {

constexpr uint8_t Canary = 0xA5;

void check(bool condition) {
    if (!condition)
        abort();
}

void checkSameContent(const Message& a, const Message& b) {
    check(a.type == b.type && a.code == b.code);
    check(a.fieldCount == b.fieldCount && a.paramCount == b.paramCount);
    for (int i = 0; i < a.fieldCount; ++i) {
        check(a.fields[i].length == b.fields[i].length);
        check(memcmp(a.fields[i].data, b.fields[i].data, a.fields[i].length) == 0);
    }
    for (int i = 0; i < a.paramCount; ++i) {
        check(wcscmp(a.params[i].name, b.params[i].name) == 0);
        check(wcscmp(a.params[i].value, b.params[i].value) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > static_cast<size_t>(MaxMessageSize))
        return 0; // the server never receives more
    alignas(4) static uint8_t buffer[MaxMessageSize + 64];
    memset(buffer, Canary, sizeof buffer);
    memcpy(buffer, data, size);
    Message message;
    const bool decoded = decodeMessage(buffer, static_cast<int32_t>(size), message);
    for (size_t i = size + DecodeSlack; i < sizeof buffer; ++i)
        check(buffer[i] == Canary);
    if (!decoded)
        return 0;
    for (int i = 0; i < message.fieldCount; ++i)
        check(message.fields[i].data >= buffer + 8 &&
              message.fields[i].data + message.fields[i].length <= buffer + size);

    alignas(4) static uint8_t encoded[MaxMessageSize + DecodeSlack];
    const int32_t length = encodeMessage(encoded, message);
    check(length >= 8 && length <= MaxMessageSize);
    Message again;
    check(decodeMessage(encoded, length, again));
    checkSameContent(message, again);
    return 0;
}
