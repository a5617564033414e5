// The control server through the real service's socket: three client slots, a waiting
// fourth, reused slots, malformed datagrams and the byte-exact Identify reply.
#include "tests/support/service.h"

#include <csignal>
#include <string>

namespace {

using testsupport::bareMessage;
using testsupport::Bytes;
using testsupport::ControlClient;

class ControlServerTest : public testsupport::ServiceFixture {};

TEST_F(ControlServerTest, ThreeSlotsServeAndAFourthClientWaitsForOne) {
    ControlClient clients[3], fourth;
    for (ControlClient& client : clients) {
        ASSERT_TRUE(client.open());
        ASSERT_EQ(ask(client, bareMessage(17, 1)), bareMessage(17, 3));
    }
    ASSERT_TRUE(fourth.open()); // taken by the listen queue, not yet by a slot
    const int cpuBefore = service.cpuMs();
    EXPECT_TRUE(ask(fourth, bareMessage(18, 1), 1000).empty());
    EXPECT_LT(service.cpuMs() - cpuBefore, 500) << "the service spins while a client waits";
    clients[0].close();
    EXPECT_EQ(fourth.receive(2000), bareMessage(18, 3));
    for (int round = 0; round < 5; ++round) { // a slot freed by a client that left is reused
        fourth.close();
        ASSERT_TRUE(fourth.open());
        ASSERT_EQ(ask(fourth, bareMessage(19, 1)), bareMessage(19, 3)) << round;
    }
    EXPECT_EQ(ask(clients[2], bareMessage(20, 1)), bareMessage(20, 3));
    ControlClient fifth;
    ASSERT_TRUE(fifth.open());
    EXPECT_EQ(service.stop(SIGTERM), 0) << "a waiting client must not delay the stop";
}

TEST_F(ControlServerTest, AnswersRequestsInOrderAndIgnoresMalformedDatagrams) {
    ControlClient client;
    ASSERT_TRUE(client.open());
    for (const Bytes& malformed :
         {Bytes{0xB2, 0xFB, 8, 0, 17, 1, 0, 0}, Bytes{0xB1, 0xFB, 8, 0, 17, 1, 1, 0}, Bytes{0xB1},
          Bytes(5000, 0xB1), bareMessage(17, 2), bareMessage(16, 2)})
        EXPECT_TRUE(ask(client, malformed, 200).empty());
    Bytes identity = {0xB1, 0xFB, 0x44, 0, 16, 2, 2, 0, 4, 0, 0, 0, 0, 0, 0, 1, 0x30, 0, 0, 0};
    for (char c : std::string("single_video"))
        identity.insert(identity.end(), {static_cast<uint8_t>(c), 0, 0, 0});
    for (uint8_t type : {16, 24, 25})
        ASSERT_TRUE(client.send(bareMessage(type, 1)));
    EXPECT_EQ(client.receive(2000), identity);
    for (uint8_t type : {24, 25})
        EXPECT_EQ(client.receive(2000), bareMessage(type, 3));
}

} // namespace
