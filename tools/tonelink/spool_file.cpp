#include "spool_file.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "descriptor_io.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

file_failure cannot_keep(const std::string &name)
{
    return file_failure{"cannot keep " + name + " in a file: " + std::strerror(errno)};
}

} // namespace

spool_file::spool_file(std::string name, int64_t most)
    : name_{std::move(name)}, left_{most}, file_{std::tmpfile()}
{
    if (!file_) throw cannot_keep(name_);
}

void spool_file::put(std::span<const char> bytes)
{
    left_ -= std::ssize(bytes);
    if (left_ < 0)
        throw file_failure{"cannot read " + name_ +
                           ": it has to be read to its end first, and goes on beyond 1 GiB; a file "
                           "is right"};
    if (!write_all(fileno(file_.get()), bytes.data(), bytes.size())) throw cannot_keep(name_);
}

file_descriptor spool_file::rewound()
{
    file_descriptor same{fcntl(fileno(file_.get()), F_DUPFD_CLOEXEC, 0)};
    if (!same.is_open() || lseek(same.get(), 0, SEEK_SET) != 0) throw cannot_keep(name_);
    return same;
}

} // namespace tonelink::tool
