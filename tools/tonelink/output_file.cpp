#include "output_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

failure cannot_write(const std::string &name, int reason)
{
    return failure{"cannot write " + name + ": " + std::strerror(reason)};
}

/// The place that a path leads to, through symbolic links, also when nothing is there yet.
std::string followed(const std::string &path)
{
    std::error_code error;
    const auto place = std::filesystem::weakly_canonical(path, error);
    return error ? path : place.string();
}

/// The permissions for `path`: those that it has, or those that the user gives new files.
mode_t wanted_mode(const std::string &path)
{
    struct stat there {};
    if (stat(path.c_str(), &there) == 0) return there.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool write_all(int descriptor, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(descriptor, data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace

output_file::output_file(const std::string &path)
    : name_{path == "-" ? "standard output" : path}, path_{path == "-" ? path : followed(path)}
{
    struct stat there {};
    const bool exists = path_ != "-" && stat(path_.c_str(), &there) == 0;
    if (exists && S_ISDIR(there.st_mode))
        throw failure{"cannot write " + path + ": it is a folder"};
    if (path_ == "-" || (exists && !S_ISREG(there.st_mode)))
        descriptor_ = memfd_create("tonelink", MFD_CLOEXEC);
    else
        open_beside();
    if (descriptor_ < 0) throw cannot_write(name_, errno);
}

void output_file::open_beside()
{
    std::string name = (std::filesystem::path{path_}.parent_path() / ".tonelink.XXXXXX").string();
    descriptor_ = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ >= 0) temporary_ = name;
}

output_file::~output_file()
{
    if (descriptor_ >= 0) close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void output_file::commit()
{
    if (temporary_.empty())
        copy_to_place();
    else
        rename_into_place();
}

void output_file::copy_to_place()
{
    const int place = path_ == "-" ? STDOUT_FILENO : open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    bool written = place >= 0 && lseek(descriptor_, 0, SEEK_SET) == 0;
    std::array<char, 65536> block;
    for (ssize_t size = 1; written && size > 0;) {
        size = read(descriptor_, block.data(), block.size());
        written = size >= 0 && write_all(place, block.data(), static_cast<std::size_t>(size));
    }
    int reason = written ? 0 : errno;
    // A device may refuse what it took only here.
    if (place >= 0 && place != STDOUT_FILENO && close(place) != 0) reason = errno;
    if (reason != 0) throw cannot_write(name_, reason);
}

void output_file::rename_into_place()
{
    const int descriptor = std::exchange(descriptor_, -1);
    // Where a file system keeps no permissions, the temporary file's stay.
    fchmod(descriptor, wanted_mode(path_));
    // Some file systems report a full disk only at the end.
    if (close(descriptor) != 0 || std::rename(temporary_.c_str(), path_.c_str()) != 0)
        throw cannot_write(name_, errno);
    temporary_.clear();
}

void refuse_terminal(const std::string &path)
{
    if (path == "-" && isatty(STDOUT_FILENO))
        throw wrong_usage{"-o - would fill the terminal with bytes; a file or a pipe is right"};
}

} // namespace tonelink::tool
