// What the C++ library does when something cannot be: it stops. Its own forms of these print a line
// first, for which a module would have to import the system's files.
#include <__verbose_abort>
#include <cstddef>
#include <cstdlib>
#include <new>

void std::__libcpp_verbose_abort(const char *, ...) { __builtin_trap(); }

void *operator new(std::size_t size)
{
    void *const memory = std::malloc(size);
    if (memory == nullptr) __builtin_trap();
    return memory;
}

void operator delete(void *memory) noexcept { std::free(memory); }

void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
