// Zone-table getters: bounds and kind checks, then one indexed read of the mapping.
#include "sysman/unixtzlist.h"

#include <endian.h>
#include <sys/mman.h>

namespace sysman {

namespace {

// Header word indexes.
constexpr int StringStart = 0;
constexpr int RowTable = 1;
constexpr int Rows = 2;
constexpr int Columns = 3;
constexpr int ColumnMask = 4;

constexpr int StringKind = 1;
constexpr int Value2Kind = 2;
constexpr int ValueKind = 0;

// Kinds of columns 0 to 13; later columns have none and cannot be read.
constexpr int ColumnKind[] = {1, 1, 1, 1, 2, 2, 0, 1, 0, 1, 0, 1, 0, 1};
constexpr int KindedColumns = sizeof(ColumnKind) / sizeof(ColumnKind[0]);

} // namespace

unixtzlist::unixtzlist(const uint32_t* mapping, int32_t mappedSize, int32_t words)
    : base(mapping), size(mappedSize), wordCount(words) {}

unixtzlist::~unixtzlist() {
    (void)munmap(const_cast<uint32_t*>(base), static_cast<size_t>(size));
}

int32_t unixtzlist::word(int64_t index) const {
    return static_cast<int32_t>(le32toh(base[index]));
}

int32_t unixtzlist::rowcount() const {
    return word(Rows);
}

bool unixtzlist::hascolumn(int32_t column) const {
    if (column < 0 || column > 31)
        return false;
    return (static_cast<uint32_t>(word(ColumnMask)) >> column) & 1;
}

bool unixtzlist::findCell(int32_t row, int32_t column, int kind, uint32_t* cell) const {
    if (row < 0 || row >= word(Rows))
        return false;
    if (column >= word(Columns))
        return false;
    if (column < 0 || column >= KindedColumns || !hascolumn(column))
        return false;
    if (ColumnKind[column] != kind)
        return false;
    int64_t index = int64_t{word(RowTable)} + int64_t{word(Columns)} * row + column;
    *cell = static_cast<uint32_t>(word(index));
    return true;
}

bool unixtzlist::getstring(int32_t row, int32_t column, const wchar_t** value) const {
    uint32_t cell;
    if (!findCell(row, column, StringKind, &cell))
        return false;
    int64_t start = static_cast<int32_t>(cell);
    if (start < word(StringStart) || start >= wordCount)
        return false;
    // A string that runs to the end of the file is refused.
    for (int64_t i = start; i < wordCount; ++i) {
        if (base[i] == 0) {
            *value = reinterpret_cast<const wchar_t*>(base + start);
            return true;
        }
    }
    return false;
}

bool unixtzlist::getvalue2(int32_t row, int32_t column, uint32_t* value) const {
    return findCell(row, column, Value2Kind, value);
}

bool unixtzlist::getvalue(int32_t row, int32_t column, uint32_t* value) const {
    return findCell(row, column, ValueKind, value);
}

} // namespace sysman
