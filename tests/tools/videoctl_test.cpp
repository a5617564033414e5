// videoctl against the real service in a private network namespace: what each command
// prints and its exit status, bad input refused before sending, no service at all; and the
// demo the README's run command ends in.
#include "tests/support/service.h"

#include <csignal>
#include <fstream>

namespace {

using testsupport::runProgram;

const std::string Videoctl = VIDEOD_BINARY_DIR "/tools/videoctl";

class VideoctlService : public testsupport::ServiceFixture {};

TEST_F(VideoctlService, AcceptedCommandsSayOkAndBadInputIsRefusedBeforeSending) {
    auto [refused, why] = runProgram(Videoctl, {"display", "1", "x"});
    EXPECT_EQ(refused, 2);
    EXPECT_NE(why.find("Try 'videoctl --help'."), std::string::npos) << why;
    EXPECT_EQ(service.text(), "Could not load any videos \n") << "nothing reached the service";
    EXPECT_EQ(runProgram(Videoctl, {"identify"}),
              std::make_pair(0, std::string("video service 1.0.0, capabilities: single_video\n")));
    const std::string list = testing::TempDir() + "videoctl-list.txt";
    std::ofstream(list) << "none.mp4\n";
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"display", "640", "480", "8", "16", "90"},
          {"load", list, "--stop"},
          {"play"},
          {"pause"},
          {"next"},
          {"stop"}})
        EXPECT_EQ(runProgram(Videoctl, command), std::make_pair(0, std::string("ok\n")))
            << command[0];
    EXPECT_EQ(runProgram(Videoctl, {"--raw", "next"}).second, "B1 FB 08 00 32 02 00 00\nok\n");
    EXPECT_EQ(service.stop(SIGTERM), 0);
    auto [status, text] = runProgram(Videoctl, {"play"});
    EXPECT_EQ(status, 3);
    EXPECT_NE(text.find("is the service running?"), std::string::npos) << text;
}

TEST(Demo, PlaysUntilInterruptedAndExitsZero) {
    std::string why;
    if (!testsupport::enterPrivateNetworkNamespace(why))
        GTEST_SKIP() << why;
    testsupport::ServiceProcess demo;
    ASSERT_TRUE(demo.start(VIDEOD_SOURCE_DIR "/scripts/demo", {VIDEOD_BINARY_DIR}));
    EXPECT_NE(demo.waitFor("from PAUSED to PLAYING:", 20000), std::string::npos) << demo.text();
    EXPECT_EQ(demo.stop(SIGINT), 0) << demo.text();
    EXPECT_EQ(demo.text(testsupport::ServiceProcess::Input), "Video sigint\n");
    EXPECT_TRUE(demo.children().empty());
}

} // namespace
