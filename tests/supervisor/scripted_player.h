// Scripted stand-ins for the player process, for the supervisor's tests and benchmark. The
// video's file name picks the script: the part before the first '-' or '.', so
// "/tmp/x/plays-b.mp4" runs "plays". Every child appends what happens to it to a log file.
#pragma once

#include <string>
#include <vector>

// Scripts:
//   plays  answers "p"/"g" with the same report; "q" or a closed command pipe: "f", exit 0
//   ends   as plays, but reports "e" right after "g"
//   hangs  as plays, but ignores "q" and a closed command pipe, and never exits
//   fails  reports "f" and exits 1 at once (file cannot be opened)
// Log lines, <name> being the file name without extension: "<name> start", "<name> cmd <byte>".

// Points playerEntry at the scripts and their log at logPath.
void useScriptedPlayers(const std::string& logPath);
std::vector<std::string> readScriptLog();

// The service's regime: SIGCHLD blocked outside the wait, with a handler that does nothing.
void installChildSignalRegime();

// A fresh directory under /tmp, and its removal with everything in it.
std::string makeTempDir();
void removeTempDir(const std::string& dir);
void writeTextFile(const std::string& path, const std::string& text);
