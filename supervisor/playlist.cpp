// Playlist file reading, in the reader child: line rules and path check.
#include "supervisor/playlist.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Enough for acceptLine to tell that a line is too long, carriage return removed.
constexpr size_t MaxLineKept = MaxPlaylistLine + 2;

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
    if (line.size() > MaxPlaylistLine || line.find('\0') != std::string::npos)
        return false;
    std::replace(line.begin(), line.end(), '\\', '/');
    return isSafeRelativePath(line);
}

// Reads a playlist in fixed chunks and never more than MaxPlaylistBytes of it, so that no
// file, whatever its size or kind, holds up the loop or grows the service.
struct PlaylistReader {
    int fd;
    size_t total = 0;
    size_t start = 0;
    size_t end = 0;
    char chunk[4096] = {};
};

// The next line without its line feed, cut after MaxLineKept bytes (still too long to be
// accepted). False at the end of the file, after a read error and once the budget is spent;
// a line cut off by the budget is dropped.
static bool nextLine(PlaylistReader& reader, std::string& line) {
    line.clear();
    for (;;) {
        if (reader.start == reader.end) {
            size_t room = std::min(MaxPlaylistBytes - reader.total, sizeof reader.chunk);
            ssize_t got = room > 0 ? read(reader.fd, reader.chunk, room) : -1;
            if (got <= 0)
                return got == 0 && !line.empty();
            reader.total += static_cast<size_t>(got);
            reader.start = 0;
            reader.end = static_cast<size_t>(got);
        }
        const char* from = reader.chunk + reader.start;
        const void* feed = memchr(from, '\n', reader.end - reader.start);
        size_t length = feed ? static_cast<size_t>(static_cast<const char*>(feed) - from)
                             : reader.end - reader.start;
        line.append(from, std::min(length, MaxLineKept - line.size()));
        reader.start = feed ? reader.start + length + 1 : reader.end;
        if (feed)
            return true;
    }
}

static void writeAll(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t wrote = write(fd, text.data() + done, text.size() - done);
        if (wrote <= 0)
            return;
        done += static_cast<size_t>(wrote);
    }
}

void writePlaylistEntries(const char* path, int fd) {
    // Only a regular file: a FIFO or a device could feed the reader without end.
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (file < 0 || fstat(file, &info) != 0 || !S_ISREG(info.st_mode))
        return;
    PlaylistReader reader{file};
    std::string line, entries;
    unsigned count = 0;
    while (count < MaxPlaylistEntries && nextLine(reader, line)) {
        if (!acceptLine(line))
            continue;
        entries += line + '\n';
        ++count;
    }
    writeAll(fd, entries + PlaylistReadEnd);
}
