#include "output_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "descriptor_io.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

file_failure cannot_write(const std::string &name, int reason)
{
    return file_failure{"cannot write " + name + ": " + std::strerror(reason)};
}

bool is_standard_output(const std::string &path) { return path == "-" || path == "/dev/stdout"; }

/// Whether a character device is a terminal, whatever its name.
bool is_terminal(const std::string &path)
{
    const int device = open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const bool is_one = isatty(device) != 0;
    if (device >= 0) close(device);
    return is_one;
}

bool is_link(const std::string &path)
{
    std::error_code error;
    return std::filesystem::is_symlink(path, error);
}

/// The place that a path leads to through symbolic links, also when nothing is there yet: a link
/// again only where they lead nowhere.
std::string followed(std::string path)
{
    constexpr int kMostLinks = 40; // as the system has it
    for (int i = 0; i < kMostLinks && is_link(path); ++i) {
        std::error_code error;
        const auto target = std::filesystem::read_symlink(path, error);
        path = (std::filesystem::path{path}.parent_path() / target).string();
    }
    return path;
}

bool is_same_file(const struct stat &one, const std::string &path)
{
    struct stat other {};
    return stat(path.c_str(), &other) == 0 && other.st_dev == one.st_dev &&
           other.st_ino == one.st_ino;
}

std::string linked_name(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

/// Makes a new file take the place of another as who owns it and who may use it see it. Returns
/// whether it could.
bool become_like(int descriptor, const struct stat &replaced, const std::string &path)
{
    struct stat made {};
    if (replaced.st_nlink > 1 || fstat(descriptor, &made) != 0) return false;
    if (getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0) return false;
    const bool is_theirs = made.st_uid != replaced.st_uid || made.st_gid != replaced.st_gid;
    if (is_theirs && fchown(descriptor, replaced.st_uid, replaced.st_gid) != 0) return false;
    // Some file systems keep no permissions.
    return fchmod(descriptor, replaced.st_mode & 07777) == 0 || errno == EPERM;
}

/// Takes the room that new content needs before the old is written over.
bool make_room(int descriptor, off_t size)
{
    struct stat there {};
    if (fstat(descriptor, &there) != 0) return false;
    const int refused = posix_fallocate(descriptor, 0, size);
    if (refused != ENOSPC && refused != EFBIG && refused != EDQUOT) return true;
    if (ftruncate(descriptor, there.st_size) == 0) errno = refused;
    return false;
}

} // namespace

output_file::output_file(const std::string &path)
    : name_{is_standard_output(path) ? "standard output" : path}, path_{is_standard_output(path)
                                                                            ? "-"
                                                                            : path}
{
    struct stat there {};
    const bool exists = path_ != "-" && stat(path.c_str(), &there) == 0;
    if (exists && S_ISDIR(there.st_mode))
        throw file_failure{"cannot write " + path + ": it is a folder"};
    if (exists && faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        throw cannot_write(name_, errno);
    if (path_ == "-" ? isatty(STDOUT_FILENO) != 0
                     : exists && S_ISCHR(there.st_mode) && is_terminal(path))
        throw wrong_usage{name_ +
                          " is a terminal, which shows no bytes; a file or a pipe is right"};

    const std::string place = followed(path);
    if (!exists && is_link(place)) throw cannot_write(name_, ELOOP);
    // What a link of /proc leads to may have no name, or another one.
    const bool can_be_replaced = S_ISREG(there.st_mode) && is_same_file(there, place);
    if (path_ != "-" && (!exists || can_be_replaced)) {
        path_ = place;
        open_beside(exists ? &there : nullptr);
    }
    if (descriptor_ < 0 && (path_ == "-" || exists))
        descriptor_ = memfd_create("tonelink", MFD_CLOEXEC);
    if (descriptor_ < 0) throw cannot_write(name_, errno);
}

std::string output_file::folder() const
{
    const auto parent = std::filesystem::path{path_}.parent_path();
    return parent.empty() ? "." : parent.string();
}

/// Opens a file that can take the place of `replaced`, or be new where that is null: without a name
/// if possible. The descriptor stays -1 where the folder takes none.
void output_file::open_beside(const struct stat *replaced)
{
    const mode_t mode = replaced ? replaced->st_mode & 0777 : 0666;
    descriptor_ = open(folder().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    if (descriptor_ >= 0 && access(linked_name(descriptor_).c_str(), F_OK) != 0)
        close(std::exchange(descriptor_, -1)); // without /proc it could get no name
    if (descriptor_ < 0) open_named(mode);
    is_copied_ = descriptor_ < 0 || (replaced && !become_like(descriptor_, *replaced, path_));
    if (is_copied_) temporary_.reset();
}

void output_file::open_named(mode_t mode)
{
    temporary_.emplace(folder(), [this, mode](const char *name) {
        descriptor_ = open(name, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode);
        return descriptor_ >= 0;
    });
    const int reason = errno;
    if (!temporary_->is_made()) temporary_.reset();
    errno = reason;
}

output_file::~output_file()
{
    if (descriptor_ >= 0) close(descriptor_);
}

void output_file::commit()
{
    if (is_copied_)
        copy_to_place();
    else if (temporary_)
        rename_into_place();
    else
        link_into_place();
}

void output_file::copy_to_place()
{
    const bool is_output = path_ == "-";
    const int place = is_output ? STDOUT_FILENO : open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    struct stat there {};
    if (place < 0) throw cannot_write(name_, errno);
    const bool is_rewritten = !is_output && fstat(place, &there) == 0 && S_ISREG(there.st_mode);
    const off_t size = lseek(descriptor_, 0, SEEK_END);
    const bool written = (!is_rewritten || make_room(place, size)) &&
                         lseek(descriptor_, 0, SEEK_SET) == 0 && copy_rest(descriptor_, place) &&
                         (!is_rewritten || ftruncate(place, size) == 0);
    int reason = written ? 0 : errno;
    // A device may refuse what it took only here.
    if (!is_output && close(place) != 0 && reason == 0) reason = errno;
    if (reason != 0) throw cannot_write(name_, reason);
}

void output_file::link_into_place()
{
    const std::string made = linked_name(descriptor_);
    const auto link_to = [&made](const char *name) {
        return linkat(AT_FDCWD, made.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    };
    if (link_to(path_.c_str())) return;
    if (errno != EEXIST) throw cannot_write(name_, errno);
    // A link replaces nothing; a name does.
    temporary_name beside{folder(), link_to};
    if (!beside.is_made() || !beside.move_to(path_)) throw cannot_write(name_, errno);
}

void output_file::rename_into_place()
{
    // Some file systems report a full disk only at the end.
    if (close(std::exchange(descriptor_, -1)) != 0 || !temporary_->move_to(path_))
        throw cannot_write(name_, errno);
    temporary_.reset();
}

} // namespace tonelink::tool
