// Plug-in registry: where it lives, the fallback, and its rate-limited update.
#include "supervisor/plugin_registry.h"

#include "sysman/clock.h"

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string registry;
std::string fallbackFolder;
bool updatedOnce = false;
uint32_t lastUpdate = 0;

std::string environment(const char* name) {
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

// The registry's path without the environment naming it; empty when there is no home.
std::string ownRegistry() {
    // systemd's CacheDirectory= may list several folders, separated by colons.
    const std::string unitCache = environment("CACHE_DIRECTORY");
    if (!unitCache.empty())
        return unitCache.substr(0, unitCache.find(':')) + "/registry.bin";
    std::string cache = environment("XDG_CACHE_HOME");
    if (cache.empty() || cache[0] != '/') {
        const std::string home = environment("HOME");
        if (home.empty() || home[0] != '/')
            return "";
        cache = home + "/.cache";
        (void)mkdir(cache.c_str(), 0700);
    }
    (void)mkdir((cache + "/videod").c_str(), 0700);
    return cache + "/videod/registry.bin";
}

// GStreamer writes a new registry beside the old one and renames it over.
bool folderWritable(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    return !path.empty() && access(folder.c_str(), W_OK | X_OK) == 0;
}

} // namespace

void choosePluginRegistry() {
    registry = environment("GST_REGISTRY_1_0");
    if (registry.empty())
        registry = environment("GST_REGISTRY");
    if (registry.empty())
        registry = ownRegistry();
    if (!folderWritable(registry)) {
        const std::string temporary = environment("TMPDIR");
        std::string folder = (temporary.empty() ? "/tmp" : temporary) + "/videod-XXXXXX";
        if (mkdtemp(folder.data()) != nullptr) {
            fprintf(stderr, "Plug-in registry %s cannot be written: using %s/registry.bin\n",
                    registry.empty() ? "(no home)" : registry.c_str(), folder.c_str());
            fallbackFolder = folder;
            registry = folder + "/registry.bin";
        }
    }
    (void)setenv("GST_REGISTRY", registry.c_str(), 1);
    if (!environment("GST_REGISTRY_1_0").empty())
        (void)setenv("GST_REGISTRY_1_0", registry.c_str(), 1);
}

void removeFallbackRegistry() {
    DIR* folder = fallbackFolder.empty() ? nullptr : opendir(fallbackFolder.c_str());
    if (folder == nullptr)
        return;
    // The registry, and a new one that an update killed while writing it left beside it.
    while (const struct dirent* entry = readdir(folder))
        (void)unlinkat(dirfd(folder), entry->d_name, 0);
    (void)closedir(folder);
    (void)rmdir(fallbackFolder.c_str());
}

bool updateStaleRegistry(PlayerProcess& player) {
    if (!player.registryStale || player.pid != 0)
        return false;
    if (updatedOnce && sysman::elapsedMs(lastUpdate) < RegistryRetryMs)
        return false;
    fprintf(stderr, "Plug-in registry %s lacks an element or was not written: updating it\n",
            registry.c_str());
    if (!launchRegistryUpdate(player))
        return false;
    updatedOnce = true;
    lastUpdate = sysman::nowMs();
    player.registryStale = false;
    return true;
}
