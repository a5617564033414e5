// WString conversions: both decoders count their output first and fill an exact block after.
#include "sysman/wstring.h"

#include "sysman/utf8.h"

#include <cstring>

namespace sysman {

WString WString::fromLatin1(const char* s) {
    WString result;
    std::size_t n = s ? std::strlen(s) : 0;
    if (n == 0)
        return result;
    wchar_t* out = result.buffer(n);
    for (std::size_t i = 0; i < n; ++i)
        out[i] = static_cast<unsigned char>(s[i]);
    result.commit(n);
    return result;
}

WString WString::fromUtf8(const char* s) {
    WString result;
    if (!s || s[0] == 0)
        return result;
    decodeUtf8Into(s, result, [](uint32_t unit) {
        return static_cast<wchar_t>(unit == InvalidUtf8Unit ? 0xFFFD : unit);
    });
    return result;
}

std::size_t WString::toUtf8(char* out) const {
    return encodeUtf8(c_str(), out);
}

char* WString::newUtf8() const {
    char* out = new char[encodeUtf8(c_str(), nullptr) + 1];
    encodeUtf8(c_str(), out);
    return out;
}

bool operator==(const WString& a, const char* s) {
    const wchar_t* w = a.c_str();
    auto b = reinterpret_cast<const unsigned char*>(s);
    for (; *w != 0 && *b != 0; ++w, ++b) {
        if (static_cast<uint32_t>(*w) != *b)
            return false;
    }
    return *w == 0 && *b == 0;
}

} // namespace sysman
