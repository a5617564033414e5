// Zone table: header validation, every getter's bounds and kinds, the failure lines, and that
// no descriptor or mapping survives a failed open or a deleted table.
#include "sysman/opentzlist.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Words = std::vector<uint32_t>;
using Table = std::unique_ptr<sysman::protocoltzlist>;

constexpr uint32_t Untouched = 0xA5A5A5A5;

int openDescriptors() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (readdir(dir))
        ++count;
    closedir(dir);
    return count;
}

int mappingsOf(const std::string& path) {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find(path) != std::string::npos;
    return count;
}

class ZoneTableTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/zone_table_test.XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        path = dir + "/zones\xC3\xA9.bin";
        // A name outside ASCII, so the path must go through UTF-8 to be found.
        widePath = std::wstring(dir.begin(), dir.end()) + L"/zones\u00E9.bin";
    }
    void TearDown() override {
        unlink(path.c_str());
        rmdir(dir.c_str());
    }

    void write(const Words& words, std::size_t extraBytes = 0) {
        std::string bytes(reinterpret_cast<const char*>(words.data()), words.size() * 4);
        bytes.append(extraBytes, '\x7F');
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    }

    // Opens the file, capturing what goes to standard error, and checks that a failure
    // leaves no descriptor and no mapping behind.
    Table open() {
        int descriptors = openDescriptors();
        std::FILE* capture = std::tmpfile();
        int savedStderr = dup(2);
        std::fflush(stderr);
        dup2(fileno(capture), 2);
        Table table(sysman::opentzlist(widePath.c_str()));
        std::fflush(stderr);
        dup2(savedStderr, 2);
        close(savedStderr);
        std::rewind(capture);
        stderrText.clear();
        for (int c; (c = std::fgetc(capture)) != EOF;)
            stderrText.push_back(static_cast<char>(c));
        std::fclose(capture);
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(mappingsOf(path), table ? 1 : 0);
        return table;
    }

    void expectInvalid(const Words& words, std::size_t extraBytes = 0) {
        write(words, extraBytes);
        EXPECT_EQ(open(), nullptr);
        EXPECT_EQ(stderrText, "Invalid zone information\n");
    }

    std::string dir;
    std::string path;
    std::wstring widePath;
    std::string stderrText;
};

TEST_F(ZoneTableTest, SmallestValidFileIsAnEmptyTable) {
    write({5, 5, 0, 1, 1});
    Table table = open();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(stderrText, "");
    EXPECT_EQ(table->rowcount(), 0);
    uint32_t value = Untouched;
    const wchar_t* text = nullptr;
    EXPECT_FALSE(table->getvalue(0, 0, &value));
    EXPECT_FALSE(table->getvalue2(0, 0, &value));
    EXPECT_FALSE(table->getstring(0, 0, &text));
    EXPECT_EQ(value, Untouched);
    EXPECT_EQ(text, nullptr);
    table.reset();
    EXPECT_EQ(mappingsOf(path), 0);
}

TEST_F(ZoneTableTest, ShortOrMissingFileFails) {
    write({5, 5, 0, 1}, 3);
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(stderrText, "");

    unlink(path.c_str());
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(stderrText, "Opening zone information: No such file or directory\n");
}

TEST_F(ZoneTableTest, EachHeaderTestRefusesTheFile) {
    const std::vector<Words> invalid = {
        {4, 5, 0, 1, 1},                   // string area inside the header
        {5, 4, 0, 1, 1},                   // row table inside the header
        {5, 5, 0xFFFFFFFF, 1, 1},          // negative row count
        {5, 5, 0, 0, 1},                   // no columns
        {5, 5, 0, 0xFFFFFFFF, 1},          // negative column count
        {5, 5, 1, 1, 1},                   // one row, but the file ends at the table
        {5, 5, 0x40000000, 2, 1},          // 2^31 words: wraps in 32 bits
        {5, 5, 0x7FFFFFFF, 0x7FFFFFFF, 1}, // wraps even in 64-bit bytes
        {5, 0x7FFFFFFF, 0, 1, 1},          // row table far beyond the end
        {5, 5, 0, 1, 0xFFFFFFFE},          // column 0 absent
    };
    for (const Words& header : invalid) {
        SCOPED_TRACE(::testing::PrintToString(header));
        expectInvalid(header);
    }
}

TEST_F(ZoneTableTest, RowTableMayEndExactlyAtTheEndOfTheFile) {
    write({5, 5, 2, 1, 1, 0, 0});
    Table table = open();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->rowcount(), 2);
    table.reset();
    // A trailing partial word does not count.
    expectInvalid({5, 5, 2, 1, 1, 0}, 3);
}

TEST_F(ZoneTableTest, ColumnMaskBits) {
    write({5, 5, 0, 1, 0x80000001});
    Table table = open();
    ASSERT_NE(table, nullptr);
    EXPECT_TRUE(table->hascolumn(0));
    EXPECT_FALSE(table->hascolumn(1));
    EXPECT_TRUE(table->hascolumn(31));
    for (int column : {32, -1, 256, INT32_MIN})
        EXPECT_FALSE(table->hascolumn(column)) << column;
}

// Two rows of 20 columns, all present; cell (r, k) holds 100 * r + k except the string
// columns 0, 1 and 2, which point into the string area that starts at word 45.
class ZoneTableCellsTest : public ZoneTableTest {
  protected:
    static constexpr uint32_t Hello = 45;
    static constexpr uint32_t Empty = 48;
    static constexpr uint32_t Unterminated = 49;

    void SetUp() override {
        ZoneTableTest::SetUp();
        words = {Hello, 5, 2, 20, 0xFFFFFFFF};
        for (uint32_t r = 0; r < 2; ++r) {
            for (uint32_t k = 0; k < 20; ++k)
                words.push_back(100 * r + k);
        }
        words.insert(words.end(), {'h', 'i', 0, 0, 'x', 'y'});
        setCell(0, 0, Hello);
        setCell(0, 1, Empty);
        setCell(0, 2, Unterminated);
        setCell(1, 0, Hello + 1);
    }
    void setCell(int row, int column, uint32_t value) { words[5 + 20 * row + column] = value; }
    Table openCells() {
        write(words);
        Table table = open();
        EXPECT_NE(table, nullptr);
        return table;
    }
    Words words;
};

TEST_F(ZoneTableCellsTest, GettersReadOnlyCellsOfTheirKind) {
    Table table = openCells();
    ASSERT_NE(table, nullptr);
    uint32_t value = Untouched;
    EXPECT_TRUE(table->getvalue(1, 6, &value));
    EXPECT_EQ(value, 106u);
    EXPECT_TRUE(table->getvalue(0, 12, &value));
    EXPECT_EQ(value, 12u);
    EXPECT_TRUE(table->getvalue2(1, 5, &value));
    EXPECT_EQ(value, 105u);
    const wchar_t* text = nullptr;
    EXPECT_TRUE(table->getstring(0, 0, &text));
    EXPECT_STREQ(text, L"hi");
    EXPECT_TRUE(table->getstring(1, 0, &text));
    EXPECT_STREQ(text, L"i");
    EXPECT_TRUE(table->getstring(0, 1, &text));
    EXPECT_STREQ(text, L"");

    value = Untouched;
    text = nullptr;
    EXPECT_FALSE(table->getvalue(0, 0, &value));  // string column
    EXPECT_FALSE(table->getvalue(0, 4, &value));  // kind 2
    EXPECT_FALSE(table->getvalue2(0, 6, &value)); // kind 0
    EXPECT_FALSE(table->getstring(0, 6, &text));
    for (int column : {14, 19, 20, -1}) {
        EXPECT_FALSE(table->getvalue(0, column, &value)) << column;
        EXPECT_FALSE(table->getvalue2(0, column, &value)) << column;
        EXPECT_FALSE(table->getstring(0, column, &text)) << column;
    }
    for (int row : {-1, 2, INT32_MIN, INT32_MAX}) {
        EXPECT_FALSE(table->getvalue(row, 6, &value)) << row;
        EXPECT_FALSE(table->getvalue2(row, 4, &value)) << row;
        EXPECT_FALSE(table->getstring(row, 1, &text)) << row;
    }
    EXPECT_EQ(value, Untouched);
    EXPECT_EQ(text, nullptr);
}

TEST_F(ZoneTableCellsTest, AbsentColumnsAndColumnsBeyondTheRowAreRefused) {
    words[4] = ~(1u << 6);
    Table table = openCells();
    ASSERT_NE(table, nullptr);
    uint32_t value = Untouched;
    EXPECT_FALSE(table->getvalue(0, 6, &value));
    EXPECT_TRUE(table->getvalue(0, 8, &value));

    // Three columns per row: column 4 exists in the kind table but not in the rows.
    words[3] = 3;
    words[4] = 0xFFFFFFFF;
    table.reset();
    table = openCells();
    ASSERT_NE(table, nullptr);
    value = Untouched;
    EXPECT_FALSE(table->getvalue2(0, 4, &value));
    EXPECT_EQ(value, Untouched);
}

TEST_F(ZoneTableCellsTest, StringsMustStartInTheStringAreaAndEndInTheFile) {
    const std::vector<uint32_t> refused = {
        3,            // inside the header
        Hello - 1,    // just before the string area
        Unterminated, // no zero word before the end of the file
        Unterminated + 2 /* the word count */,
        0xFFFFFFFF, // negative
        0x7FFFFFFF,
    };
    for (uint32_t cell : refused) {
        setCell(0, 3, cell);
        Table table = openCells();
        ASSERT_NE(table, nullptr);
        const wchar_t* text = nullptr;
        EXPECT_FALSE(table->getstring(0, 3, &text)) << cell;
        EXPECT_EQ(text, nullptr);
    }
}

} // namespace
