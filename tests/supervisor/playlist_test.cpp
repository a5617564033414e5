// Playlist loader on real files through its reader child: line rules, the path check, the
// directory prefix, the entry limit, and files that cannot be read.
#include "supervisor/controller.h"
#include "supervisor/playlist.h"
#include "supervisor/playlist_load.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Loads path and runs the loader's passes until it is done; what it wrote on standard error.
std::string load(const std::string& path) {
    static sysman::WaitSet waitSet;
    waitSet.init();
    initController(&waitSet);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(loadPlaylist(path.c_str(), false));
    while (controller.loading) {
        pollPlaylistLoad(waitSet);
        waitSet.wait();
    }
    return testing::internal::GetCapturedStderr();
}

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
        ASSERT_EQ(load(dir + "/list"), "");
        std::vector<std::string> expected;
        for (const std::string& entry : row.entries)
            expected.push_back(dir + "/" + entry);
        EXPECT_EQ(controller.playlist, expected);
    }
    std::ofstream(dir + "/list") << ":skipped\n" << hundredAndOne;
    ASSERT_EQ(load(dir + "/list"), "");
    ASSERT_EQ(controller.playlist.size(), MaxPlaylistEntries);
    EXPECT_EQ(controller.playlist.back(), dir + "/v99");
    EXPECT_EQ(load("/dev/zero"), "Couldn't open playlist\n");

    // A huge file without a line feed is read no further than the limit.
    std::ofstream(dir + "/big").close();
    ASSERT_EQ(truncate((dir + "/big").c_str(), 64 << 20), 0);
    EXPECT_EQ(load(dir + "/big"), "");
    EXPECT_TRUE(controller.playlist.empty());
    stopPlaylistLoad();
    (void)system(("rm -rf " + dir).c_str());
}

} // namespace
