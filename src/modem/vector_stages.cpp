#include "modem/vector_stages.h"

namespace tonelink {

namespace {

#if defined(TONELINK_HAS_AVX2)
constexpr const vector_stages *kAll[] = {&lanes8::stages, &lanes4::stages};
#else
constexpr const vector_stages *kAll[] = {&lanes4::stages};
#endif

} // namespace

std::span<const vector_stages *const> available_stages()
{
    const std::span<const vector_stages *const> all{kAll};
#if defined(TONELINK_HAS_AVX2)
    // Asks the processor and the system once in a process, and a variable from then on.
    if (!__builtin_cpu_supports("avx2")) return all.subspan(1);
#endif
    return all;
}

const vector_stages &fastest_stages() { return *available_stages().front(); }

} // namespace tonelink
