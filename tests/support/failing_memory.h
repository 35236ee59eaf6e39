// Makes the library's n-th allocation fail. Test programs are linked so that the library's calls of
// malloc() come here first.
#pragma once

#include <atomic>
#include <cstddef>

namespace tonelink::test {

/// Before the one that fails; below 0: none will.
inline std::atomic<std::ptrdiff_t> allocations_left = -1;

/// While it lives, the allocation with this index (0: the next one) fails, once.
class failing_allocation {
public:
    explicit failing_allocation(std::size_t index)
    {
        allocations_left = static_cast<std::ptrdiff_t>(index);
    }
    failing_allocation(const failing_allocation &) = delete;
    failing_allocation &operator=(const failing_allocation &) = delete;
    ~failing_allocation() { allocations_left = -1; }

    /// Whether the allocation that was to fail has been asked for.
    bool happened() const { return allocations_left < 0; }
};

} // namespace tonelink::test
