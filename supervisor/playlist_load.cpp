// Playlist loader: the reader child, its pipe and deadline, and the entries it sends.
#include "supervisor/playlist_load.h"

#include "supervisor/controller.h"
#include "supervisor/playlist.h"
#include "sysman/clock.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Killed readers not reaped yet; while this many linger, a load is refused rather than
// piling up processes stuck in a file system.
constexpr size_t MaxLingeringReaders = 8;

struct PlaylistLoad {
    pid_t pid = 0; // the reader of the current load; 0 when none
    int fd = -1;   // read end of its pipe
    uint32_t startTime = 0;
    bool stopCurrent = false;
    std::string prefix;
    std::string received;
    std::vector<pid_t> lingering; // readers done or killed, not reaped yet
};

PlaylistLoad load;

// Ends the current load's reader, which is killed unless it sent the whole file; it is reaped
// once it has gone.
void dropReader(bool running) {
    (void)close(load.fd);
    load.fd = -1;
    if (running)
        killChildGroup(load.pid);
    load.lingering.push_back(load.pid);
    load.pid = 0;
    controller.loading = false;
    lowerControllerTimeout(0);
}

// At the end of the pipe or the deadline: the entries go into the playlist.
void finishLoad(bool read) {
    dropReader(!read);
    if (!read || load.received.empty() || load.received.back() != PlaylistReadEnd) {
        fputs("Couldn't open playlist\n", stderr);
        return;
    }
    const std::string& lines = load.received;
    for (size_t start = 0, end; (end = lines.find('\n', start)) != std::string::npos;
         start = end + 1)
        controller.playlist.push_back(load.prefix + lines.substr(start, end - start));
    if (load.stopCurrent)
        sendStop(controller.player);
}

// Reads what the pipe holds now; true at its end.
bool receive() {
    char chunk[4096];
    for (;;) {
        const ssize_t got = read(load.fd, chunk, sizeof chunk);
        if (got <= 0)
            return got == 0 || errno != EAGAIN;
        load.received.append(chunk, static_cast<size_t>(got));
    }
}

void reapReaders() {
    std::vector<pid_t>& pids = load.lingering;
    for (size_t i = 0; i < pids.size();)
        if (waitpid(pids[i], nullptr, WNOHANG) != 0) {
            pids[i] = pids.back();
            pids.pop_back();
        } else
            ++i;
}

} // namespace

bool loadPlaylist(const char* path, bool stopCurrent) {
    // The old list goes whatever happens, and the controller acts in this very pass.
    controller.playlist.clear();
    controller.index = 0;
    controller.loadFailed = false;
    resetBackoff();
    lowerControllerTimeout(0);
    if (load.pid != 0)
        dropReader(true);
    if (path == nullptr || path[0] == '\0') {
        fputs("No file.\n", stderr);
        return false;
    }
    reapReaders();
    int ends[2];
    if (load.lingering.size() >= MaxLingeringReaders || pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        fputs("Couldn't open playlist\n", stderr);
        return false;
    }
    const pid_t pid = launchChild({ends[1]});
    if (pid == 0) {
        (void)fcntl(ends[1], F_SETFL, 0);
        writePlaylistEntries(path, ends[1]);
        _exit(0);
    }
    (void)close(ends[1]);
    if (pid < 0) {
        (void)close(ends[0]);
        return false;
    }
    const char* lastSlash = strrchr(path, '/');
    load.pid = pid;
    load.fd = ends[0];
    load.startTime = sysman::nowMs();
    load.stopCurrent = stopCurrent;
    load.prefix.assign(path, lastSlash == nullptr ? 0 : size_t(lastSlash - path + 1));
    load.received.clear();
    controller.loading = true;
    return true;
}

void pollPlaylistLoad(sysman::WaitSet& waitSet) {
    if (load.pid != 0) {
        if (receive())
            finishLoad(true);
        else if (sysman::elapsedMs(load.startTime) > PlaylistReadMs)
            finishLoad(false);
    }
    reapReaders();
    if (load.pid != 0) {
        (void)waitSet.addRead(load.fd);
        if (waitSet.lowerTimeoutToPeriod(load.startTime, PlaylistReadMs + 1))
            waitSet.lowerTimeout(0);
    }
    if (!load.lingering.empty())
        waitSet.unblockSignal(SIGCHLD);
}

void stopPlaylistLoad() {
    if (load.pid != 0)
        dropReader(true);
    for (pid_t pid : load.lingering) {
        killChildGroup(pid);
        (void)reapWithin(pid, ExitReapMs);
    }
    load.lingering.clear();
}
