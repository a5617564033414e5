// Base fixture for tests against the real service: moves the test into a private network
// namespace, starts the service there and waits until it listens.
#pragma once

#include "tests/support/control_client.h"
#include "tests/support/netns.h"
#include "tests/support/service_process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace testsupport {

class ServiceFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string why;
        if (!enterPrivateNetworkNamespace(why))
            GTEST_SKIP() << why;
        // The stand-in board elements, also when the test runs outside CTest.
        (void)setenv("GST_PLUGIN_PATH", VIDEOD_BINARY_DIR "/boardsim", 0);
        ASSERT_TRUE(service.start("", workDir()));
        ASSERT_TRUE(service.waitUntilListening()) << service.errorText();
    }
    // Working directory of the service; the build directory unless a test says otherwise.
    virtual std::string workDir() const { return ""; }

    // Sends a request and returns the reply, or an empty vector after the time-out.
    Bytes ask(ControlClient& client, const Bytes& request, int timeoutMs = 2000) {
        EXPECT_TRUE(client.send(request));
        return client.receive(timeoutMs);
    }

    ServiceProcess service;
};

// The 8-byte message with the given type and code, no fields, no parameters.
inline Bytes bareMessage(uint8_t type, uint8_t code) {
    return {0xB1, 0xFB, 0x08, 0x00, type, code, 0x00, 0x00};
}

} // namespace testsupport
