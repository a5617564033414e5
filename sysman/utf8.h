// UTF-8 encoding of 32-bit characters and the unit-by-unit decoding rule shared by the string
// conversions. Pure functions; any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sysman {

// What readUtf8Unit yields for a unit that is not a valid UTF-8 sequence.
constexpr uint32_t InvalidUtf8Unit = 0xFFFFFFFF;

// Encodes source (up to its 0 unit, not null) and returns the byte count without terminator.
// A non-null destination receives the bytes and a 0 byte, so it needs room for count + 1.
// Units of 0x110000 and above produce nothing.
std::size_t encodeUtf8(const wchar_t* source, char* destination);

// Reads one unit starting at the non-zero byte *p and returns the position after it. The unit
// is a code point or InvalidUtf8Unit; a sequence cut short by a non-continuation byte ends
// before that byte, which starts the next unit.
const unsigned char* readUtf8Unit(const unsigned char* p, uint32_t* unit);

// Decodes the UTF-8 text s (not null, not empty) into result, one output unit per decoded
// unit as map gives it: a counting pass sizes the block exactly, a second pass fills it.
template <typename StringType, typename Map>
void decodeUtf8Into(const char* s, StringType& result, Map map) {
    auto start = reinterpret_cast<const unsigned char*>(s);
    uint32_t unit;
    std::size_t n = 0;
    for (const unsigned char* p = start; *p != 0; p = readUtf8Unit(p, &unit))
        ++n;
    auto* out = result.buffer(n);
    for (const unsigned char* p = start; *p != 0;) {
        p = readUtf8Unit(p, &unit);
        *out++ = map(unit);
    }
    result.commit(n);
}

} // namespace sysman
