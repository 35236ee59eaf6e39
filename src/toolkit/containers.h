// What the vector and matrix families share: arrays of elements, obtained, copied and given back
// through the memory wrappers alone, and the length of a vector.
#pragma once

#include "tonelink/toolkit.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

namespace tonelink {

/// The element type of a vector or matrix record.
template <class Container>
using element_of = std::remove_pointer_t<decltype(std::declval<Container>().data)>;

/// An array of `count` elements, at least 1, not initialised. Null when there is no memory, which
/// includes more elements than an int32 counts or more bytes than the allocator can be asked for.
template <class T> T *allocate_elements(int64_t count)
{
    constexpr auto kMaxCount =
        std::min<int64_t>(std::numeric_limits<int32_t>::max(),
                          std::numeric_limits<uint32_t>::max() / uint32_t{sizeof(T)});
    assert(count > 0);
    if (count > kMaxCount) return nullptr;
    return static_cast<T *>(ac_allocate_memory(static_cast<uint32_t>(count) * uint32_t{sizeof(T)}));
}

/// Copies `count` elements; none when `count` is 0 or less, or when both ranges are the same one.
template <class T> void copy_elements(T *destination, const T *source, int32_t count)
{
    if (count < 1 || destination == source) return;
    ac_copy_memory(destination, source, static_cast<uint32_t>(count) * uint32_t{sizeof(T)});
}

/// Releases the array. Returns 1, or 0 when there was none.
template <class Vector> int32_t free_vector(Vector &v)
{
    if (!v.data || v.length < 1) return 0;
    ac_free_memory(v.data);
    v = {};
    return 1;
}

/// Gives `v` an array of `n` elements, none when `n` is 0 or less. Returns 1, or 0 with the array
/// kept when it has this length; also 0, with `v` empty, when there is no memory.
template <class Vector> int32_t set_length(Vector &v, int64_t n)
{
    if (n > 0 && v.data && v.length == n) return 0;
    free_vector(v);
    v = {};
    if (n <= 0) return 1;
    v.data = allocate_elements<element_of<Vector>>(n);
    if (!v.data) return 0;
    v.length = static_cast<int32_t>(n);
    return 1;
}

/// set_length() for what writes all elements next: whether `v` has `n` of them now.
template <class Vector> bool make_room(Vector &v, int64_t n)
{
    set_length(v, n);
    return v.length == std::max<int64_t>(n, 0);
}

} // namespace tonelink
