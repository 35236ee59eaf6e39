// A folder of a test's own, gone with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tonelink::test {

class scratch_folder {
public:
    scratch_folder() {} // not defaulted: there are const folders
    scratch_folder(const scratch_folder &) = delete;
    ~scratch_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string file(const std::string &name) const { return path_ + '/' + name; }

    /// Writes a text into a file of the folder and returns its path.
    std::string write(const std::string &name, const std::string &text) const
    {
        std::ofstream{file(name)} << text;
        return file(name);
    }

private:
    // Throws when there is no temporary folder: no text can be made of a null pointer.
    const std::string path_ =
        mkdtemp((std::filesystem::temp_directory_path() / "tonelink-XXXXXX").string().data());
};

/// The bytes of a file; none when it is not there.
inline std::string bytes_of(const std::string &path)
{
    std::ifstream stream{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{stream}, {}};
}

} // namespace tonelink::test
