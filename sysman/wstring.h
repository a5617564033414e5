// WString: reference-counted text of 32-bit characters (one code point each), with the
// conversions from and to ISO 8859-1 and UTF-8 bytes. One thread per shared block at a time.
#pragma once

#include "sysman/ref_string.h"

#include <cstddef>
#include <cstdint>

namespace sysman {

class WString : public RefString<wchar_t, uint32_t, WString> {
  public:
    using RefString::RefString;
    using RefString::operator=;

    // One character per byte, the byte's unsigned value. Null means empty.
    static WString fromLatin1(const char* s);
    // One character per decoded unit; U+FFFD for each invalid unit. Null means empty.
    static WString fromUtf8(const char* s);

    // UTF-8 bytes and a 0 byte into out (null: count only); returns the byte count.
    std::size_t toUtf8(char* out) const;
    // The UTF-8 text with a 0 byte, from array new; the caller frees it with delete[].
    char* newUtf8() const;
};

// True when a has as many characters as s has bytes, each equal to the byte's unsigned
// value (ISO 8859-1). s must not be null.
bool operator==(const WString& a, const char* s);

} // namespace sysman
