// The service process: stop signals, the single-instance rule, and no descriptor that a
// player process could inherit.
#include "tests/support/service_fixture.h"

#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace {

using testsupport::bareMessage;
using testsupport::ControlClient;

class Service : public testsupport::ServiceFixture {};

class StopSignal : public testsupport::ServiceFixture, public ::testing::WithParamInterface<int> {};

TEST_P(StopSignal, EndsTheServiceWithStatusZeroAndTheMessageOnDescriptorZero) {
    ControlClient client;
    ASSERT_TRUE(client.connect());
    EXPECT_EQ(service.stop(GetParam()), 0);
    EXPECT_EQ(service.inputText(), "Video sigint\n");
    // The empty playlist at start-up is the only thing it reports.
    EXPECT_EQ(service.errorText(), "Could not load any videos \n");
    EXPECT_FALSE(client.connect()) << "the socket name is free again";
}

INSTANTIATE_TEST_SUITE_P(IntAndTerm, StopSignal, ::testing::Values(SIGINT, SIGTERM));

TEST_F(Service, SecondInstanceExitsOneAndLeavesTheFirstServing) {
    testsupport::ServiceProcess second;
    ASSERT_TRUE(second.start());
    EXPECT_EQ(second.waitExit(5000), 1);
    EXPECT_EQ(second.errorText(), "Binding to service address: Address already in use\n"
                                  "Is the service already running?\n");
    EXPECT_EQ(second.inputText(), "");

    ControlClient client;
    ASSERT_TRUE(client.connect());
    EXPECT_EQ(ask(client, bareMessage(17, 1)), bareMessage(17, 3));
}

// Flags of each open descriptor of a process, from /proc/PID/fdinfo.
std::map<int, unsigned long> descriptorFlags(pid_t pid) {
    std::map<int, unsigned long> flags;
    std::string dir = "/proc/" + std::to_string(pid) + "/fdinfo";
    DIR* listing = opendir(dir.c_str());
    while (listing && (errno = 0, true)) {
        struct dirent* entry = readdir(listing);
        if (!entry)
            break;
        if (entry->d_name[0] == '.')
            continue;
        std::ifstream info(dir + "/" + entry->d_name);
        std::string key;
        std::string value;
        while (info >> key >> value)
            if (key == "flags:")
                flags[atoi(entry->d_name)] = std::stoul(value, nullptr, 8);
    }
    if (listing)
        closedir(listing);
    return flags;
}

TEST_F(Service, EveryDescriptorBeyondTheStandardThreeIsCloseOnExec) {
    ControlClient clients[3];
    for (ControlClient& client : clients) {
        ASSERT_TRUE(client.connect());
        ASSERT_EQ(ask(client, bareMessage(17, 1)), bareMessage(17, 3));
    }
    std::map<int, unsigned long> flags = descriptorFlags(service.pid());
    EXPECT_GE(flags.size(), 3u + 4u); // standard three, listener, three clients
    for (const auto& [fd, value] : flags) {
        if (fd <= 2)
            continue;
        EXPECT_TRUE(value & O_CLOEXEC) << "descriptor " << fd;
        EXPECT_TRUE(value & O_NONBLOCK) << "descriptor " << fd;
    }
}

} // namespace
