// Opens a zone-table file and checks its header. Prints the failure lines the table's users
// expect on standard error; any thread.
#pragma once

#include "sysman/protocoltzlist.h"

namespace sysman {

// A table over the file at path (32-bit characters), owned by the caller, or null when the
// file cannot be opened, is 19 bytes or shorter (or beyond a signed 32-bit size), cannot be
// mapped or has an invalid header.
protocoltzlist* opentzlist(const wchar_t* path);

} // namespace sysman
