#include "folder_entry.h"

#include <filesystem>

#include <fcntl.h>

namespace tonelink::tool {
namespace {

bool is_entry_of(const folder_entry &entry, const struct stat &file)
{
    struct stat there {};
    return fstatat(entry.folder.get(), entry.name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0 &&
           there.st_dev == file.st_dev && there.st_ino == file.st_ino;
}

} // namespace

std::optional<folder_entry> entry_at(const std::string &path)
{
    const std::filesystem::path whole{path};
    const std::string parent = whole.has_parent_path() ? whole.parent_path().string() : ".";
    file_descriptor folder{open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    if (!folder.is_open()) return std::nullopt;
    return folder_entry{std::move(folder), whole.filename().string()};
}

std::optional<folder_entry> entry_of(int descriptor, const std::string &path)
{
    struct stat file {};
    if (fstat(descriptor, &file) != 0) return std::nullopt;
    std::error_code untold;
    const std::string told = std::filesystem::read_symlink(name_in_proc(descriptor), untold);
    for (const std::string &candidate : {path, told}) {
        auto entry = entry_at(candidate);
        if (entry && is_entry_of(*entry, file)) return entry;
    }
    return std::nullopt;
}

std::string name_in_proc(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

} // namespace tonelink::tool
