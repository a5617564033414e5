// Read-only table of zone information: rows of cells whose columns are strings or 32-bit
// values. The abstract operations; unixtzlist implements them over a mapped file.
#pragma once

#include <cstdint>

namespace sysman {

class protocoltzlist {
  public:
    virtual ~protocoltzlist() = default;
    virtual int32_t rowcount() const = 0;
    // Whether the table says column k (0 to 31) is present.
    virtual bool hascolumn(int32_t column) const = 0;
    // Getters return false and leave the output untouched when the cell cannot be read.
    // A string stays valid as long as the table object lives.
    virtual bool getstring(int32_t row, int32_t column, const wchar_t** value) const = 0;
    virtual bool getvalue2(int32_t row, int32_t column, uint32_t* value) const = 0;
    virtual bool getvalue(int32_t row, int32_t column, uint32_t* value) const = 0;
};

} // namespace sysman
