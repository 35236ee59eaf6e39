// Makes the library's n-th allocation fail. Test programs are linked so that the library's calls of
// malloc() come here first.
#pragma once

#include <cstddef>

namespace tonelink::test {

/// While it lives, the allocation with this index (0: the next one) fails, once.
class failing_allocation {
public:
    explicit failing_allocation(std::size_t index);
    failing_allocation(const failing_allocation &) = delete;
    failing_allocation &operator=(const failing_allocation &) = delete;
    ~failing_allocation();

    /// Whether the allocation that was to fail has been asked for.
    bool happened() const;
};

} // namespace tonelink::test
