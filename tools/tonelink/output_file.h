// A file that appears complete or not at all: it is written under a temporary name beside its place
// and takes its own name when it is complete. What cannot be replaced, standard output or a device,
// is collected in memory and written in one go.
#pragma once

#include <string>

namespace tonelink::tool {

class output_file {
public:
    /// @param path  "-" is standard output. Throws failure when the file cannot be made.
    explicit output_file(const std::string &path);
    /// Removes what was not committed.
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    /// What messages call it.
    const std::string &name() const { return name_; }

    /// Open for reading, writing and seeking, empty at first. Stays this object's.
    int descriptor() const { return descriptor_; }

    /// Puts what was written in its place. Throws failure when that cannot be done.
    void commit();

private:
    void open_beside();
    void copy_to_place();
    void rename_into_place();

    std::string name_;
    std::string path_;      // where the content goes, symbolic links followed; "-" as given
    std::string temporary_; // the name beside it, empty when the content is kept in memory
    int descriptor_ = -1;
};

/// Throws wrong_usage when `path` is "-" and standard output a terminal, which shows no samples.
void refuse_terminal(const std::string &path);

} // namespace tonelink::tool
