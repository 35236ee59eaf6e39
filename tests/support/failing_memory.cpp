#include "support/failing_memory.h"

extern "C" {
void *__real_malloc(std::size_t size);
void *__wrap_malloc(std::size_t size);

void *__wrap_malloc(std::size_t size)
{
    auto &left = tonelink::test::allocations_left;
    return left >= 0 && left-- == 0 ? nullptr : __real_malloc(size);
}
}
