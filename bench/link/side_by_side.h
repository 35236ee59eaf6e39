// Trials on all cores.
#pragma once

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace tonelink::bench {

/// Calls `work(i)` for i below `count`, each once, in any order.
template <class Work> void side_by_side(int count, const Work &work)
{
    std::atomic<int> next{0};
    std::vector<std::jthread> workers;
    for (unsigned w = 0; w < std::max(1u, std::thread::hardware_concurrency()); ++w)
        workers.emplace_back([&] {
            for (int i = next++; i < count; i = next++) work(i);
        });
}

} // namespace tonelink::bench
