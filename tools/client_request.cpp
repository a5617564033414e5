// videoctl command-line parsing: validates every argument before anything is sent.
#include "tools/client_request.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uint8_t TypeIdentify = 16;
constexpr uint8_t TypeSetDisplay = 32;
constexpr uint8_t TypeLoadPlaylist = 48;
constexpr uint8_t TypeSetPlayMode = 49;
constexpr uint8_t TypeNext = 50;
// A path field must leave room for the header, its item header and the stop flag item.
constexpr size_t MaxPathCharacters = (MaxMessageSize - 8 - 4 - 8) / 4;

struct Command {
    const char* name;
    const char* usage;
    const char* summary;
};

const Command Commands[] = {
    {"identify", "identify", "print the service's version and capabilities"},
    {"display", "display WIDTH HEIGHT [LEFT TOP [ROTATION]]",
     "set the picture size and position for the next video; ROTATION is 0, 90, 180 or 270"},
    {"load", "load PLAYLIST [--stop]",
     "load a playlist file (a relative path is taken from the current directory); with --stop "
     "the video now playing ends at once"},
    {"play", "play", "play the current video"},
    {"pause", "pause", "pause the current video"},
    {"stop", "stop", "stop playing"},
    {"next", "next", "skip to the next video of the playlist"},
};

std::vector<uint8_t> littleEndian32(int32_t value) {
    uint32_t v = static_cast<uint32_t>(value);
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

bool parseInt32(const std::string& text, const char* what, int32_t& value, std::string& error) {
    errno = 0;
    char* end = nullptr;
    long long parsed = text.empty() ? 0 : strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE || parsed < INT32_MIN ||
        parsed > INT32_MAX) {
        error = std::string(what) + " must be a whole number from " + std::to_string(INT32_MIN) +
                " to " + std::to_string(INT32_MAX) + ", not '" + text + "'";
        return false;
    }
    value = static_cast<int32_t>(parsed);
    return true;
}

bool parseDisplay(const std::vector<std::string>& operands, ClientRequest& request,
                  std::string& error) {
    if (operands.size() != 2 && operands.size() != 4 && operands.size() != 5) {
        error = "display takes WIDTH HEIGHT, optionally LEFT TOP, and optionally ROTATION";
        return false;
    }
    static const char* const names[] = {"WIDTH", "HEIGHT", "LEFT", "TOP"};
    for (size_t i = 0; i < operands.size() && i < 4; ++i) {
        int32_t value;
        if (!parseInt32(operands[i], names[i], value, error))
            return false;
        request.fields.push_back(littleEndian32(value));
    }
    if (operands.size() == 5) {
        static const char* const degrees[] = {"0", "90", "180", "270"};
        for (uint8_t code = 0; code < 4; ++code)
            if (operands[4] == degrees[code])
                request.fields.push_back({code});
        if (request.fields.size() != 5) {
            error = "ROTATION must be 0, 90, 180 or 270, not '" + operands[4] + "'";
            return false;
        }
    }
    return true;
}

// UTF-8 to 32-bit characters; refuses invalid input rather than sending replacement marks.
bool decodeUtf8(const std::string& text, std::vector<uint32_t>& out) {
    for (size_t i = 0; i < text.size();) {
        const auto byte = [&](size_t k) { return static_cast<uint8_t>(text[k]); };
        uint8_t lead = byte(i);
        int length = lead < 0x80                    ? 1
                     : lead >= 0xC2 && lead <= 0xDF ? 2
                     : lead >= 0xE0 && lead <= 0xEF ? 3
                     : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                    : 0;
        if (length == 0 || i + static_cast<size_t>(length) > text.size())
            return false;
        uint32_t value = length == 1 ? lead : lead & (0x7F >> length);
        for (int k = 1; k < length; ++k) {
            if ((byte(i + k) & 0xC0) != 0x80)
                return false;
            value = value << 6 | (byte(i + k) & 0x3F);
        }
        static const uint32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
        if (value < minimum[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
            return false;
        out.push_back(value);
        i += static_cast<size_t>(length);
    }
    return true;
}

bool parseLoad(const std::vector<std::string>& operands, ClientRequest& request,
               std::string& error) {
    std::string path;
    bool stop = false;
    for (const std::string& operand : operands) {
        if (operand == "--stop")
            stop = true;
        else if (path.empty() && !operand.empty())
            path = operand;
        else {
            error = "load takes one PLAYLIST and optionally --stop";
            return false;
        }
    }
    if (path.empty()) {
        error = "load needs the PLAYLIST file";
        return false;
    }
    if (path[0] != '/') {
        char cwd[PATH_MAX];
        if (!getcwd(cwd, sizeof cwd)) {
            error = "cannot tell the current directory to make the playlist path absolute";
            return false;
        }
        path = std::string(cwd) + "/" + path;
    }
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        error = "no playlist file at " + path;
        return false;
    }
    std::vector<uint32_t> characters;
    if (!decodeUtf8(path, characters)) {
        error = "the playlist path is not valid UTF-8";
        return false;
    }
    if (characters.size() > MaxPathCharacters) {
        error =
            "the playlist path is longer than " + std::to_string(MaxPathCharacters) + " characters";
        return false;
    }
    std::vector<uint8_t> field;
    for (uint32_t c : characters) {
        std::vector<uint8_t> bytes = littleEndian32(static_cast<int32_t>(c));
        field.insert(field.end(), bytes.begin(), bytes.end());
    }
    request.fields.push_back(field);
    request.fields.push_back({static_cast<uint8_t>(stop ? 1 : 0)});
    return true;
}

const Command* findCommand(const std::string& name) {
    for (const Command& command : Commands)
        if (name == command.name)
            return &command;
    return nullptr;
}

} // namespace

bool parseClientRequest(const std::vector<std::string>& args, ClientRequest& request,
                        std::string& error) {
    std::vector<std::string> operands;
    for (const std::string& arg : args) {
        if (arg == "--raw")
            request.raw = true;
        else if (arg == "--help" || arg == "-h")
            request.help = true;
        else if (arg == "--version")
            request.version = true;
        else if (request.command.empty() && arg.rfind("--", 0) != 0)
            request.command = arg;
        else
            operands.push_back(arg);
    }
    if (!request.command.empty() && !findCommand(request.command)) {
        error = "unknown command '" + request.command + "'";
        return false;
    }
    if (request.help || request.version)
        return true;
    if (request.command.empty()) {
        error = "no command given";
        return false;
    }
    const std::string& name = request.command;
    if (name == "display") {
        request.type = TypeSetDisplay;
        return parseDisplay(operands, request, error);
    }
    if (name == "load") {
        request.type = TypeLoadPlaylist;
        return parseLoad(operands, request, error);
    }
    if (!operands.empty()) {
        error = name + " takes no arguments";
        return false;
    }
    if (name == "identify")
        request.type = TypeIdentify;
    else if (name == "next")
        request.type = TypeNext;
    else {
        request.type = TypeSetPlayMode;
        request.fields.push_back({static_cast<uint8_t>(name == "play"   ? 1
                                                       : name == "stop" ? 0
                                                                        : 2)});
    }
    return true;
}

Message requestMessage(const ClientRequest& request) {
    Message message{};
    message.type = request.type;
    message.code = 1;
    message.fieldCount = static_cast<uint8_t>(request.fields.size());
    for (size_t i = 0; i < request.fields.size(); ++i)
        message.fields[i] = {static_cast<uint16_t>(request.fields[i].size()),
                             request.fields[i].data()};
    return message;
}

std::string clientHelp(const std::string& command) {
    if (!command.empty()) {
        const Command* found = findCommand(command);
        if (!found)
            return "";
        return std::string("usage: videoctl [--raw] ") + found->usage + "\n  " + found->summary +
               "\n";
    }
    std::string text = "usage: videoctl [--raw] COMMAND [ARGUMENTS]\n"
                       "Controls the running video service over its control socket.\n\n"
                       "commands:\n";
    for (const Command& c : Commands)
        text += std::string("  ") + c.usage + "\n      " + c.summary + "\n";
    text += "\noptions:\n"
            "  --raw     also print the reply's bytes in hexadecimal\n"
            "  --help    this text; 'videoctl COMMAND --help' for one command\n"
            "  --version the client's version\n\n"
            "'ok' means the service accepted the request; a playlist it then cannot read\n"
            "shows only in the service's log.\n"
            "exit status: 0 the service accepted the request; 1 it refused it;\n"
            "2 the command line is wrong; 3 no service, or no reply within a second\n";
    return text;
}
