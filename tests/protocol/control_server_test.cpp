// The control server, exercised through the real service over its socket: client slots,
// the listen queue, malformed datagrams, and one datagram per client per pass.
#include "tests/support/service_fixture.h"

#include <sys/socket.h>
#include <vector>

namespace {

using testsupport::bareMessage;
using testsupport::Bytes;
using testsupport::ControlClient;

class ControlServerTest : public testsupport::ServiceFixture {};

TEST_F(ControlServerTest, FourthClientWaitsUntilASlotFrees) {
    ControlClient first, second, third, fourth;
    for (ControlClient* client : {&first, &second, &third}) {
        ASSERT_TRUE(client->connect());
        ASSERT_EQ(ask(*client, bareMessage(17, 1)), bareMessage(17, 3));
    }
    // Connecting succeeds (the listen queue takes it), but nobody reads it yet.
    ASSERT_TRUE(fourth.connect());
    EXPECT_TRUE(ask(fourth, bareMessage(18, 1), 300).empty());
    EXPECT_EQ(ask(third, bareMessage(19, 1)), bareMessage(19, 3));

    first.disconnect();
    EXPECT_EQ(fourth.receive(2000), bareMessage(18, 3));
    EXPECT_EQ(ask(second, bareMessage(20, 1)), bareMessage(20, 3));
}

TEST_F(ControlServerTest, SlotsAreReusedAcrossManyConnections) {
    ControlClient resident;
    ASSERT_TRUE(resident.connect());
    for (int round = 0; round < 20; ++round) {
        ControlClient a, b;
        ASSERT_TRUE(a.connect());
        ASSERT_TRUE(b.connect());
        ASSERT_EQ(ask(a, bareMessage(21, 1)), bareMessage(21, 3)) << round;
        ASSERT_EQ(ask(b, bareMessage(22, 1)), bareMessage(22, 3)) << round;
    }
    EXPECT_EQ(ask(resident, bareMessage(23, 1)), bareMessage(23, 3));
}

TEST_F(ControlServerTest, MalformedDatagramGetsNoReplyAndTheClientStaysConnected) {
    ControlClient client;
    ASSERT_TRUE(client.connect());
    const std::vector<Bytes> malformed = {
        {0xB2, 0xFB, 0x08, 0x00, 17, 1, 0, 0}, // magic
        {0xB1, 0xFB, 0x09, 0x00, 17, 1, 0, 0}, // total past the datagram
        {0xB1, 0xFB, 0x08, 0x00, 17, 1, 1, 0}, // a field that is not there
        {0xB1},
        Bytes(5000, 0xB1), // cut to 4096 by the receive, total 0xB1B1 exceeds it
    };
    for (const Bytes& datagram : malformed) {
        EXPECT_TRUE(ask(client, datagram, 200).empty());
    }
    EXPECT_EQ(ask(client, bareMessage(17, 1)), bareMessage(17, 3));
    // A message that is not a request is not answered either.
    EXPECT_TRUE(ask(client, bareMessage(17, 2), 200).empty());
}

TEST_F(ControlServerTest, DatagramsOfOneClientAreHandledInOrder) {
    ControlClient client;
    ASSERT_TRUE(client.connect());
    for (uint8_t type : {24, 25, 26})
        ASSERT_TRUE(client.send(bareMessage(type, 1)));
    for (uint8_t type : {24, 25, 26})
        EXPECT_EQ(client.receive(2000), bareMessage(type, 3));
}

TEST_F(ControlServerTest, IdentifyIsAnsweredWithVersionAndCapabilities) {
    ControlClient client;
    ASSERT_TRUE(client.connect());
    Bytes expected = {0xB1, 0xFB, 0x44, 0x00, 0x10, 0x02, 0x02, 0x00, 0x04, 0x00,
                      0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x30, 0x00, 0x00, 0x00};
    for (char c : std::string("single_video"))
        expected.insert(expected.end(), {static_cast<uint8_t>(c), 0, 0, 0});
    EXPECT_EQ(ask(client, bareMessage(16, 1)), expected);
    EXPECT_TRUE(ask(client, bareMessage(16, 2), 200).empty());
}

} // namespace
