#include "plot/kept_sound.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_io.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

/// Where a descriptor's file can be opened anew, to be read from its start.
std::string path_of(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

bool is_pipe(const std::string &path)
{
    struct stat there {};
    return stat(path.c_str(), &there) == 0 && (S_ISFIFO(there.st_mode) || S_ISSOCK(there.st_mode));
}

bool is_folder(int descriptor)
{
    struct stat there {};
    return fstat(descriptor, &there) == 0 && S_ISDIR(there.st_mode);
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
    if (is_input && isatty(STDIN_FILENO))
        throw file_failure{
            "cannot read standard input: it is a terminal; a sound file or a pipe is "
            "right"};
    if (is_input && is_folder(STDIN_FILENO))
        throw file_failure{"cannot read standard input: it is a folder"};
    const int pipe = is_input ? STDIN_FILENO : open(source_.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (pipe < 0) throw file_failure{"cannot read " + source_.name + ": " + std::strerror(errno)};
    copy_.reset(std::tmpfile());
    if (!copy_ || !copy_rest(pipe, fileno(copy_.get())))
        throw file_failure{"cannot keep " + source_.name + " in a file: " + std::strerror(errno)};
    if (!is_input) close(pipe);
    source_.path = path_of(fileno(copy_.get()));
}

} // namespace tonelink::tool
