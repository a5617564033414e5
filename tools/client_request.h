// Turns videoctl's command line into one control request, or into a one-line error.
// Pure: no I/O except reading the working directory and checking that a playlist exists.
#pragma once

#include "protocol/message.h"

#include <cstdint>
#include <string>
#include <vector>

struct ClientRequest {
    uint8_t type = 0;
    // Owned bytes of each field; the Message built from it points into them.
    std::vector<std::vector<uint8_t>> fields;
    bool raw = false;     // print the raw reply too
    bool help = false;    // print help instead of sending anything
    bool version = false; // print the client's version instead of sending anything
    std::string command;
};

// Parses the arguments after the program name. On failure returns false and sets error to
// a one-line message.
bool parseClientRequest(const std::vector<std::string>& args, ClientRequest& request,
                        std::string& error);

// A Message whose fields point into request's storage.
Message requestMessage(const ClientRequest& request);

// Help for the whole program, or for one command (empty when the command is unknown).
std::string clientHelp(const std::string& command);
