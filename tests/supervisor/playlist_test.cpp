// Playlist loader on real files: line rules, the path check, the directory prefix, the
// entry limit, and what a failed load leaves behind.
#include "scripted_player.h"
#include "supervisor/controller.h"
#include "supervisor/playlist.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PlaylistTest : public testing::Test {
  protected:
    void SetUp() override {
        dir = makeTempDir();
        initController(&waitSet);
        waitSet.init();
    }
    void TearDown() override {
        initController(nullptr);
        removeTempDir(dir);
    }

    // Loads text as the file list.txt and returns the entries without the directory prefix.
    std::vector<std::string> loadText(const std::string& text) {
        writeTextFile(dir + "/list.txt", text);
        EXPECT_TRUE(loadPlaylist((dir + "/list.txt").c_str(), false));
        std::vector<std::string> entries;
        for (const std::string& entry : controller.playlist) {
            EXPECT_EQ(entry.compare(0, dir.size() + 1, dir + "/"), 0) << entry;
            entries.push_back(entry.substr(dir.size() + 1));
        }
        return entries;
    }

    std::string dir;
    sysman::WaitSet waitSet{};
};

struct LineCase {
    const char* name;
    const char* text;
    std::vector<std::string> entries;
};

void PrintTo(const LineCase& lineCase, std::ostream* out) {
    *out << lineCase.name;
}

class PlaylistLineTest : public PlaylistTest, public testing::WithParamInterface<LineCase> {};

TEST_P(PlaylistLineTest, FileYieldsTheExpectedEntries) {
    EXPECT_EQ(loadText(GetParam().text), GetParam().entries);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, PlaylistLineTest,
    testing::Values(LineCase{"CrLfEnds", "a.mp4\r\nb.mp4\n", {"a.mp4", "b.mp4"}},
                    LineCase{"LastLineWithoutLineEnd", "last.mp4", {"last.mp4"}},
                    LineCase{"OnlyOneCarriageReturnRemoved", "a.mp4\r\r\n", {"a.mp4\r"}},
                    LineCase{
                        "LeadingCarriageReturnDropsLine", "\ra.mp4\n\r\n\r\r\nb.mp4\n", {"b.mp4"}},
                    LineCase{"BackslashesBecomeSlashes",
                             "sub\\b.mp4\n..\\b.mp4\n\\b.mp4\nsub\\..\\x.mp4\n",
                             {"sub/b.mp4"}},
                    LineCase{"ColonFirstSkipsLine", ":a.mp4\n :a.mp4\n", {" :a.mp4"}},
                    LineCase{"EmptyLinesSkipped", "\n\n\nx.mp4\n\n", {"x.mp4"}},
                    LineCase{"NothingTrimmed", " a b.mp4\t\n", {" a b.mp4\t"}},
                    LineCase{"UnsafePathsRefused",
                             "/abs.mp4\n./a.mp4\n../a.mp4\nc/./a.mp4\nc/../../a.mp4\nc/.\nc/..\n",
                             {}},
                    LineCase{"DotComponentsOnlyRefusedWhole",
                             ".\n..\nclip.ts\n.hidden/a.mp4\na..b/c.mp4\ndir./x\n",
                             {".", "..", "clip.ts", ".hidden/a.mp4", "a..b/c.mp4", "dir./x"}}),
    [](const testing::TestParamInfo<LineCase>& param) { return param.param.name; });

TEST_F(PlaylistTest, OnlyTheFirstHundredAcceptedLinesAreTaken) {
    std::string text;
    for (int line = 0; line < 150; ++line)
        text += "v" + std::to_string(line) + ".mp4\n";
    std::vector<std::string> entries = loadText(text);
    ASSERT_EQ(entries.size(), MaxPlaylistEntries);
    EXPECT_EQ(entries.front(), "v0.mp4");
    EXPECT_EQ(entries.back(), "v99.mp4");
}

TEST_F(PlaylistTest, SkippedLinesDoNotCountTowardTheLimit) {
    std::string text(100, '\n');
    text += ":comment\n/abs.mp4\n";
    for (int line = 0; line < 101; ++line)
        text += "v" + std::to_string(line) + ".mp4\n";
    std::vector<std::string> entries = loadText(text);
    ASSERT_EQ(entries.size(), MaxPlaylistEntries);
    EXPECT_EQ(entries.front(), "v0.mp4");
}

TEST_F(PlaylistTest, HundredEmptyLinesThenOneEntry) {
    EXPECT_THAT(loadText(std::string(100, '\n') + "only.mp4\n"), ElementsAre("only.mp4"));
}

TEST_F(PlaylistTest, PathWithoutSlashGivesEntriesWithoutPrefix) {
    char saved[PATH_MAX];
    ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
    writeTextFile(dir + "/list.txt", "a.mp4\n");
    ASSERT_EQ(chdir(dir.c_str()), 0);
    bool loaded = loadPlaylist("list.txt", false);
    ASSERT_EQ(chdir(saved), 0);
    EXPECT_TRUE(loaded);
    EXPECT_THAT(controller.playlist, ElementsAre("a.mp4"));
}

TEST_F(PlaylistTest, LoadReplacesTheListAndRewinds) {
    loadText("a.mp4\nb.mp4\n");
    controller.index = 1;
    controller.loadFailed = true;
    EXPECT_THAT(loadText("c.mp4\n"), ElementsAre("c.mp4"));
    EXPECT_EQ(controller.index, 0u);
    EXPECT_FALSE(controller.loadFailed);
    EXPECT_EQ(waitSet.timeout, 0u) << "the controller must act in this pass";
}

struct FailedLoad {
    const char* name;
    const char* path;
    const char* message;
};

void PrintTo(const FailedLoad& failedLoad, std::ostream* out) {
    *out << failedLoad.name;
}

class PlaylistFailureTest : public PlaylistTest, public testing::WithParamInterface<FailedLoad> {};

TEST_P(PlaylistFailureTest, OldListIsGoneAndTheControllerMayTryAgain) {
    loadText("a.mp4\nb.mp4\n");
    controller.index = 1;
    controller.loadFailed = true;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(loadPlaylist(GetParam().path, true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), GetParam().message);
    EXPECT_THAT(controller.playlist, IsEmpty());
    EXPECT_EQ(controller.index, 0u);
    EXPECT_FALSE(controller.loadFailed);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, PlaylistFailureTest,
    testing::Values(FailedLoad{"NullPath", nullptr, "No file.\n"},
                    FailedLoad{"EmptyPath", "", "No file.\n"},
                    FailedLoad{"MissingFile", "/nonexistent/list.txt", "Couldn't open playlist\n"}),
    [](const testing::TestParamInfo<FailedLoad>& param) { return param.param.name; });

TEST_F(PlaylistTest, ExistingEmptyFileLoadsAnEmptyList) {
    EXPECT_THAT(loadText(""), IsEmpty());
}

TEST(SafeRelativePath, RefusesOnlyPathsThatCanLeaveTheTree) {
    for (const char* path :
         {"", "/", "/a", "./a", "../a", "a/./b", "a/../b", "a/.", "a/..", "./", "../"})
        EXPECT_FALSE(isSafeRelativePath(path)) << path;
    for (const char* path : {"a", ".", "..", "...", "a/b", ".a", "a.", "a/...", "a//b", "a/"})
        EXPECT_TRUE(isSafeRelativePath(path)) << path;
}

} // namespace
