// Memory and text: the wrappers through which all of the library's containers get, copy and give
// back their storage, and a few string functions beside them. No state, no log.

#include "tonelink/toolkit.h"

#include <cstdlib>
#include <cstring>

void *ac_allocate_memory(uint32_t size) { return std::malloc(size); }

void ac_free_memory(void *memory) { std::free(memory); }

void ac_zero_memory(void *memory, uint32_t length) { std::memset(memory, 0, length); }

void ac_copy_memory(void *destination, const void *source, uint32_t length)
{
    std::memcpy(destination, source, length);
}

int32_t ac_compare_memory(const void *first, const void *second, uint32_t length)
{
    return std::memcmp(first, second, length);
}

uint32_t ac_strlen(const char *text) { return static_cast<uint32_t>(std::strlen(text)); }

int32_t ac_strcpy(char *destination, const char *source)
{
    // The terminator that stands behind these characters stays where it is.
    std::strncpy(destination, source, std::strlen(destination));
    return 1;
}

char *ac_strstr(const char *text, const char *pattern)
{
    return const_cast<char *>(std::strstr(text, pattern));
}
