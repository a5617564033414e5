// Latin1String: reference-counted ISO 8859-1 bytes, one byte per character. At most 255
// holders share a block. One thread per shared block at a time.
#pragma once

#include "sysman/ref_string.h"
#include "sysman/wstring.h"

#include <cstdint>

namespace sysman {

class Latin1String : public RefString<char, uint8_t, Latin1String> {
  public:
    // Byte strings are taken verbatim.
    using RefString::RefString;
    using RefString::operator=;

    // One byte per character: its value up to 0xFF, else '?'. Null means empty.
    explicit Latin1String(const wchar_t* s);
    explicit Latin1String(const WString& s) : Latin1String(s.c_str()) {}

    // One byte per decoded unit: the code point up to 0xFF, else '?' (also for invalid units).
    static Latin1String fromUtf8(const char* s);
};

} // namespace sysman
