// Utf8String: reference-counted UTF-8 bytes, the form in which text goes to the operating
// system (paths). At most 255 holders share a block. One thread per shared block at a time.
#pragma once

#include "sysman/ref_string.h"
#include "sysman/wstring.h"

#include <cstdint>

namespace sysman {

class Utf8String : public RefString<char, uint8_t, Utf8String> {
  public:
    // Byte strings are taken verbatim.
    using RefString::RefString;
    using RefString::operator=;

    // UTF-8 encoding of the characters; null, empty or all-unencodable gives the empty string.
    explicit Utf8String(const wchar_t* s);
    explicit Utf8String(const WString& s) : Utf8String(s.c_str()) {}

    // ISO 8859-1 bytes re-encoded as UTF-8. Null means empty.
    static Utf8String fromLatin1(const char* s);
};

} // namespace sysman
