// The plug-in registry the service's children use: a file of the service's own unless the
// environment names one, a private fallback when it cannot be written, and its update again,
// rate-limited, when a child finds it stale. Called only from the supervisor's loop thread.
#pragma once

#include "supervisor/player_link.h"

#include <cstdint>

// A registry found stale is updated at once the first time, then at most once in this period.
constexpr uint32_t RegistryRetryMs = 60000;

// Before the first child: names the registry in GST_REGISTRY for every child. The
// environment's choice is kept (GST_REGISTRY, GST_REGISTRY_1_0); else the unit's cache
// directory, else the user's cache directory holds registry.bin. When that file's folder
// cannot be written, one line says so and a private folder in the temporary directory is used.
void choosePluginRegistry();
// At exit, once no child is left: removes the private folder, if one was used.
void removeFallbackRegistry();
// When the last child reaped found the registry stale and no child is alive, starts the
// registry update with one line that says so and where, unless one ran within RegistryRetryMs;
// true when it started.
bool updateStaleRegistry(PlayerProcess& player);
