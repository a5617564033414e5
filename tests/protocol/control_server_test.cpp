// The control server through the real service's socket: three client slots, a waiting
// fourth, accept out of descriptors, reused slots, malformed datagrams and the byte-exact
// Identify reply; in the test process, no reply to a slot no longer in use.
#include "protocol/control_server.h"
#include "protocol/request_handler.h"
#include "supervisor/player_link.h"
#include "tests/support/service.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/socket.h>

PlayerEntry playerEntry = nullptr; // request handling links the controller; no child starts
void (*registryEntry)() = nullptr;

namespace {

using namespace testsupport;

class ControlServerTest : public ServiceFixture {};

TEST_F(ControlServerTest, ThreeSlotsServeAndAFourthClientWaitsForOne) {
    ControlClient clients[3], fourth, fifth;
    // With descriptors 0 to 3 taken, accept fails until the limit is raised again.
    struct rlimit saved;
    ASSERT_EQ(prlimit(service.pid(), RLIMIT_NOFILE, nullptr, &saved), 0);
    struct rlimit few = {4, saved.rlim_max};
    ASSERT_EQ(prlimit(service.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    ASSERT_TRUE(clients[0].open());
    int cpuBefore = service.cpuMs();
    EXPECT_TRUE(ask(clients[0], bareMessage(17, 1), 1000).empty());
    EXPECT_LT(service.cpuMs() - cpuBefore, 500) << "the service spins while accept fails";
    ASSERT_EQ(prlimit(service.pid(), RLIMIT_NOFILE, &saved, nullptr), 0);
    EXPECT_EQ(clients[0].receive(2000), bareMessage(17, 3));
    for (ControlClient& client : clients) {
        ASSERT_TRUE(client.open());
        ASSERT_EQ(ask(client, bareMessage(17, 1)), bareMessage(17, 3));
    }
    ASSERT_TRUE(fourth.open()); // taken by the listen queue, not yet by a slot
    cpuBefore = service.cpuMs();
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

// A slot whose client's credentials were not read yet, or which was closed, gets no reply:
// only the Identify handled while the slot was active reaches the socket.
TEST(ControlSlots, NoReplyToASlotNoLongerInUse) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair), 0);
    alignas(4) uint8_t buffer[MaxMessageSize + DecodeSlack];
    const Bytes identify = bareMessage(16, 1);
    std::copy(identify.begin(), identify.end(), buffer);
    Message message;
    ASSERT_TRUE(decodeMessage(buffer, static_cast<int32_t>(identify.size()), message));
    controlServer.clientFds[1] = pair[0];
    handleRequest(1, message);
    recordClientPeer(1, getpid(), getuid());
    handleRequest(1, message);
    closeClientSlot(1);
    handleRequest(1, message);
    EXPECT_FALSE(sendReply(1, message) || sendReply(ClientSlotCount, message));
    uint8_t reply[MaxMessageSize];
    EXPECT_GT(recv(pair[1], reply, sizeof reply, 0), 0);
    EXPECT_EQ(recv(pair[1], reply, sizeof reply, 0), 0); // then the end of the connection
    close(pair[1]);
}

} // namespace
