// videoctl: command-line client of the video service. Sends one request, waits a second for
// the reply, and says in words what it means.
#include "protocol/message.h"
#include "tools/client_request.h"
#include "tools/control_connection.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int ExitAccepted = 0;
constexpr int ExitRefused = 1;
constexpr int ExitUsage = 2;
constexpr int ExitNoService = 3;
constexpr int ReplyTimeoutMs = 1000;

int fail(int status, const std::string& message) {
    fprintf(stderr, "videoctl: %s\n", message.c_str());
    return status;
}

void printRaw(const std::vector<uint8_t>& reply) {
    for (size_t i = 0; i < reply.size(); ++i)
        printf("%02X%c", reply[i], i + 1 == reply.size() ? '\n' : ' ');
}

// Version word and capability characters of an Identify reply.
void printIdentity(const Message& reply) {
    if (reply.fieldCount < 2 || reply.fields[0].length != 4) {
        printf("ok (no version in the reply)\n");
        return;
    }
    const uint8_t* v = reply.fields[0].data;
    uint32_t word = static_cast<uint32_t>(v[0] | v[1] << 8 | v[2] << 16 | v[3] << 24);
    std::string capabilities;
    const uint8_t* c = reply.fields[1].data;
    for (unsigned i = 0; i + 4 <= reply.fields[1].length; i += 4) {
        uint32_t character = static_cast<uint32_t>(c[i] | c[i + 1] << 8 | c[i + 2] << 16) |
                             static_cast<uint32_t>(c[i + 3]) << 24;
        capabilities += character < 0x80 ? static_cast<char>(character) : '?';
    }
    printf("video service %u.%u.%u, capabilities: %s\n", word >> 24, (word >> 16) & 0xFF,
           word & 0xFFFF, capabilities.c_str());
}

int report(const ClientRequest& request, std::vector<uint8_t>& bytes) {
    if (request.raw)
        printRaw(bytes);
    Message reply;
    if (!decodeMessage(bytes.data(), static_cast<int32_t>(bytes.size()), reply) ||
        reply.type != request.type)
        return fail(ExitNoService, "the reply from the service is not readable");
    switch (reply.code) {
    case 2:
        if (request.command == "identify")
            printIdentity(reply);
        else
            printf("ok\n");
        return ExitAccepted;
    case 3:
        return fail(ExitRefused, "the service does not handle '" + request.command + "'");
    case 5:
        return fail(ExitRefused, "the service refused the arguments of '" + request.command + "'");
    default:
        return fail(ExitRefused,
                    "the service answered with unknown code " + std::to_string(reply.code));
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    ClientRequest request;
    std::string error;
    if (!parseClientRequest(args, request, error)) {
        fprintf(stderr, "videoctl: %s\nTry 'videoctl --help'.\n", error.c_str());
        return ExitUsage;
    }
    if (request.help) {
        fputs(clientHelp(request.command).c_str(), stdout);
        return ExitAccepted;
    }
    if (request.version) {
        printf("videoctl %s\n", VIDEOD_VERSION);
        return ExitAccepted;
    }

    uint8_t buffer[MaxMessageSize];
    const int32_t length = encodeMessage(buffer, requestMessage(request));
    if (length < 0)
        return fail(ExitUsage, "the request does not fit in one message");
    ControlConnection connection;
    if (!connection.open(ReplyTimeoutMs))
        return fail(ExitNoService, errno == EAGAIN
                                       ? "no reply from the video service within a second"
                                       : "cannot reach the video service: is the service running?");
    if (!connection.send(buffer, length))
        return fail(ExitNoService, "the request could not be sent: is the service running?");
    std::vector<uint8_t> reply;
    if (!connection.receive(reply, ReplyTimeoutMs))
        return fail(ExitNoService, "no reply from the video service within a second");
    return report(request, reply);
}
