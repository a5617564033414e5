// Scripted stand-ins for the player process, for the supervisor's tests and benchmark. The
// video's file name picks the script: the part before the first '-' or '.', so
// "/tmp/x/plays-b.mp4" runs "plays".
//   plays  answers "p"/"g" with the same report; "q" or a closed command pipe: "f", exit 0
//   fails  reports "f" and exits 1 at once (file cannot be opened)
//   silent (and any other name) never reports, ignores every command and never exits
#pragma once

// Points playerEntry at the scripts, with the service's SIGCHLD regime: blocked outside the
// wait, with a handler that does nothing.
void useScriptedPlayers();
