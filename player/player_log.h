// Log stream of the player process: a line-buffered stream on a duplicate of the standard
// error the process started with. Opened once by the process entry on the main thread;
// written from any thread of the player process.
#pragma once

#include <cstdio>

// The log stream; the process's standard error until openPlayerLog has run.
FILE* playerLog();

// Duplicates descriptor 2 (close-on-exec) and opens the log on it; keeps the standard error
// stream when that fails.
void openPlayerLog();
