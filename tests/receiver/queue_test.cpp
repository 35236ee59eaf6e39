// What waits to be taken, what counts as a repeat, when a record comes, and where a stream ends.
#include <gtest/gtest.h>

#include "modem/known_bursts.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

TEST(Queue, HoldsSixteenAndPushesOutTheOldest)
{
    // Three of one message, one of another, five times over, 0.62 seconds apart.
    const sound often = burst_at(kPair32.bits, 44100), seldom = burst_at(kData48.bits, 44100);
    sound all(frames_in(20 * 0.62 + 1, 44100));
    for (std::size_t i = 0; i < 20; ++i)
        add(all, i % 4 == 3 ? seldom : often, 1000 + 27342 * i, -10);
    open_receiver receiver;
    receiver.push(all);
    EXPECT_EQ(receiver.report().dropped, 4u);
    const auto records = receiver.heard();
    ASSERT_EQ(records.size(), 16u);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(records[i].nbits, i % 4 == 3 ? 48 : 32);
        EXPECT_NEAR(static_cast<double>(records[i].first_sample),
                    static_cast<double>(1000 + 27342 * (i + 4)), 44);
        EXPECT_EQ(records[i].repeats, i % 4 == 3 ? 1u : 3u) << i; // of the three seconds before
        EXPECT_EQ(records[i].methods, uint32_t{TONELINK_METHOD_EXACT});
        EXPECT_EQ(records[i].copies, 1);
    }
    EXPECT_EQ(receiver.report().heard, 20u);
}

TEST(Queue, ARecordComesWithinASecondOfItsBurstsEnd)
{
    for (const int32_t rate : {42000, 44100, 48000, 96000, 384000}) {
        const sound burst = burst_at(kPair32.bits, rate);
        const sound unread = burst_at(kData32.bits, rate, 800);
        for (const bool is_busy : {false, true}) { // with one to be looked at that is not read
            const std::size_t start = is_busy ? unread.size() : frames_in(0.1, rate);
            sound all = band_noise(start + burst.size() + frames_in(1, rate), rate, -60, 5);
            if (is_busy) add(all, unread, 0, -20);
            add(all, burst, start, -20);
            open_receiver receiver{rate};
            std::size_t pushed = 0;
            tonelink_heard heard = {};
            while (pushed < all.size() && tonelink_receiver_next(receiver, &heard) == 0) {
                const std::size_t block = std::min(frames_in(0.005, rate), all.size() - pushed);
                receiver.push(std::span{all}.subspan(pushed, block));
                pushed += block;
            }
            EXPECT_EQ(message_of(heard), kPair32.bits) << rate << ' ' << is_busy;
        }
    }
}

TEST(Queue, AFlushEndsAStreamAndWhatFollowsIsANewOne)
{
    for (const int32_t rate : {44100, 48000}) {
        sound first(frames_in(2, rate)), second = first;
        add(first, burst_at(kPair32.bits, rate), frames_in(1.4, rate), -6); // up to its last tenth
        second[0] = 1; // as the end of the first one
        add(second, burst_at(kPair32.bits, rate), 99, -20);
        std::fill(first.end() - 500, first.end(), 1.0f);

        open_receiver receiver{rate};
        receiver.push(first);
        EXPECT_EQ(receiver.report().heard, 0u);
        tonelink_receiver_flush(receiver);
        EXPECT_EQ(receiver.reasons(), "heard heard"); // stays to be taken
        EXPECT_EQ(receiver.report().frames, first.size());
        tonelink_receiver_flush(receiver); // nothing more
        tonelink_receiver_settle(receiver);
        tonelink_receiver_lost(receiver, 0);
        EXPECT_EQ(receiver.report().heard, 1u);
        receiver.push(second);
        tonelink_receiver_flush(receiver);

        open_receiver fresh{rate};
        fresh.push(second);
        tonelink_receiver_flush(fresh);
        const auto records = receiver.heard(), expected = fresh.heard();
        ASSERT_TRUE(records.size() == 2 && expected.size() == 1);
        EXPECT_NEAR(records[0].seconds, 1.4, 0.001);
        EXPECT_EQ(records[1].first_sample, expected[0].first_sample);
        EXPECT_EQ(records[1].repeats, 0u);
        EXPECT_EQ(records[1].level_dbfs, expected[0].level_dbfs);
        const tonelink_reception now = receiver.report(), then = fresh.report();
        EXPECT_EQ(std::memcmp(&now, &then, offsetof(tonelink_reception, spectrum_dbfs)), 0);

        tonelink_receiver_lost(receiver, 100); // with which a stream may begin, too
        const tonelink_reception third = receiver.report();
        EXPECT_EQ(third.frames, 100u);
        EXPECT_EQ(third.lost_frames, 100u);
        EXPECT_EQ(third.heard, 0u);
    }
}

// Where noise decides what is heard, a stream before it does not.
TEST(Queue, AStreamNearTheLimitIsHeardAsTheFirstOne)
{
    const sound burst = burst_at(kPair32.bits, 44100);
    std::size_t heard = 0;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        sound all = band_noise(frames_in(0.8, 44100), 44100, -40, seed);
        add(all, burst, 5000, -43.5 - level_of(burst));
        open_receiver receiver;
        receiver.push(all);
        tonelink_receiver_flush(receiver);
        const std::size_t first = receiver.heard().size();
        receiver.push(sound(1001));
        tonelink_receiver_flush(receiver);
        receiver.push(all);
        tonelink_receiver_flush(receiver);
        EXPECT_EQ(receiver.heard().size(), first) << seed;
        heard += first;
    }
    EXPECT_TRUE(heard > 1 && heard < 11) << heard;
}

// A stream may stand still anywhere in the run of positions at which a burst is accepted.
TEST(Queue, SettlingTellsABurstRightAndOnce)
{
    sound all = band_noise(frames_in(1, 44100), 44100, -60, 5);
    add(all, burst_at(kPair32.bits, 44100), 10000, -20);
    int early = 0;
    for (std::size_t stop = 32400; stop < 34000; stop += 90) {
        SCOPED_TRACE(stop);
        open_receiver receiver;
        receiver.push(std::span{all}.first(stop));
        tonelink_receiver_settle(receiver);
        auto records = receiver.heard();
        early += records.empty() ? 0 : 1;
        receiver.push(std::span{all}.subspan(stop));
        tonelink_receiver_flush(receiver);
        for (const tonelink_heard &heard : receiver.heard()) records.push_back(heard);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_NEAR(static_cast<double>(records[0].first_sample), 10000, 44);
        EXPECT_NEAR(records[0].clock_ppm, 0, 5);
    }
    EXPECT_GE(early, 8);
}

} // namespace tonelink::test
