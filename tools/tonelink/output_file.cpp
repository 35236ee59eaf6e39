#include "output_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "descriptor_io.h"
#include "errors.h"
#include "held_signals.h"

namespace tonelink::tool {
namespace {

constexpr mode_t kNewFile = 0666; // less the umask
constexpr mode_t kSetId = S_ISUID | S_ISGID;

file_failure cannot_write(const std::string &name, int reason)
{
    return file_failure{"cannot write " + name + ": " + std::strerror(reason)};
}

bool is_standard_output(const std::string &path) { return path == "-" || path == "/dev/stdout"; }

/// Opens for writing what is there, without waiting for the reader of a pipe.
file_descriptor open_there(const char *path)
{
    return file_descriptor{open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
}

/// Whether a character device is a terminal, whatever its name.
bool is_terminal(const std::string &path) { return isatty(open_there(path.c_str()).get()) != 0; }

wrong_usage refused_terminal(const std::string &name)
{
    return wrong_usage{name + " is a terminal, which shows no bytes; a file or a pipe is right"};
}

/// Makes new content look, to who owns it and who may use it, like the file that it is to replace.
/// Returns whether it could: another owner's file is never replaced, nor one with other links.
bool become_like(int content, int replaced)
{
    struct stat there {
    }, made{};
    if (fstat(replaced, &there) != 0 || fstat(content, &made) != 0) return false;
    if (!S_ISREG(there.st_mode) || there.st_nlink != 1 || there.st_uid != made.st_uid) return false;
    if (fgetxattr(replaced, "system.posix_acl_access", nullptr, 0) > 0) return false;
    constexpr auto kSameOwner = static_cast<uid_t>(-1);
    if (there.st_gid != made.st_gid && fchown(content, kSameOwner, there.st_gid) != 0) return false;
    // Some file systems keep no permissions.
    return fchmod(content, there.st_mode & 07777 & ~kSetId) == 0 || errno == EPERM;
}

/// Takes the room that new content needs before the old is written over.
bool make_room(int descriptor, off_t before, off_t size)
{
    const int refused = posix_fallocate(descriptor, 0, size);
    if (refused != ENOSPC && refused != EFBIG && refused != EDQUOT) return true;
    if (ftruncate(descriptor, before) == 0) errno = refused;
    return false;
}

bool copy_all(int content, int place)
{
    return lseek(content, 0, SEEK_SET) == 0 && copy_rest(content, place);
}

/// Writes over a file of a disk.
bool rewrite(int content, int place, const struct stat &there)
{
    const held_signals until_it_is_whole;
    const off_t size = lseek(content, 0, SEEK_END);
    if (size < 0 || !make_room(place, there.st_size, size) || !copy_all(content, place))
        return false;
    if ((there.st_mode & kSetId) != 0) fchmod(place, there.st_mode & 07777 & ~kSetId);
    return ftruncate(place, size) == 0;
}

/// Makes the file that a symbolic link leads to where there is none yet.
bool write_new(int content, const std::string &path)
{
    const held_signals until_it_is_whole;
    const file_descriptor made{
        open(path.c_str(), O_WRONLY | O_CREAT | O_NOCTTY | O_CLOEXEC, kNewFile)};
    struct stat there {};
    if (!made.is_open() || fstat(made.get(), &there) != 0) return false;
    if (rewrite(content, made.get(), there)) return true;
    const int reason = errno;
    const auto entry = entry_of(made.get(), path);
    if (entry && there.st_size == 0) unlinkat(entry->folder.get(), entry->name.c_str(), 0);
    errno = reason;
    return false;
}

} // namespace

output_file::output_file(const std::string &path)
    : name_{is_standard_output(path) ? "standard output" : path}, path_{is_standard_output(path)
                                                                            ? "-"
                                                                            : path}
{
    if (path_ != "-")
        look_at_place();
    else if (isatty(STDOUT_FILENO) != 0)
        throw refused_terminal(name_);
    if (!content_.is_open()) content_ = file_descriptor{memfd_create("tonelink", MFD_CLOEXEC)};
    if (!content_.is_open()) throw cannot_write(name_, errno);
}

/// Throws failure where nothing can be written, before any work is done for it.
void output_file::look_at_place()
{
    struct stat there {};
    const bool exists = stat(path_.c_str(), &there) == 0;
    if (!exists && errno != ENOENT) throw cannot_write(name_, errno);
    if (exists && S_ISDIR(there.st_mode))
        throw file_failure{"cannot write " + path_ + ": it is a folder"};
    if (!exists) {
        entry_ = entry_at(path_);
        if (!entry_) throw cannot_write(name_, errno);
        open_content(kNewFile);
        struct stat link {};
        const char *const name = entry_->name.c_str();
        const bool is_link = fstatat(entry_->folder.get(), name, &link, AT_SYMLINK_NOFOLLOW) == 0;
        // Where it leads to the kernel tells when a file is made there.
        if (!content_.is_open() && !is_link) throw cannot_write(name_, errno);
    } else if (S_ISREG(there.st_mode)) {
        const file_descriptor file = open_there(path_.c_str());
        if (!file.is_open()) throw cannot_write(name_, errno);
        entry_ = entry_of(file.get(), path_);
        if (entry_) open_content(there.st_mode & 0777);
    } else if (faccessat(AT_FDCWD, path_.c_str(), W_OK, AT_EACCESS) != 0) {
        throw cannot_write(name_, errno);
    } else if (S_ISCHR(there.st_mode) && is_terminal(path_)) {
        throw refused_terminal(name_);
    }
}

/// Opens a file that can get the name of the entry: without one until then, if possible. It stays
/// closed, with the reason in errno, where the folder takes none.
void output_file::open_content(mode_t mode)
{
    const int folder = entry_->folder.get();
    content_ = file_descriptor{openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode)};
    if (content_.is_open() && access(name_in_proc(content_.get()).c_str(), F_OK) == 0) return;
    // Without /proc it could get no name.
    temporary_.emplace(folder, [&](const char *name) {
        content_ =
            file_descriptor{openat(folder, name, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode)};
        return content_.is_open();
    });
    const int reason = errno;
    if (!temporary_->is_made()) temporary_.reset();
    errno = reason;
}

void output_file::commit()
{
    // Some file systems report a full disk only when a file is closed.
    if (const int twin = fcntl(content_.get(), F_DUPFD_CLOEXEC, 0); twin >= 0 && close(twin) != 0)
        throw cannot_write(name_, errno);
    if (!put_into_folder()) copy_to_place();
}

/// Gives the content the name, as things are there now. Returns whether it could.
bool output_file::put_into_folder()
{
    if (!entry_) return false;
    constexpr int kMostLooks = 100;
    for (int look = 0; look < kMostLooks; ++look) {
        const file_descriptor replaced{
            openat(entry_->folder.get(), entry_->name.c_str(),
                   O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
        if (replaced.is_open()) return replace(replaced.get());
        if (errno != ENOENT) return false; // a symbolic link, say
        if (take_free_name()) return true;
        if (errno != EEXIST) return false;
    }
    return false;
}

/// @return false, with the reason in errno, when the name cannot be had; EEXIST: it is taken now
bool output_file::take_free_name()
{
    if (temporary_) return temporary_->move_beside(entry_->name);
    return linkat(AT_FDCWD, name_in_proc(content_.get()).c_str(), entry_->folder.get(),
                  entry_->name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool output_file::replace(int replaced)
{
    if (!become_like(content_.get(), replaced)) return false;
    if (temporary_) return temporary_->move_over(entry_->name);
    // A link replaces nothing; a name does.
    const int folder = entry_->folder.get();
    temporary_name beside{folder, [&](const char *name) {
                              return linkat(AT_FDCWD, name_in_proc(content_.get()).c_str(), folder,
                                            name, AT_SYMLINK_FOLLOW) == 0;
                          }};
    return beside.is_made() && beside.move_over(entry_->name);
}

/// Writes into what is there, or into what a symbolic link leads to.
void output_file::copy_to_place()
{
    bool is_written = false;
    if (path_ == "-") {
        is_written = copy_all(content_.get(), STDOUT_FILENO);
    } else {
        file_descriptor place{open(path_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC)};
        struct stat there {};
        if (!place.is_open())
            is_written = errno == ENOENT && write_new(content_.get(), path_);
        else if (fstat(place.get(), &there) == 0 && S_ISREG(there.st_mode))
            is_written = rewrite(content_.get(), place.get(), there);
        else
            is_written = copy_all(content_.get(), place.get());
        // A device may refuse what it took only here.
        if (place.is_open() && close(place.release()) != 0) is_written = false;
    }
    if (!is_written) throw cannot_write(name_, errno);
}

} // namespace tonelink::tool
