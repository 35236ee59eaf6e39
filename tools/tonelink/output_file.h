// A file that appears complete or not at all: it has no name until it is complete, so that nothing
// is left of it however the program ends. A file that is there is replaced by it if nobody could
// tell the difference; otherwise, like a device or standard output, it is written in one go once
// all is there, after the room for that was taken and while signals wait.
#pragma once

#include <optional>
#include <string>

#include "folder_entry.h"
#include "temporary_name.h"

namespace tonelink::tool {

class output_file {
public:
    /// @param path  "-" is standard output; a symbolic link is followed, by the kernel alone and by
    ///              its rules. Throws failure when the file cannot be made there,
    ///              and wrong_usage for a terminal.
    explicit output_file(const std::string &path);
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    /// What messages call it.
    const std::string &name() const { return name_; }

    /// Open for reading, writing and seeking, empty at first. Stays this object's.
    int descriptor() const { return content_.get(); }

    /// Puts what was written in its place. A file that is there keeps its permissions, but for
    /// set-id bits, and its owner, group, access list and other links. Throws failure when that
    /// cannot be done.
    void commit();

private:
    void look_at_place();
    void open_content(mode_t mode);
    bool put_into_folder();
    bool take_free_name();
    bool replace(int replaced);
    void copy_to_place();

    std::string name_;
    std::string path_;                  ///< as given; "-" is standard output
    std::optional<folder_entry> entry_; ///< of what is there, or will be, if that is a file
    file_descriptor content_;
    std::optional<temporary_name> temporary_; ///< where the file system makes none without a name
};

} // namespace tonelink::tool
