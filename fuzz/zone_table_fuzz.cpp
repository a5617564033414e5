// Fuzzes the zone-table reader on arbitrary files: opening and every getter over and around
// the table's bounds; each string handed out must end inside the mapping.
#include "fuzz/check.h"
#include "sysman/opentzlist.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The input as a file, in memory.
    static const int fd = memfd_create("zone_table_fuzz", MFD_CLOEXEC);
    check(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    std::unique_ptr<sysman::protocoltzlist> table(
        sysman::opentzlist(std::wstring(path.begin(), path.end()).c_str()));
    const int32_t rows = table ? table->rowcount() : 0;
    for (int32_t row = -1; table && row <= std::min(rows, 64); ++row)
        for (int32_t column = -1; column <= 33; ++column) {
            // Outside the table the output is null: a getter that does not refuse there crashes.
            const bool inside = row >= 0 && row < rows && column >= 0 && column < 32;
            uint32_t value;
            const wchar_t* text = nullptr;
            (void)table->hascolumn(column);
            (void)table->getvalue(row, column, inside ? &value : nullptr);
            (void)table->getvalue2(row, column, inside ? &value : nullptr);
            if (table->getstring(row, column, inside ? &text : nullptr))
                check(wcslen(text) < 0x40000000);
        }
    return 0;
}
