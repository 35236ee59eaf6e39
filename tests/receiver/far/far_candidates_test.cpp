// What the far receiver keeps of its candidates: which one is next, which hold nothing new, which
// words are known; also when there is no more room.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "receiver/far/far_signals.h"
#include "receiver/far/heard_copies.h"
#include "receiver/far/pilot_map.h"
#include "receiver/far/waiting_detections.h"

namespace tonelink::test {

namespace {

constexpr int kOffset = kMapOffsets / 2; // a clock that is right

detection found_at(int64_t place, float energy, std::size_t copies = 1, int64_t second = 0)
{
    return {{place, kOffset, energy}, second, copies};
}

heard_copies::entry heard_as(const detection &found, const code_word &word, bool is_told = true)
{
    return {found.places(), found.places(), found.first.energy, word, is_told};
}

/// As far as copies lie apart, in places of the map.
constexpr auto kApart = static_cast<int64_t>(kCopyDistance);

} // namespace

/// The one with most energy over its threshold is next; of loud ones that of most energy in fewest
/// copies; what waits for everything else is last.
TEST(FarCandidates, TheMostPromisingOneIsNext)
{
    const std::vector<waiting_detection> in_order = {
        {found_at(1, 300), 0, false},          // loud
        {found_at(2, 200), 0, false},          // its side peak
        {found_at(3, 399, 2), 0, false},       // and sums that it lifts: 199.5 a copy
        {found_at(4, 990, 5), 0, false},       //
        {found_at(5, 26, 1), 0, false},        // 12 over its threshold
        {found_at(6, 29, 2), 0, false},        // 11
        {found_at(7, 33.5f, 5), 0, false},     // 10
        {found_at(8, 60, 10, 9999), 0, false}, // 18, no more than 15 count, which can wait: 8 less
        {found_at(9, 20), 0, false},           // 6
        {found_at(10, 300), 0, true},          // 15, less 12
        {found_at(11, 45, 10, 9999), 0, false} // 3, less 8
    };
    generator random{31};
    for (int trial = 0; trial < 20; ++trial) {
        auto shuffled = in_order;
        std::ranges::shuffle(shuffled, random);
        const auto waiting = std::make_unique<waiting_detections>();
        waiting_detection one;
        for (const auto &detected : shuffled) EXPECT_FALSE(waiting->put(detected, one));
        for (const auto &next : in_order) {
            ASSERT_TRUE(waiting->take(one));
            EXPECT_EQ(one.found.first.place, next.found.first.place);
        }
        EXPECT_FALSE(waiting->take(one));
        EXPECT_TRUE(waiting->are_none());
    }
}

TEST(FarCandidates, OfTooManyTheLeastPromisingOneGoes)
{
    generator random{32};
    const auto waiting = std::make_unique<waiting_detections>();
    std::vector<int64_t> places, gone_places;
    waiting_detection gone;
    for (int64_t place = 0; place < 64; ++place) {
        places.push_back(place);
        EXPECT_FALSE(waiting->put({found_at(place, 14.5f + 0.1f * float(place)), 0, false}, gone));
    }
    EXPECT_TRUE(waiting->put({found_at(100, 14.1f), 0, false}, gone));
    EXPECT_EQ(gone.found.first.place, 100);
    EXPECT_TRUE(waiting->put({found_at(101, 26.75f), 0, false}, gone));
    EXPECT_EQ(gone.found.first.place, 0);
    waiting->mark_side_peaks([](const detection &found) { return found.first.place == 101; });
    EXPECT_TRUE(waiting->put({found_at(102, 14.65f), 0, false}, gone));
    EXPECT_EQ(gone.found.first.place, 1); // 0.6 over its threshold: the other has 0.75 left
    EXPECT_FALSE(gone.is_side_peak);
    waiting_detection one;
    for (int64_t place = 63; place >= 3; --place) {
        ASSERT_TRUE(waiting->take(one));
        EXPECT_EQ(one.found.first.place, place);
        EXPECT_FALSE(one.is_side_peak);
    }
    ASSERT_TRUE(waiting->take(one));
    EXPECT_EQ(one.found.first.place, 101);
    EXPECT_TRUE(one.is_side_peak);
    waiting->restart();
    EXPECT_FALSE(waiting->take(one));
}

/// Over the last ten seconds, or over as many as there were.
TEST(FarCandidates, RateIsOfTenSeconds)
{
    constexpr int64_t kSecond = 4410;
    candidate_rate rate;
    EXPECT_EQ(rate.per_second(), 0);
    for (int64_t second = 0; second < 12; ++second) {
        rate.begin_second(second * kSecond);
        for (int64_t n = 0; n < (second < 2 ? 50 : 7); ++n) rate.count(second * kSecond + n);
        const float all = float(second == 0 ? 50 : second == 1 ? 100 : 100 + 7 * (second - 1));
        if (second < 10) {
            EXPECT_FLOAT_EQ(rate.per_second(), all / float(second + 1)) << second;
        }
    }
    EXPECT_FLOAT_EQ(rate.per_second(), 7); // the first two are gone
    rate.restart();
    EXPECT_EQ(rate.per_second(), 0);
    rate.begin_second(0);
    rate.count(1);
    EXPECT_EQ(rate.per_second(), 1);
}

/// A sum holds nothing new when each of its copies was heard alone, or one of its writes by itself.
TEST(FarCandidates, SumsOfWhatWasHeardHoldNothingNew)
{
    const code_word word = word_of(kShortMessage);
    constexpr int64_t kSecond = 5 * kApart + 700; // where the second write begins
    const detection pair = found_at(1000, 100, 2), write = found_at(1000, 200, 5),
                    writes = found_at(1000, 400, 10, 1000 + kSecond);
    heard_copies heard;
    const auto add = [&](const detection &found) { heard.add(heard_as(found, word)); };
    add(found_at(1000, 50));
    EXPECT_FALSE(heard.hold(pair)); // the second one may be another
    EXPECT_FALSE(heard.hold(found_at(1000, 50)));
    add(found_at(1000 + kApart + 4, 50));
    EXPECT_TRUE(heard.hold(pair));
    EXPECT_FALSE(heard.hold(found_at(1000 - 6, 100, 2))); // farther off
    EXPECT_FALSE(heard.hold(write));
    for (int64_t copy = 2; copy < 5; ++copy) add(found_at(1000 + copy * kApart, 50));
    EXPECT_TRUE(heard.hold(write));
    EXPECT_FALSE(heard.hold(writes));
    for (const int64_t place : {int64_t{1000}, 1000 + kSecond}) {
        heard.restart();
        EXPECT_FALSE(heard.hold(writes));
        add(found_at(place - 31, 200, 5));
        EXPECT_FALSE(heard.hold(writes)) << place;
        add(found_at(place + 29, 200, 5));
        EXPECT_TRUE(heard.hold(writes)) << place;
        EXPECT_FALSE(heard.hold(write)); // more in it may be new
    }
}

/// A weaker detection within a burst's reach is a part of it.
TEST(FarCandidates, SidePeaksLieBesideWhatWasHeard)
{
    heard_copies heard;
    heard.add(heard_as(found_at(20000, 200, 2), word_of(kShortMessage))); // 100 a copy
    const int64_t behind = 20000 + kApart;
    EXPECT_TRUE(heard.have_beside(found_at(20000 - 2199, 44)));
    EXPECT_FALSE(heard.have_beside(found_at(20000 - 2201, 44)));
    EXPECT_TRUE(heard.have_beside(found_at(behind + 2198, 44)));
    EXPECT_FALSE(heard.have_beside(found_at(behind + 2202, 44)));
    EXPECT_TRUE(heard.have_beside(found_at(behind + 2198 - kApart, 89, 2)));
    EXPECT_FALSE(heard.have_beside(found_at(20000, 46))); // as strong as another burst
    EXPECT_FALSE(heard.have_beside(found_at(20000, 91, 2)));
}

/// A word is told once where its copies are; another one, or one that was not told itself, does not
/// count. The last 32 are remembered.
TEST(FarCandidates, WordsAreToldOnceInAPlace)
{
    const code_word word = word_of(kShortMessage), other = word_of(kLongMessage);
    heard_copies heard;
    const auto is_told = [&](int64_t place, const code_word &of) {
        return heard.have_told(found_at(place, 50).places(), of);
    };
    heard.add(heard_as(found_at(20000, 50), other, false));
    EXPECT_FALSE(is_told(20000, other));
    heard.add(heard_as(found_at(20000, 100, 2), word));
    EXPECT_FALSE(is_told(20000, other));
    constexpr auto kSame = static_cast<int64_t>(0.95 * kCopyDistance);
    EXPECT_TRUE(is_told(20000 - kSame, word));
    EXPECT_FALSE(is_told(20000 - kSame - 1, word));
    EXPECT_TRUE(is_told(20000 + kApart + kSame - 1, word));
    EXPECT_FALSE(is_told(20000 + kApart + kSame + 2, word));
    for (int n = 0; n < 31; ++n) heard.add(heard_as(found_at(100000, 50), other));
    EXPECT_TRUE(is_told(20000, word));
    heard.add(heard_as(found_at(100000, 50), other));
    EXPECT_FALSE(is_told(20000, word));
    EXPECT_TRUE(is_told(100000, other));
}

/// Of too many words the one that was not heard for longest is forgotten.
TEST(FarCandidates, TheLastWordsAreKnown)
{
    const auto message = [](int n) {
        std::string bits = kShortMessage;
        for (std::size_t bit = 0; bit < 6; ++bit) bits[bit] = (n >> bit & 1) != 0 ? '1' : '0';
        return bits;
    };
    const auto words = std::make_unique<known_words>();
    const auto is_known = [&](int n, int64_t now) {
        const auto bits = bits_of(message(n));
        const channel_bits sent = encode_channel(bits);
        data_values data;
        for (std::size_t i = 0; i < data.size(); ++i) data[i] = sent[i] != 0 ? -3.0f : 3.0f;
        const code_word *const known =
            words->find(sum_repeats(data, 32), 32, randomness_of(data), now);
        EXPECT_TRUE(known == nullptr || *known == word_of(message(n)));
        return known != nullptr;
    };
    words->restart();
    for (int n = 0; n < 32; ++n) words->add(word_of(message(n)), 100 + n);
    words->add(word_of(message(0)), 200); // once more
    for (int n = 0; n < 32; ++n) EXPECT_TRUE(is_known(n, 200)) << n;
    words->add(word_of(message(32)), 201);
    words->add(word_of(message(33)), 202);
    for (int n = 0; n < 34; ++n) EXPECT_EQ(is_known(n, 202), n != 1 && n != 2) << n;
    EXPECT_TRUE(is_known(3, 103 + known_words::kRemembered));
    EXPECT_FALSE(is_known(3, 104 + known_words::kRemembered));
    words->restart();
    EXPECT_FALSE(is_known(33, 202));
}

} // namespace tonelink::test
