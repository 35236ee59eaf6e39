// Files: thin wrappers over the standard streams, with the stream always first. Only ac_fopen() has
// rules of its own. Nothing inside the library opens a file.

#include "tonelink/toolkit.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

enum open_mode : int32_t { read_only = 0, write_new = 1, read_and_append = 2 };

/// The path behind `path` opened for writing from its start, or null where it is a symbolic link.
FILE *open_without_following(const char *path)
{
    constexpr const char *kLinkDetected = "Symbolic link is detected";
    struct stat status;
    if (lstat(path, &status) == 0) {
        if (S_ISLNK(status.st_mode)) {
            std::puts(kLinkDetected);
            return nullptr;
        }
    } else if (errno != ENOENT) {
        std::puts("lstat failed");
        return nullptr;
    }
    // A link that somebody puts there just now is not followed either.
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0666);
    if (file < 0) {
        if (errno == ELOOP) std::puts(kLinkDetected);
        return nullptr;
    }
    FILE *const stream = fdopen(file, "wb");
    if (!stream) close(file);
    return stream;
}

} // namespace

FILE *ac_fopen(const char *directory, const char *name, int32_t mode)
{
    if (!name) return nullptr;
    std::array<char, 255> path;
    std::snprintf(path.data(), path.size(), "%.254s%.254s", directory ? directory : "", name);
    switch (mode) {
    case read_only: return std::fopen(path.data(), "rb");
    case write_new: return open_without_following(path.data());
    case read_and_append: return std::fopen(path.data(), "ab+");
    default: return nullptr;
    }
}

uint32_t ac_fread(FILE *stream, void *buffer, uint32_t count)
{
    return static_cast<uint32_t>(std::fread(buffer, 1, count, stream));
}

uint32_t ac_fwrite(FILE *stream, const void *buffer, uint32_t count)
{
    return static_cast<uint32_t>(std::fwrite(buffer, 1, count, stream));
}

int32_t ac_fseek(FILE *stream, int32_t offset, int32_t origin)
{
    return std::fseek(stream, offset, origin);
}

int32_t ac_ftell(FILE *stream)
{
    const off_t position = ftello(stream);
    return std::in_range<int32_t>(position) ? static_cast<int32_t>(position) : -1;
}

int32_t ac_feof(FILE *stream) { return std::feof(stream); }

int32_t ac_fclose(FILE *stream) { return std::fclose(stream); }

int32_t ac_remove(const char *path) { return path ? std::remove(path) : -1; }

int32_t ac_get_file_size(FILE *stream)
{
    std::fseek(stream, 0, SEEK_END);
    std::fflush(stream);
    const int32_t size = ac_ftell(stream);
    std::fseek(stream, 0, SEEK_SET);
    std::fflush(stream);
    return size;
}
