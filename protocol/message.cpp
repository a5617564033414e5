// Control message codec: one pass over the datagram, no copies, no allocation.
#include "protocol/message.h"

#include <cstdio>
#include <cstring>
#include <cwchar>

namespace {

constexpr uint8_t Magic0 = 0xB1;
constexpr uint8_t Magic1 = 0xFB;
constexpr uint32_t HeaderSize = 8;

uint32_t readU16(const uint8_t* p) {
    return static_cast<uint32_t>(p[0] | (p[1] << 8));
}

void writeU16(uint8_t* p, uint32_t value) {
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}

void writeU32(uint8_t* p, uint32_t value) {
    writeU16(p, value);
    writeU16(p + 2, value >> 16);
}

uint32_t roundUp4(uint32_t value) {
    return (value + 3u) & ~3u;
}

const wchar_t* wideAt(uint8_t* p) {
    return reinterpret_cast<const wchar_t*>(p);
}

size_t wideLength(const wchar_t* text) {
    return text ? wcslen(text) : 0;
}

// Writes a counted string of 32-bit characters: count, two reserved bytes, characters.
uint8_t* writeWide(uint8_t* p, const wchar_t* text, size_t length) {
    writeU16(p, static_cast<uint32_t>(length));
    writeU16(p + 2, 0);
    p += 4;
    for (size_t i = 0; i < length; ++i, p += 4)
        writeU32(p, static_cast<uint32_t>(text[i]));
    return p;
}

} // namespace

bool decodeMessage(uint8_t* buffer, int32_t size, Message& message) {
    if (size < static_cast<int32_t>(HeaderSize))
        return false;
    if (buffer[0] != Magic0 || buffer[1] != Magic1)
        return false;
    const uint32_t total = readU16(buffer + 2);
    if (total < HeaderSize || total > static_cast<uint32_t>(size))
        return false;

    message.type = buffer[4];
    message.code = buffer[5];
    const uint32_t fieldItems = buffer[6];
    const uint32_t paramItems = buffer[7];
    message.fieldCount = static_cast<uint8_t>(fieldItems < MaxFields ? fieldItems : MaxFields);
    message.paramCount = static_cast<uint8_t>(paramItems < MaxParams ? paramItems : MaxParams);

    // Field items: 4-byte header, data, fill to a multiple of 4 (fill may lie past total).
    uint32_t pos = HeaderSize;
    for (uint32_t i = 0; i < fieldItems; ++i) {
        if (pos + 4 > total)
            return false;
        const uint32_t length = readU16(buffer + pos);
        if (pos + 4 + length > total)
            return false;
        std::memset(buffer + pos, 0, 4);
        if (i < MaxFields)
            message.fields[i] = {static_cast<uint16_t>(length), buffer + pos + 4};
        pos = roundUp4(pos + 4 + length);
    }

    // Parameter items: counted name, then counted value, characters of 4 bytes.
    for (uint32_t i = 0; i < paramItems; ++i) {
        if (pos + 8 > total)
            return false;
        const uint32_t nameLength = readU16(buffer + pos);
        if (pos + 8 + 4 * nameLength > total)
            return false;
        std::memset(buffer + pos, 0, 4);
        const uint32_t valuePos = pos + 4 + 4 * nameLength;
        const uint32_t valueLength = readU16(buffer + valuePos);
        if (valuePos + 4 + 4 * valueLength > total)
            return false;
        std::memset(buffer + valuePos, 0, 4);
        if (i < MaxParams)
            message.params[i] = {wideAt(buffer + pos + 4), wideAt(buffer + valuePos + 4)};
        pos = valuePos + 4 + 4 * valueLength;
    }

    // Terminates the last item's text; at most DecodeSlack bytes past size.
    std::memset(buffer + pos, 0, 4);
    return true;
}

int32_t encodeMessage(uint8_t* buffer, const Message& message) {
    if (message.fieldCount > MaxFields || message.paramCount > MaxParams)
        return -1;
    buffer[0] = Magic0;
    buffer[1] = Magic1;
    buffer[4] = message.type;
    buffer[5] = message.code;
    buffer[6] = message.fieldCount;
    buffer[7] = message.paramCount;

    size_t pos = HeaderSize;
    for (int i = 0; i < message.fieldCount; ++i) {
        const MessageField& field = message.fields[i];
        const size_t end = roundUp4(static_cast<uint32_t>(pos + 4 + field.length));
        if (end > static_cast<size_t>(MaxMessageSize))
            return -1;
        writeU16(buffer + pos, field.length);
        writeU16(buffer + pos + 2, 0);
        if (field.length > 0)
            std::memcpy(buffer + pos + 4, field.data, field.length);
        std::memset(buffer + pos + 4 + field.length, 0, end - (pos + 4 + field.length));
        pos = end;
    }

    for (int i = 0; i < message.paramCount; ++i) {
        const MessageParam& param = message.params[i];
        const size_t nameLength = wideLength(param.name);
        const size_t valueLength = wideLength(param.value);
        if (nameLength > static_cast<size_t>(MaxMessageSize) ||
            valueLength > static_cast<size_t>(MaxMessageSize) ||
            pos + 8 + 4 * (nameLength + valueLength) > static_cast<size_t>(MaxMessageSize))
            return -1;
        uint8_t* p = writeWide(buffer + pos, param.name, nameLength);
        p = writeWide(p, param.value, valueLength);
        pos = static_cast<size_t>(p - buffer);
    }

    writeU16(buffer + 2, static_cast<uint32_t>(pos));
    return static_cast<int32_t>(pos);
}

void dumpMessage(const Message& message) {
    fprintf(stderr, "-----Message(%u,%u)\n", message.type, message.code);
    for (unsigned i = 0; i < message.fieldCount; ++i) {
        const MessageField& field = message.fields[i];
        fprintf(stderr, "Fld %u,%u=", i, static_cast<unsigned>(field.length));
        for (unsigned b = 0; b < field.length; ++b)
            fprintf(stderr, "%02X", field.data[b]);
        fputc('\n', stderr);
    }
    static const wchar_t empty[] = L"";
    for (unsigned j = 0; j < message.paramCount; ++j) {
        const MessageParam& param = message.params[j];
        fprintf(stderr, "Prm %u \"%ls\"=\"%ls\"\n", j, param.name ? param.name : empty,
                param.value ? param.value : empty);
    }
    fputs("-----\n", stderr);
}
