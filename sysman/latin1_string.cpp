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
    decodeUtf8Into(s, result, latin1Byte);
    return result;
}

} // namespace sysman
