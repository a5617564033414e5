// Log stream of the player process.
#include "player/player_log.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

FILE* logStream = nullptr;

} // namespace

FILE* playerLog() {
    return logStream ? logStream : stderr;
}

void openPlayerLog() {
    logStream = stderr;
    int fd = fcntl(2, F_DUPFD_CLOEXEC, 0);
    if (fd <= 0)
        return;
    FILE* stream = fdopen(fd, "w");
    if (!stream) {
        close(fd);
        return;
    }
    // A pipe or the journal would otherwise get the lines late, or never from a killed child.
    setvbuf(stream, nullptr, _IOLBF, 0);
    logStream = stream;
}
