// Where a file has its name: a folder that is open, and a name in it. Whatever becomes of the path
// that led there, such an entry stays in its folder, and using it follows no symbolic link.
#pragma once

#include <optional>
#include <string>

#include <sys/stat.h>

#include "file_descriptor.h"

namespace tonelink::tool {

struct folder_entry {
    file_descriptor folder; ///< good for the calls that take a folder's descriptor, not for reading
    std::string name;
};

/// The folder that a path names and the name behind it; none, with the reason in errno, when there
/// is no such folder. The name may be a symbolic link's, or nobody's.
std::optional<folder_entry> entry_at(const std::string &path);

/// The entry of an open file that `path` led to, through symbolic links that the kernel followed,
/// as it tells. None where the file has lost its name, or the kernel does not tell.
std::optional<folder_entry> entry_of(int descriptor, const std::string &path);

/// The name of an open file in /proc, by which it can be opened anew or get another name.
std::string name_in_proc(int descriptor);

} // namespace tonelink::tool
