// The control server through the real service's socket: three client slots, a waiting
// fourth, reused slots, malformed datagrams and the byte-exact Identify reply.
#include "tests/support/service.h"

#include <csignal>

namespace {

using namespace testsupport;

class ControlServerTest : public ServiceFixture {};

TEST_F(ControlServerTest, ThreeSlotsServeAndAFourthClientWaitsForOne) {
    ControlClient clients[3], fourth, fifth;
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
    ASSERT_TRUE(fourth.open()); // leaves its slot and connects again: the slot is reused
    EXPECT_EQ(ask(fourth, bareMessage(19, 1)), bareMessage(19, 3));
    EXPECT_EQ(ask(clients[2], bareMessage(20, 1)), bareMessage(20, 3));
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
    Bytes identity = request(16, {Bytes{0, 0, 0, 1}, wideField("single_video")});
    identity[5] = 2; // the Ok code
    for (uint8_t type : {16, 24, 25})
        ASSERT_TRUE(client.send(bareMessage(type, 1)));
    EXPECT_EQ(client.receive(2000), identity);
    for (uint8_t type : {24, 25})
        EXPECT_EQ(client.receive(2000), bareMessage(type, 3));
}

} // namespace
