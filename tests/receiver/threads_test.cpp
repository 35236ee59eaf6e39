// Receivers are independent of each other: a thousand of them in several threads.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "modem/known_bursts.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

TEST(ReceiverThreads, OpenPushAndCloseAThousand)
{
    constexpr std::size_t kThreads = 4, kEach = 250;
    constexpr std::array kRates = {44100, 48000, 96000};
    std::array<sound, 3> bursts;
    for (std::size_t i = 0; i < bursts.size(); ++i)
        bursts[i] = burst_at(kKnownBursts[i].bits, kRates[i]);
    std::atomic<int> heard = 0;
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t n = 0; n < kEach; ++n) {
                const std::size_t which = (n + t) % kRates.size();
                open_receiver receiver{kRates[which]};
                const std::span burst{bursts[which]};
                if (n % 25 != 0) { // most are given up early
                    receiver.push(burst.first(2000));
                    continue;
                }
                receiver.push(burst);
                tonelink_receiver_flush(receiver);
                for (const tonelink_heard &record : receiver.heard())
                    if (message_of(record) == kKnownBursts[which].bits) ++heard;
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(heard, 40);
}

} // namespace tonelink::test
