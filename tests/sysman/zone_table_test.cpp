// Zone table: header validation and its failure lines, every getter's bounds and kinds.
#include "sysman/opentzlist.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <unistd.h>

using Words = std::vector<uint32_t>;
using Table = std::unique_ptr<sysman::protocoltzlist>;

const char* const Invalid = "Invalid zone information\n";
// A name outside ASCII, so the path must go through UTF-8 to be found.
const std::string Path = ::testing::TempDir() + "zones" + std::to_string(getpid()) + "\xC3\xA9";

// Each getter named ('s' getstring, '2' getvalue2, 'v' getvalue) refuses the cell and leaves
// its output untouched.
static void expectRefused(const Table& table, const char* getters, int32_t row, int32_t column) {
    uint32_t value = 7;
    const wchar_t* text = nullptr;
    for (const char* g = getters; *g; ++g)
        EXPECT_FALSE(*g == 's'   ? table->getstring(row, column, &text)
                     : *g == '2' ? table->getvalue2(row, column, &value)
                                 : table->getvalue(row, column, &value))
            << *g << " row " << row << " column " << column;
    EXPECT_TRUE(value == 7 && text == nullptr);
}

// Opens the words and extra bytes (no words: no file) and checks the error output.
static Table open(const Words& words, std::size_t extraBytes, const char* error) {
    std::string bytes(reinterpret_cast<const char*>(words.data()), words.size() * 4);
    if (!words.empty())
        std::ofstream(Path, std::ios::binary) << bytes + std::string(extraBytes, 1);
    ::testing::internal::CaptureStderr();
    Table table(sysman::opentzlist((std::wstring(Path.begin(), Path.end() - 2) + L"\xE9").c_str()));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), error ? error : "");
    EXPECT_EQ(table == nullptr, error != nullptr);
    return table;
}

TEST(ZoneTable, ValidatesTheHeaderAndReadsOnlyPresentCellsOfTheirKind) {
    const std::tuple<Words, std::size_t, const char*> files[] = {
        {{}, 0, "Opening zone information: No such file or directory\n"},
        {{5, 5, 0, 1, 1}, 0, nullptr},             // 20 bytes, no rows
        {{5, 5, 1, 3, 0xFF, 0, 0, 0}, 0, nullptr}, // the row table ends at the end of the file
        {{5, 5, 0, 1}, 3, ""},                     // 19 bytes: refused without a word
        {{5, 5, 0xFFFFFFFF, 1, 1}, 0, Invalid},    // negative row count
        {{5, 5, 0, 0, 1}, 0, Invalid},             // no columns
        {{5, 5, 2, 1, 1, 0}, 3, Invalid},          // second row cut; a partial word does not count
        {{5, 5, 0x40000000, 2, 1}, 0, Invalid},    // 2^31 words: wraps in 32 bits
        {{5, 5, 0, 1, 0xFFFFFFFE}, 0, Invalid},    // column 0 absent
    };
    for (const auto& [words, extraBytes, error] : files) {
        SCOPED_TRACE(::testing::PrintToString(words));
        // No row 0, or column 6 beyond the row.
        if (Table table = open(words, extraBytes, error))
            expectRefused(table, "v", 0, 6);
    }

    // Two rows of 20 columns, all present but column 8; cell (r, k) holds 100 * r + k but for
    // the string cells, which point around the string area from word 45 to the end of the file,
    // word 50.
    Words words = {45, 5, 2, 20, ~(1u << 8)};
    for (uint32_t cell = 0; cell < 40; ++cell)
        words.push_back(100 * (cell / 20) + cell % 20);
    words.insert(words.end(), {'h', 'i', 0, 0, 'x', 'y'});
    const std::pair<int, uint32_t> strings[] = {{0, 45}, {1, 48}, {2, 49},         {3, 3},
                                                {7, 44}, {9, 51}, {11, 0xFFFFFFFF}};
    for (auto [cell, start] : strings)
        words[5 + cell] = start;
    Table table = open(words, 0, nullptr);
    ASSERT_NE(table, nullptr);
    uint32_t value = 0;
    const wchar_t* text = nullptr;
    EXPECT_TRUE(table->getvalue(1, 6, &value) && value == 106 && table->getvalue2(1, 5, &value));
    EXPECT_TRUE(value == 105 && table->getstring(0, 0, &text) && text == std::wstring(L"hi"));
    EXPECT_TRUE(table->getstring(0, 1, &text) && *text == 0 && table->hascolumn(31));
    EXPECT_FALSE(table->hascolumn(8) || table->hascolumn(32) || table->hascolumn(-1));
    // Other kinds, column 8 absent, no kind from column 14, rows outside the table, and strings
    // unterminated, in the header, just before the string area, past the end or negative.
    const std::tuple<const char*, int32_t, int32_t> refused[] = {
        {"v2", 0, 0},   {"v", 0, 4},  {"2s", 0, 6}, {"v", 0, 8}, {"s2v", 0, 14},      {"s", 0, 15},
        {"s2v", 0, -1}, {"v", -1, 6}, {"v", 2, 6},  {"2", 2, 4}, {"v", INT32_MAX, 6}, {"s", 0, 2},
        {"s", 0, 3},    {"s", 0, 7},  {"s", 0, 9},  {"s", 0, 11}};
    for (auto [getters, row, column] : refused)
        expectRefused(table, getters, row, column);
    std::filesystem::remove(Path);
}
