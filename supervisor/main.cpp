// Entry of the video service: signal regime, the single-threaded main loop, ordered shutdown.
#include "protocol/control_server.h"
#include "supervisor/controller.h"
#include "supervisor/plugin_registry.h"
#include "supervisor/service_notify.h"
#include "sysman/wait_set.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

volatile sig_atomic_t shutdownRequested = 0;

// Descriptor 0 is the terminal when started from one; the message is part of the interface.
// It must never hold up the stop: a terminal whose output is suspended or a full pipe would
// block a plain write, and O_NONBLOCK set on descriptor 0 would change it for every process
// sharing it. So such a file gets a non-blocking descriptor of its own, a socket a send that
// does not wait; a regular file never blocks. Where the file cannot be opened again (another
// user's terminal), descriptor 0 is made non-blocking for this one write only.
void sayStopping() {
    static const char text[] = "Video sigint\n";
    struct stat info;
    const int access = fcntl(0, F_GETFL);
    if (access < 0 || (access & O_ACCMODE) == O_RDONLY || fstat(0, &info) != 0)
        return;
    if (S_ISSOCK(info.st_mode)) {
        (void)send(0, text, sizeof text - 1, MSG_DONTWAIT | MSG_NOSIGNAL);
    } else if (S_ISREG(info.st_mode)) {
        (void)!write(0, text, sizeof text - 1);
    } else {
        int fd = open("/proc/self/fd/0", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (fd >= 0) {
            (void)!write(fd, text, sizeof text - 1);
            (void)close(fd);
        } else if (fcntl(0, F_SETFL, access | O_NONBLOCK) == 0) {
            (void)!write(0, text, sizeof text - 1);
            (void)fcntl(0, F_SETFL, access);
        }
    }
}

void onStopSignal(int) {
    const int savedErrno = errno;
    sayStopping();
    errno = savedErrno;
    shutdownRequested = 1;
}

// Exists only so that a child's end interrupts the wait.
void onChildSignal(int) {}

void installHandler(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0; // no SA_RESTART: a handled signal ends the wait at once
    (void)sigaction(signal, &action, nullptr);
}

// SIGCHLD, SIGINT and SIGTERM are delivered only inside the wait, where the loop unblocks
// them; so a stop signal cannot slip in between the flag test and the sleep.
void setLoopSignals(int how) {
    sigset_t loopSignals;
    sigemptyset(&loopSignals);
    sigaddset(&loopSignals, SIGCHLD);
    sigaddset(&loopSignals, SIGINT);
    sigaddset(&loopSignals, SIGTERM);
    (void)sigprocmask(how, &loopSignals, nullptr);
}

// Started with 0, 1 or 2 closed, the control socket or a player's pipe would take its number,
// and a player would write its log into its status pipe.
void openMissingStandardDescriptors() {
    for (int fd = 0; fd <= 2; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && errno == EBADF)
            (void)open("/dev/null", O_RDWR);
}

// The service takes no options; these two answer and end before anything starts. The exit
// status for anything else, or -1 to start the service.
int answerCommandLine(int argc, char** argv) {
    const std::string option = argc > 1 ? argv[1] : "";
    if (argc == 2 && option == "--help") {
        fputs("Usage: videod [--help | --version]\n"
              "Video playback service, controlled over its local socket with videoctl(1).\n"
              "It takes no options and no configuration; see videod(8).\n",
              stdout);
        return 0;
    }
    if (argc == 2 && option == "--version") {
        printf("videod %s\n", VIDEOD_VERSION);
        return 0;
    }
    if (argc == 1)
        return -1;
    fputs("Usage: videod [--help | --version]\n", stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    const int answered = answerCommandLine(argc, argv);
    if (answered >= 0)
        return answered;
    openMissingStandardDescriptors();
    sysman::WaitSet waitSet;
    waitSet.init();
    shutdownRequested = 0;
    (void)signal(SIGPIPE, SIG_IGN);
    installHandler(SIGINT, onStopSignal);
    installHandler(SIGTERM, onStopSignal);
    setLoopSignals(SIG_BLOCK);
    installHandler(SIGCHLD, onChildSignal);

    initController(&waitSet);

    if (!startControlServer()) {
        shutdownController();
        waitSet.destroy();
        return 1;
    }
    clearClientSlots();
    const bool notifying = openServiceNotify();
    notifyReady();
    // Once, before any player and outside every player's deadline; players then skip the scan.
    choosePluginRegistry();
    (void)launchRegistryUpdate(controller.player);

    while (!shutdownRequested) {
        waitSet.unblockSignal(SIGINT);
        waitSet.unblockSignal(SIGTERM);
        serviceControlServer(waitSet);
        stepController();
        if (notifying)
            notifyStatus(controllerStatus());
        waitSet.wait();
    }
    // A further stop signal during shutdown says so again and changes nothing.
    setLoopSignals(SIG_UNBLOCK);

    clearClientSlots();
    closeControlServer();
    shutdownController();
    closeServiceNotify();
    // A registry update still running could write into the private registry folder.
    destroyPlayerProcess(controller.player);
    removeFallbackRegistry();
    waitSet.destroy();
    return 0;
}
