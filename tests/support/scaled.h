// How long random tests go on: TONELINK_TEST_SCALE times as long as in an ordinary run.
#pragma once

#include <algorithm>
#include <cstdlib>

namespace tonelink::test {

inline int scaled(int rounds)
{
    const char *const scale = std::getenv("TONELINK_TEST_SCALE");
    return rounds * std::max(scale != nullptr ? std::atoi(scale) : 1, 1);
}

} // namespace tonelink::test
