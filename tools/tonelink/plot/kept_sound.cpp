#include "plot/kept_sound.h"

#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace tonelink::tool {
namespace {

/// Where a descriptor's file can be opened anew, to be read from its start.
std::string path_of(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

bool is_pipe(const std::string &path)
{
    struct stat there {};
    return stat(path.c_str(), &there) == 0 && (S_ISFIFO(there.st_mode) || S_ISSOCK(there.st_mode));
}

/// Whether standard input is a file that can be opened anew, and has not been read yet.
bool can_be_read_anew()
{
    struct stat there {};
    return fstat(STDIN_FILENO, &there) == 0 && S_ISREG(there.st_mode) &&
           lseek(STDIN_FILENO, 0, SEEK_CUR) == 0 &&
           access(path_of(STDIN_FILENO).c_str(), R_OK) == 0;
}

} // namespace

kept_sound::kept_sound(sound_source source) : source_{std::move(source)}
{
    const bool is_input = source_.path == "-";
    if (!is_input && !is_pipe(source_.path)) return;
    source_.name = name_of(source_);
    if (is_input && can_be_read_anew()) {
        source_.path = path_of(STDIN_FILENO);
        return;
    }
    copy_.emplace(copy_sound(source_));
    source_.path = path_of(copy_->get());
}

} // namespace tonelink::tool
