// UTF-8 by range tests and shifts, without tables.
#include "sysman/utf8.h"

namespace sysman {

std::size_t encodeUtf8(const wchar_t* source, char* destination) {
    std::size_t count = 0;
    auto put = [&](uint32_t byte) {
        if (destination)
            destination[count] = static_cast<char>(byte);
        ++count;
    };
    for (; *source != 0; ++source) {
        uint32_t u = static_cast<uint32_t>(*source);
        if (u < 0x80) {
            put(u);
        } else if (u < 0x800) {
            put(0xC0 + (u >> 6));
            put(0x80 + (u & 0x3F));
        } else if (u < 0x10000) {
            put(0xE0 + (u >> 12));
            put(0x80 + ((u >> 6) & 0x3F));
            put(0x80 + (u & 0x3F));
        } else if (u < 0x110000) {
            put(0xF0 + (u >> 18));
            put(0x80 + ((u >> 12) & 0x3F));
            put(0x80 + ((u >> 6) & 0x3F));
            put(0x80 + (u & 0x3F));
        }
    }
    if (destination)
        destination[count] = 0;
    return count;
}

const unsigned char* readUtf8Unit(const unsigned char* p, uint32_t* unit) {
    unsigned b0 = *p++;
    if (b0 < 0x80) {
        *unit = b0;
        return p;
    }
    if (b0 < 0xC2 || b0 > 0xF4) {
        *unit = InvalidUtf8Unit;
        return p;
    }
    int length;
    uint32_t value;
    uint32_t minimum;
    if (b0 < 0xE0) {
        length = 2;
        value = (b0 & 0x1F) << 6;
        minimum = 0;
    } else if (b0 < 0xF0) {
        length = 3;
        value = (b0 & 0x0F) << 12;
        minimum = 0x800;
    } else {
        length = 4;
        value = (b0 & 0x07) << 18;
        minimum = 0x10000;
    }
    for (int k = 1; k < length; ++k, ++p) {
        // A 0 byte is not a continuation byte either, so the terminator is never passed.
        if ((*p & 0xC0) != 0x80) {
            *unit = InvalidUtf8Unit;
            return p;
        }
        value += static_cast<uint32_t>(*p & 0x3F) << (6 * (length - 1 - k));
    }
    bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    *unit = surrogate || value < minimum || value > 0x10FFFF ? InvalidUtf8Unit : value;
    return p;
}

} // namespace sysman
