// Runs a program to completion with arguments and captures its output and exit status.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

struct ProgramResult {
    int status = -1; // exit status, or -1 when it did not exit normally
    std::string out;
    std::string err;
};

ProgramResult runProgram(const std::string& path, const std::vector<std::string>& args);

// In a forked child: replaces it with the program, or exits 127 when that fails.
[[noreturn]] void execProgram(const std::string& path, const std::vector<std::string>& args);

} // namespace testsupport
