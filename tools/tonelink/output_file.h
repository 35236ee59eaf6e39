// A file that appears complete or not at all: it has no name until it is complete, so that nothing
// is left of it however the program ends. What must not be replaced, such as standard output, a
// device or a file with other links, is collected first and written in one go.
#pragma once

#include <optional>
#include <string>

#include <sys/stat.h>

#include "temporary_name.h"

namespace tonelink::tool {

class output_file {
public:
    /// @param path  "-" is standard output; a symbolic link is followed. Throws failure when the
    ///              file cannot be made there, and wrong_usage for a terminal.
    explicit output_file(const std::string &path);
    /// Removes what was not committed.
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    /// What messages call it.
    const std::string &name() const { return name_; }

    /// Open for reading, writing and seeking, empty at first. Stays this object's.
    int descriptor() const { return descriptor_; }

    /// Puts what was written in its place; a file that is there keeps its permissions and owner.
    /// Throws failure when that cannot be done.
    void commit();

private:
    void open_beside(const struct stat *replaced);
    void open_named(mode_t mode);
    void copy_to_place();
    void link_into_place();
    void rename_into_place();
    std::string folder() const;

    std::string name_;
    std::string path_;      ///< where the content goes, symbolic links followed; "-" as given
    bool is_copied_ = true; ///< into its place at the end, rather than put there as the file it is
    std::optional<temporary_name> temporary_; ///< where the file system makes none without a name
    int descriptor_ = -1;
};

} // namespace tonelink::tool
