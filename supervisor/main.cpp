// Entry of the video service: signal regime, the single-threaded main loop, ordered shutdown.
#include "protocol/control_server.h"
#include "supervisor/controller.h"
#include "sysman/wait_set.h"

#include <csignal>
#include <unistd.h>

namespace {

volatile sig_atomic_t shutdownRequested = 0;

// Descriptor 0 is the terminal when started from one; the message is part of the interface.
void onStopSignal(int) {
    static const char text[] = "Video sigint\n";
    (void)!write(0, text, sizeof text - 1);
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

} // namespace

int main() {
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

    while (!shutdownRequested) {
        waitSet.unblockSignal(SIGINT);
        waitSet.unblockSignal(SIGTERM);
        serviceControlServer(waitSet);
        stepController();
        waitSet.wait();
    }
    // A further stop signal during shutdown says so again and changes nothing.
    setLoopSignals(SIG_UNBLOCK);

    clearClientSlots();
    closeControlServer();
    shutdownController();
    waitSet.destroy();
    return 0;
}
