// Conversions into UTF-8: a counting pass sizes the block exactly, a second pass fills it.
#include "sysman/utf8_string.h"

#include "sysman/utf8.h"

namespace sysman {

Utf8String::Utf8String(const wchar_t* s) {
    std::size_t n = s ? encodeUtf8(s, nullptr) : 0;
    if (n == 0)
        return;
    encodeUtf8(s, buffer(n));
    commit(n);
}

Utf8String Utf8String::fromLatin1(const char* s) {
    Utf8String result;
    if (!s)
        return result;
    auto start = reinterpret_cast<const unsigned char*>(s);
    std::size_t n = 0;
    for (const unsigned char* p = start; *p != 0; ++p)
        n += *p < 0x80 ? 1 : 2;
    if (n == 0)
        return result;
    char* out = result.buffer(n);
    for (const unsigned char* p = start; *p != 0; ++p) {
        if (*p < 0x80) {
            *out++ = static_cast<char>(*p);
        } else {
            *out++ = static_cast<char>(0xC0 + (*p >> 6));
            *out++ = static_cast<char>(0x80 + (*p & 0x3F));
        }
    }
    result.commit(n);
    return result;
}

} // namespace sysman
