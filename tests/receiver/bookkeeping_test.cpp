// What a receiver keeps of bursts: those that wait to be measured, those that were told, records,
// gaps; at the edges of what belongs together, and when there is no more room.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "receiver/burst_measuring.h"
#include "receiver/message_queue.h"
#include "receiver/reception_report.h"
#include "receiver/stream_places.h"
#include "receiver/told_bursts.h"
#include "support/signals.h"

namespace tonelink::test {

namespace {

constexpr message_value kMessage{0x12345678, 32}, kOther{0x12345679, 32}, kLonger{0x12345678, 48};

found_burst seen_at(double sample) { return {.sample = sample}; }
found_burst heard_at(double sample)
{
    return {.heard = {kMessage, 0, 0, 1}, .sample = sample, .far = {}};
}

/// The places of bursts in the order in which they are measured.
std::vector<double> measured(burst_measuring &waiting)
{
    const auto silence = std::make_unique<baseband>();
    std::vector<double> all;
    while (!waiting.empty())
        waiting.advance(1, *silence, [&](const found_burst &burst, const burst_figures &figures) {
            all.push_back(burst.sample);
            EXPECT_TRUE(std::isfinite(figures.first_sample) && std::isfinite(figures.clock_ppm));
            EXPECT_TRUE(std::isfinite(figures.snr_db + figures.level_dbfs + figures.noise_dbfs));
        });
    return all;
}

class Measuring : public testing::Test {
protected:
    const symbol_reader reader_;
    burst_measuring waiting_{reader_};
};

} // namespace

/// One that was only seen goes for one that was heard, but not the one that is being measured.
TEST_F(Measuring, WithoutRoomWhatWasHeardComesFirst)
{
    const auto silence = std::make_unique<baseband>();
    constexpr double kLate = 1e6;
    waiting_.add(seen_at(kLate));
    waiting_.advance(1, *silence, [](const found_burst &, const burst_figures &) {});
    for (int n = 1; n < 16; ++n)
        waiting_.add(n == 3 || n == 9 ? seen_at(kLate + n) : heard_at(kLate + n));
    waiting_.add(seen_at(kLate + 16)); // there is no room
    waiting_.add(heard_at(kLate + 17));
    waiting_.add(heard_at(kLate + 18));
    waiting_.add(heard_at(kLate + 19)); // nor for this one, now
    EXPECT_TRUE(waiting_.covers(kLate + 18));
    EXPECT_FALSE(waiting_.covers(kLate + 18 + kSameBurst + 1));
    const auto all = measured(waiting_);
    std::vector<double> expected = {0, 1, 2, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 15, 17, 18};
    for (double &sample : expected) sample += kLate;
    EXPECT_EQ(all, expected);

    for (int n = 0; n < 17; ++n) waiting_.add(seen_at(n));
    EXPECT_EQ(measured(waiting_).back(), 15);
}

/// Three rounds over the symbols for a burst that was heard; at each of three clocks for another.
/// A new stream begins anew.
TEST_F(Measuring, StepsAreThoseOfTheBurst)
{
    constexpr int kHeard = 3 * 17;
    const auto silence = std::make_unique<baseband>();
    int done = 0;
    const auto steps = [&](int count) {
        waiting_.advance(count, *silence,
                         [&](const found_burst &, const burst_figures &) { ++done; });
    };
    waiting_.add(seen_at(0));
    steps(kHeard + 20);               // within its second guess
    EXPECT_FALSE(waiting_.covers(0)); // it was not heard
    waiting_.restart();
    EXPECT_TRUE(waiting_.empty());
    waiting_.add(heard_at(0));
    EXPECT_TRUE(waiting_.covers(-kSameBurst + 1));
    waiting_.add(seen_at(1));
    steps(kHeard - 1);
    EXPECT_EQ(done, 0);
    steps(1);
    EXPECT_EQ(done, 1);
    steps(3 * kHeard - 1);
    EXPECT_EQ(done, 1);
    steps(1);
    EXPECT_EQ(done, 2);
    steps(5 * kHeard); // nothing is left
    EXPECT_EQ(done, 2);
    EXPECT_TRUE(waiting_.empty());
}

/// Sixteen messages at once; each burst is told once, and its next copy is another one.
TEST(HeardBursts, RunsAreToldApart)
{
    heard_bursts bursts;
    const auto accept = [&](uint64_t position, uint8_t value) {
        heard_message heard{.position = position, .length = 32, .bits = {}};
        for (std::size_t bit = 0; bit < 8; ++bit)
            heard.bits[24 + bit] = static_cast<uint8_t>(value >> (7 - bit) & 1);
        bursts.accept(heard);
    };
    constexpr uint64_t kRun = kBurstSamples / 2;
    for (int n = 1; n <= 17; ++n) accept(1000, static_cast<uint8_t>(n)); // no room for the last
    accept(1000 + 80, 1);
    accept(1000 + kRun, 1);
    accept(1000 + kRun + 1, 2); // a run of its own, but there is no room
    EXPECT_FALSE(bursts.take(1000 + kRun));
    std::vector<uint64_t> values;
    while (const auto burst = bursts.take(1000 + kRun + 1)) {
        values.push_back(burst->message.bits);
        EXPECT_EQ(burst->positions, burst->message.bits == 1 ? 3u : 1u);
        EXPECT_EQ(burst->last, burst->message.bits == 1 ? 1000 + kRun : 1000u);
    }
    ASSERT_EQ(values.size(), 16u);
    for (std::size_t n = 0; n < 16; ++n) EXPECT_EQ(values[n], n + 1);

    accept(20000, 1);
    accept(20080, 1);
    accept(20080, 2);
    const auto early = bursts.take_early(20080 + 240), ended = bursts.take_early(20080 + 241);
    ASSERT_TRUE(early && ended);
    EXPECT_EQ(early->last, 20000u + 650);
    EXPECT_EQ(ended->last, 20080u);
    EXPECT_FALSE(bursts.take_early(20400));
    accept(20160, 1); // goes on
    accept(20160, 3);
    EXPECT_EQ(bursts.take(40000)->message.bits, 3u);
    EXPECT_FALSE(bursts.take(40000));
}

TEST(ToldBursts, CoverWhereTheyWere)
{
    told_bursts told;
    constexpr double kThree = 3.0 * kBurstSamples, kFirst = 100000, kLast = 100000 + kThree * 2 / 3;
    told.add(kMessage, kFirst, kThree, 2.0); // three copies
    for (const auto &[sample, is_covered] : {std::pair{kFirst - kSameBurst - 1, false},
                                             {kFirst - kSameBurst + 1, true},
                                             {kLast + kSameBurst - 1, true},
                                             {kLast + kSameBurst + 1, false}}) {
        EXPECT_EQ(told.covers(sample), is_covered) << sample;
        EXPECT_EQ(told.has(kMessage, sample), is_covered) << sample;
        EXPECT_FALSE(told.has(kOther, sample) || told.has(kLonger, sample));
    }
    EXPECT_TRUE(told.has(kMessage, kFirst - kSameBurst - kBurstSamples + 1, 2.0 * kBurstSamples));
    EXPECT_FALSE(told.has(kMessage, kFirst - kSameBurst - kBurstSamples - 1, 2.0 * kBurstSamples));

    EXPECT_EQ(told.count_before(kMessage, 5.0, 3), 1u);
    EXPECT_EQ(told.count_before(kMessage, 5.01, 3), 0u);
    EXPECT_EQ(told.count_before(kOther, 5.0, 3), 0u);
    for (int n = 0; n < 31; ++n) told.add(kOther, 1e6 + 1e5 * n, kBurstSamples, 3.0);
    EXPECT_EQ(told.count_before(kOther, 5.0, 3), 31u);
    EXPECT_TRUE(told.covers(kFirst));
    told.add(kOther, 9e6, kBurstSamples, 3.0); // the 33rd
    EXPECT_FALSE(told.covers(kFirst));
    EXPECT_EQ(told.count_before(kOther, 5.0, 3), 32u);
    told.restart();
    EXPECT_FALSE(told.covers(9e6));
}

/// What the other method has heard is added to the record of the same burst and to no other.
TEST(MessageQueue, ConfirmsTheSameBurst)
{
    const auto record = [](int64_t first, int32_t nbits, uint8_t byte, uint32_t method) {
        tonelink_heard heard{};
        heard.first_sample = first;
        heard.nbits = nbits;
        heard.message[3] = byte;
        heard.methods = method;
        heard.positions = 5;
        return heard;
    };
    message_queue queue;
    const auto old = record(0, 32, 1, 1);
    for (std::size_t n = 0; n < message_queue::kMost - 1; ++n) EXPECT_EQ(queue.put(old), 0u);
    EXPECT_EQ(queue.put(record(1000, 32, 1, 1)), 0u);
    EXPECT_EQ(queue.put(record(5000, 32, 1, 1)), 1u); // pushes out the oldest
    queue.confirm(record(1100, 32, 1, 2), 100);
    queue.confirm(record(900, 32, 1, 2), 100);
    for (const auto &other : {record(1101, 32, 1, 2), record(899, 32, 1, 2), record(1000, 48, 1, 2),
                              record(1000, 32, 2, 2)})
        queue.confirm(other, 100);
    for (std::size_t n = 0; n < message_queue::kMost; ++n) {
        const tonelink_heard &heard = queue.oldest();
        EXPECT_EQ(heard.methods, heard.first_sample == 1000 ? 3u : 1u) << n;
        EXPECT_EQ(heard.positions, heard.first_sample == 1000 ? 15u : 5u) << n;
        queue.drop_oldest();
    }
    EXPECT_TRUE(queue.empty());
}

/// However often a stream is torn, the last places are right.
TEST(StreamPlaces, CountEveryGap)
{
    stream_places places{48000};
    for (int64_t n = 1; n <= 20; ++n) places.skip(44100 * n, 1000);
    for (int n = 13; n <= 20; ++n) {
        EXPECT_NEAR(places.frame_at(44100.0 * n - 1), 49000.0 * n - 1000 - 48000.0 / 44100, 1e-6);
        EXPECT_NEAR(places.frame_at(44100.0 * n), 49000.0 * n, 1e-6);
    }
}

/// Of a burst that was seen and not heard: what is wrong with it, the most certain first.
TEST(ReasonOf, ABurstThatIsNotRead)
{
    struct unread_case {
        tonelink_reason reason;
        float snr_db, ppm;
        uint64_t clipped, lost;
    };
    constexpr uint64_t kFrames = 100000;
    for (const auto &[reason, snr_db, ppm, clipped, lost] : {
             unread_case{TONELINK_REASON_TOO_WEAK, -1.1f, 0, 0, 0},
             {TONELINK_REASON_TOO_WEAK, -1.1f, 900, 500, 9},
             {TONELINK_REASON_CLIPPED, -1.1f, 900, 501, 9},
             {TONELINK_REASON_CLOCK, -0.9f, 201, 0, 9},
             {TONELINK_REASON_CLOCK, 20, -201, 0, 0},
             {TONELINK_REASON_SAMPLES_LOST, 20, 199, 0, 1},
             {TONELINK_REASON_SAMPLES_LOST, 20, -199, 500, 90000},
             {TONELINK_REASON_TOO_WEAK, 20, 199, 0, 0},
         }) {
        sound_figures figures{};
        figures.frames = kFrames;
        figures.clipped_frames = clipped;
        figures.lost_frames = lost;
        figures.unread = 1;
        figures.unread_snr_db = snr_db;
        figures.unread_ppm = ppm;
        EXPECT_EQ(reason_of(figures), reason) << snr_db << ' ' << ppm << ' ' << clipped;
        figures.heard = 1;
        EXPECT_EQ(reason_of(figures), TONELINK_REASON_HEARD);
    }
}

/// Of several bursts that were not read the clearest one tells what is wrong.
TEST(ReasonOf, TheClearestBurst)
{
    sound_figures all{};
    for (const auto &[snr_db, ppm] : {std::pair{-9.0f, 1.0f}, {-4.0f, 2.0f}, {-6.0f, 3.0f}}) {
        sound_figures one{};
        one.unread = 1;
        one.unread_snr_db = snr_db;
        one.unread_ppm = ppm;
        one.peak = -snr_db;
        all.add(one);
        all.add(sound_figures{});
    }
    EXPECT_EQ(all.unread, 3u);
    EXPECT_EQ(all.unread_snr_db, -4);
    EXPECT_EQ(all.unread_ppm, 2);
    EXPECT_EQ(all.peak, 9);
}

/// Words now and then are no silence; a microphone that is off nine tenths of the time is.
TEST(ReasonOf, SilenceOfNineTenths)
{
    sound_figures figures{};
    figures.frames = 441000;
    figures.slots = 100;
    figures.quiet_slots = 89;
    EXPECT_EQ(reason_of(figures), TONELINK_REASON_NO_BURST);
    figures.quiet_slots = 90;
    EXPECT_EQ(reason_of(figures), TONELINK_REASON_SILENT);
}

} // namespace tonelink::test
