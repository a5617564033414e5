// The service's child entries: a new child becomes the real player process or registry update.
// Linked only into the service executable, together with the player library.
#include "player/player_process.h"
#include "supervisor/player_link.h"

PlayerEntry playerEntry = runPlayerProcess;
void (*registryEntry)() = updatePluginRegistry;
