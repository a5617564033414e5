// Private network namespace for a test process: directly as root, else inside a user namespace.
#include "tests/support/netns.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <unistd.h>

namespace testsupport {

static bool writeFile(const char* path, const std::string& text) {
    int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

bool enterPrivateNetworkNamespace(std::string& why) {
    if (unshare(CLONE_NEWNET) == 0)
        return true;
    int rootError = errno;
    uid_t uid = getuid();
    gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) {
        (void)writeFile("/proc/self/setgroups", "deny");
        if (writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1\n") &&
            writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1\n"))
            return true;
    }
    why = std::string("needs root or user namespaces to isolate the control socket (") +
          strerror(rootError) + ")";
    return false;
}

} // namespace testsupport
