// Conversions into ISO 8859-1; what the charset cannot hold becomes '?'.
#include "sysman/latin1_string.h"

#include "sysman/utf8.h"

#include <cwchar>

namespace sysman {

static char latin1Byte(uint32_t codePoint) {
    return static_cast<char>(codePoint <= 0xFF ? codePoint : '?');
}

Latin1String::Latin1String(const wchar_t* s) {
    std::size_t n = s ? std::wcslen(s) : 0;
    if (n == 0)
        return;
    char* out = buffer(n);
    for (std::size_t i = 0; i < n; ++i)
        out[i] = latin1Byte(static_cast<uint32_t>(s[i]));
    commit(n);
}

Latin1String Latin1String::fromUtf8(const char* s) {
    Latin1String result;
    if (!s || s[0] == 0)
        return result;
    auto start = reinterpret_cast<const unsigned char*>(s);
    uint32_t unit;
    std::size_t n = 0;
    for (const unsigned char* p = start; *p != 0; p = readUtf8Unit(p, &unit))
        ++n;
    char* out = result.buffer(n);
    for (const unsigned char* p = start; *p != 0;) {
        p = readUtf8Unit(p, &unit);
        *out++ = latin1Byte(unit);
    }
    result.commit(n);
    return result;
}

} // namespace sysman
