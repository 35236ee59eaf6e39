#include "descriptor_io.h"

#include <array>
#include <cerrno>

#include <unistd.h>

namespace tonelink::tool {

bool write_all(int descriptor, const void *data, std::size_t size)
{
    const char *left = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t written = write(descriptor, left, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        left += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool copy_rest(int from, int to)
{
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t size = read(from, block.data(), block.size());
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return size == 0;
        if (!write_all(to, block.data(), static_cast<std::size_t>(size))) return false;
    }
}

} // namespace tonelink::tool
