// Playlist loader on real files: line rules, the path check, the directory prefix and the
// entry limit.
#include "supervisor/controller.h"
#include "supervisor/playlist.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

TEST(Playlist, LoadTakesTheSafeLinesWithTheFilesDirectory) {
    char pattern[] = "/tmp/playlistXXXXXX";
    const std::string dir = mkdtemp(pattern);
    std::string hundredAndOne;
    for (int line = 0; line < 101; ++line)
        hundredAndOne += "v" + std::to_string(line) + "\n";
    const struct {
        std::string text;
        std::vector<std::string> entries;
    } rows[] = {
        {"a.mp4\r\nb.mp4\n:c.mp4\n\n last", {"a.mp4", "b.mp4", " last"}},
        {"a\r\r\n\ra\n", {"a\r"}},
        {"s\\b.mp4\n..\\b.mp4\n\\b.mp4\ns\\..\\x\n", {"s/b.mp4"}},
        {"/a\n./a\n../a\nc/./a\nc/../a\nc/.\nc/..\n", {}},
        {".\n..\n.h/a\na..b/c\n", {".", "..", ".h/a", "a..b/c"}},
        {std::string(4096, 'x') + "\r\n" + std::string(4097, 'y'), {std::string(4096, 'x')}},
        {std::string("n\0l\n\0\nok", 8), {"ok"}},
        {std::string(MaxPlaylistBytes, '\n') + "late", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 40));
        std::ofstream(dir + "/list") << row.text;
        ASSERT_TRUE(loadPlaylist((dir + "/list").c_str(), false));
        std::vector<std::string> expected;
        for (const std::string& entry : row.entries)
            expected.push_back(dir + "/" + entry);
        EXPECT_EQ(controller.playlist, expected);
    }
    std::ofstream(dir + "/list") << ":skipped\n" << hundredAndOne;
    ASSERT_TRUE(loadPlaylist((dir + "/list").c_str(), false));
    ASSERT_EQ(controller.playlist.size(), MaxPlaylistEntries);
    EXPECT_EQ(controller.playlist.back(), dir + "/v99");
    EXPECT_FALSE(loadPlaylist((dir + "/none").c_str(), false));

    // Neither a FIFO without a writer nor a huge file without a line feed holds the loop up.
    ASSERT_EQ(mkfifo((dir + "/fifo").c_str(), 0600), 0);
    EXPECT_FALSE(loadPlaylist((dir + "/fifo").c_str(), false));
    std::ofstream(dir + "/big").close();
    ASSERT_EQ(truncate((dir + "/big").c_str(), 64 << 20), 0);
    EXPECT_TRUE(loadPlaylist((dir + "/big").c_str(), false));
    EXPECT_TRUE(controller.playlist.empty());
    (void)system(("rm -rf " + dir).c_str());
}

} // namespace
