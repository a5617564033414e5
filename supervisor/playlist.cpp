// Playlist file loader: line rules, path check and directory prefix.
#include "supervisor/playlist.h"

#include "supervisor/controller.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static bool startsWith(const std::string& text, const char* head) {
    return text.compare(0, strlen(head), head) == 0;
}

static bool endsWith(const std::string& text, const char* tail) {
    size_t length = strlen(tail);
    return text.size() >= length && text.compare(text.size() - length, length, tail) == 0;
}

bool isSafeRelativePath(const std::string& line) {
    if (line.empty() || line[0] == '/')
        return false;
    if (startsWith(line, "./") || startsWith(line, "../"))
        return false;
    if (line.find("/./") != std::string::npos || line.find("/../") != std::string::npos)
        return false;
    return !endsWith(line, "/.") && !endsWith(line, "/..");
}

// Applies the line rules in place; true when the line becomes a playlist entry.
static bool acceptLine(std::string& line) {
    if (line.empty())
        return false;
    if (line.back() == '\r')
        line.pop_back();
    // A line that starts with a carriage return is dropped whole.
    if (line.empty() || line[0] == '\r' || line[0] == ':')
        return false;
    std::replace(line.begin(), line.end(), '\\', '/');
    return isSafeRelativePath(line);
}

static void readEntries(FILE* file, const std::string& prefix) {
    char* buffer = nullptr;
    size_t capacity = 0;
    unsigned count = 0;
    ssize_t length;
    while (count < MaxPlaylistEntries && (length = getline(&buffer, &capacity, file)) >= 0) {
        std::string line(buffer, static_cast<size_t>(length));
        if (!line.empty() && line.back() == '\n')
            line.pop_back();
        if (!acceptLine(line))
            continue;
        controller.playlist.push_back(prefix + line);
        ++count;
    }
    free(buffer);
}

bool loadPlaylist(const char* path, bool stopCurrent) {
    // The old list goes whatever happens, and the controller acts in this very pass.
    controller.playlist.clear();
    controller.index = 0;
    controller.loadFailed = false;
    resetBackoff();
    lowerControllerTimeout(0);

    if (path == nullptr || path[0] == '\0') {
        fputs("No file.\n", stderr);
        return false;
    }
    FILE* file = fopen(path, "re");
    if (file == nullptr) {
        fputs("Couldn't open playlist\n", stderr);
        return false;
    }
    const char* lastSlash = strrchr(path, '/');
    std::string prefix(path, lastSlash == nullptr ? 0 : static_cast<size_t>(lastSlash - path + 1));
    readEntries(file, prefix);
    if (stopCurrent)
        sendStop(controller.player);
    (void)fclose(file);
    return true;
}
