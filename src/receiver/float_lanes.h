// Four numbers in single precision side by side, by the compilers' own vector arithmetic: every
// processor that this library runs on has such vectors, or does without as well.
#pragma once

#include <cstddef>
#include <cstring>

namespace tonelink {

typedef float floats __attribute__((vector_size(16)));
inline constexpr std::size_t kFloatLanes = 4;

/// Four from `from` on, which need not be aligned.
inline floats load_floats(const float *from)
{
    floats v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

inline float sum_of(floats v) { return (v[0] + v[1]) + (v[2] + v[3]); }

} // namespace tonelink
