// Fuzzes the UTF-8 decoder: it stays inside the input up to its 0 byte, yields only valid
// code points or U+FFFD, and decoding the re-encoded text gives the same characters again.
// The seed kuhn_stress_test is Markus Kuhn's "UTF-8 decoder capability and stress test"
// (2015-08-28), CC BY 4.0.
#include "fuzz/check.h"
#include "sysman/latin1_string.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"

#include <cstdint>
#include <cstring>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An exactly sized heap copy, so a read past the terminator is caught by the sanitizer.
    std::unique_ptr<char[]> input(new char[size + 1]);
    memcpy(input.get(), data, size);
    input[size] = 0;

    sysman::WString decoded = sysman::WString::fromUtf8(input.get());
    check(decoded.length() <= strlen(input.get()));
    for (const wchar_t* c = decoded.c_str(); *c; ++c)
        check(*c <= 0x10FFFF && (*c < 0xD800 || *c > 0xDFFF));
    check(sysman::WString::fromUtf8(sysman::Utf8String(decoded).c_str()) == decoded);
    // Latin-1 takes one byte for each unit the decoder reads.
    check(sysman::Latin1String::fromUtf8(input.get()).length() == decoded.length());
    return 0;
}
