// Tells systemd how the service is doing when systemd started it (NOTIFY_SOCKET set): ready
// once the control socket is bound, then a status line each time it changes. Loop thread only.
#pragma once

#include <string>

// Opens the notification socket that NOTIFY_SOCKET names; false when it names none or the
// socket cannot be made, and nothing is ever sent then.
bool openServiceNotify();

void notifyReady();

// Sends "STATUS=" with status, unless it is the one sent last; one that could not be sent is
// tried again at the next call.
void notifyStatus(const std::string& status);

void closeServiceNotify();
