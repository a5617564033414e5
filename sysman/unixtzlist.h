// Zone table read in place from a read-only file mapping; strings are handed out as pointers
// into it. Never changes after construction, so any thread may call the getters at once.
#pragma once

#include "sysman/protocoltzlist.h"

#include <cstdint>

namespace sysman {

class unixtzlist : public protocoltzlist {
  public:
    // Takes ownership of the mapping (mappedSize bytes, words 32-bit words), whose
    // header opentzlist has validated.
    unixtzlist(const uint32_t* mapping, int32_t mappedSize, int32_t words);
    ~unixtzlist() override;
    unixtzlist(const unixtzlist&) = delete;
    unixtzlist& operator=(const unixtzlist&) = delete;

    int32_t rowcount() const override;
    bool hascolumn(int32_t column) const override;
    bool getstring(int32_t row, int32_t column, const wchar_t** value) const override;
    bool getvalue2(int32_t row, int32_t column, uint32_t* value) const override;
    bool getvalue(int32_t row, int32_t column, uint32_t* value) const override;

  private:
    int32_t word(int64_t index) const;
    // The cell of a row and column when both are inside the table, the column is present and
    // of the given kind.
    bool findCell(int32_t row, int32_t column, int kind, uint32_t* cell) const;

    const uint32_t* base;
    int32_t size;
    int32_t wordCount;
};

} // namespace sysman
