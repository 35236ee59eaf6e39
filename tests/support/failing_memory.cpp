#include "support/failing_memory.h"

#include <atomic>
#include <cstdint>

namespace {

// Allocations left before the one that fails; negative: none will.
std::atomic<std::int64_t> left_before_failure{-1};

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__wrap_malloc(std::size_t size);

void *__wrap_malloc(std::size_t size)
{
    if (left_before_failure.load() >= 0 && left_before_failure.fetch_sub(1) == 0) return nullptr;
    return __real_malloc(size);
}
}

namespace tonelink::test {

failing_allocation::failing_allocation(std::size_t index)
{
    left_before_failure = static_cast<std::int64_t>(index);
}

failing_allocation::~failing_allocation() { left_before_failure = -1; }

bool failing_allocation::happened() const { return left_before_failure.load() < 0; }

} // namespace tonelink::test
