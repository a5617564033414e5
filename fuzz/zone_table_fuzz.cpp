// Fuzzes the zone-table reader on arbitrary files: opening and every getter over and around
// the table's bounds; each string handed out must end inside the mapping.
#include "sysman/opentzlist.h"

#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

void check(bool condition) {
    if (!condition)
        abort();
}

void readEveryCell(const sysman::protocoltzlist& table) {
    int32_t rows = table.rowcount();
    int32_t lastRow = rows < 64 ? rows : 64;
    for (int32_t row = -1; row <= lastRow; ++row) {
        for (int32_t column = -1; column <= 33; ++column) {
            uint32_t value;
            (void)table.getvalue(row, column, &value);
            (void)table.getvalue2(row, column, &value);
            const wchar_t* text = nullptr;
            if (table.getstring(row, column, &text))
                check(wcslen(text) < 0x40000000);
        }
    }
    // Refused reads must leave the output alone: a null one would crash.
    (void)table.getvalue(rows, 0, nullptr);
    (void)table.getvalue(INT32_MAX, 6, nullptr);
    for (int32_t column : {-1, 0, 31, 32, INT32_MIN})
        (void)table.hascolumn(column);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The input as a file, in memory.
    static const int fd = memfd_create("zone_table_fuzz", MFD_CLOEXEC);
    check(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    std::unique_ptr<sysman::protocoltzlist> table(
        sysman::opentzlist(std::wstring(path.begin(), path.end()).c_str()));
    if (table)
        readEveryCell(*table);
    return 0;
}
