// Fuzzes the zone-table reader on arbitrary files: opening and every getter over and around
// the table's bounds; each string handed out must end inside the mapping.
#include "sysman/opentzlist.h"

#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

void check(bool condition) {
    if (!condition)
        abort();
}

// One scratch file per process, rewritten for every input.
const std::string& scratchPath() {
    static const std::string path = [] {
        char pattern[] = "/tmp/zone_table_fuzz.XXXXXX";
        int fd = mkstemp(pattern);
        check(fd >= 0);
        close(fd);
        return std::string(pattern);
    }();
    return path;
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
    const std::string& path = scratchPath();
    FILE* file = fopen(path.c_str(), "wbe");
    check(file != nullptr);
    check(fwrite(data, 1, size, file) == size);
    fclose(file);

    std::wstring widePath(path.begin(), path.end());
    std::unique_ptr<sysman::protocoltzlist> table(sysman::opentzlist(widePath.c_str()));
    if (table)
        readEveryCell(*table);
    return 0;
}
