// Opening a zone table: map the whole file, validate the header, hand the mapping over.
#include "sysman/opentzlist.h"

#include "sysman/unixtzlist.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"

#include <cstdint>
#include <cstdio>
#include <endian.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sysman {

// Checks, in this order: string area, row table, rows, columns, that the row table lies in
// the file, and that column 0 is present.
static bool validHeader(const uint32_t* base, int32_t wordCount) {
    int64_t w[5];
    for (int i = 0; i < 5; ++i)
        w[i] = static_cast<int32_t>(le32toh(base[i]));
    if (w[0] < 5 || w[1] < 5 || w[2] < 0 || w[3] < 1)
        return false;
    // At most 2^31 + 2^62 words: no overflow, and comparing words equals comparing bytes.
    if (wordCount < w[1] + w[3] * w[2])
        return false;
    return (w[4] & 1) != 0;
}

protocoltzlist* opentzlist(const wchar_t* path) {
    Utf8String name{WString(path)};
    int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        perror("Opening zone information");
        return nullptr;
    }
    // Sizes beyond what the table's signed 32-bit size holds are refused like short files.
    struct stat status;
    if (fstat(fd, &status) != 0 || status.st_size <= 19 || status.st_size > INT32_MAX) {
        (void)close(fd);
        return nullptr;
    }
    auto size = static_cast<int32_t>(status.st_size);
    void* mapping = mmap(nullptr, static_cast<size_t>(size), PROT_READ, MAP_SHARED, fd, 0);
    (void)close(fd);
    if (mapping == MAP_FAILED) {
        perror("Mapping zone information");
        return nullptr;
    }
    auto base = static_cast<const uint32_t*>(mapping);
    if (!validHeader(base, size / 4)) {
        (void)munmap(mapping, static_cast<size_t>(size));
        (void)fputs("Invalid zone information\n", stderr);
        return nullptr;
    }
    return new unixtzlist(base, size, size / 4);
}

} // namespace sysman
