// However a stream is cut, its records and its report are the same, byte for byte.
#include <gtest/gtest.h>

#include "modem/known_bursts.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

/// Sound, and how much is lost behind it.
template <class Sample> struct stretch {
    std::vector<Sample> samples;
    uint64_t lost;
};
template <class Sample> using stretches = std::vector<stretch<Sample>>;

/// A record without the padding behind its last field.
template <class Record> std::string bytes_of(const Record &record, std::size_t size)
{
    return {reinterpret_cast<const char *>(&record), size};
}

/// All that a receiver tells about a stream that comes in blocks of so many frames.
template <class Sample, class BlockSize>
std::string told(int32_t rate, const stretches<Sample> &stream, BlockSize block_size)
{
    open_receiver receiver{rate, 0, TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR};
    std::string all;
    const auto tell = [&] {
        for (const tonelink_heard &heard : receiver.heard())
            all += bytes_of(heard, offsetof(tonelink_heard, positions) + sizeof heard.positions);
        const tonelink_reception reception = receiver.report();
        all += bytes_of(reception, offsetof(tonelink_reception, spectrum_dbfs) +
                                       sizeof reception.spectrum_dbfs);
    };
    for (const auto &[samples, lost] : stream) {
        for (std::span rest{samples}; !rest.empty();) {
            const std::size_t size = std::min<std::size_t>(block_size(), rest.size());
            receiver.push(rest.first(size));
            rest = rest.subspan(size);
        }
        tell();
        tonelink_receiver_lost(receiver, lost);
    }
    tonelink_receiver_flush(receiver);
    tell();
    return all;
}

/// Bursts in noise, one of them overloaded, one unread, with losses at any place.
template <class Sample> stretches<Sample> make_stream(int32_t rate, std::mt19937 &random)
{
    sound all = band_noise(frames_in(3.4, rate), rate, -40, 13);
    add(all, burst_at(kPair32.bits, rate), frames_in(0.2, rate), -20);
    add(all, burst_at(kData48.bits, rate, 150), frames_in(0.9, rate), 6);
    add(all, burst_at(kPair32.bits, rate, 700), frames_in(1.6, rate), -6);
    add(all, burst_at(kPair48.bits, rate), frames_in(2.7, rate), -30);
    stretches<Sample> stream;
    for (std::span<const float> rest{all}; !rest.empty();) {
        const auto most = std::uniform_int_distribution{rate / 3, rate}(random);
        const std::size_t size = std::min<std::size_t>(static_cast<unsigned>(most), rest.size());
        const uint64_t lost = random() % (random() % 3 == 0 ? static_cast<unsigned>(rate) : 50);
        if constexpr (std::is_same_v<Sample, float>)
            stream.push_back(
                {{rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size)}, lost});
        else
            stream.push_back({to_16_bits(rest.first(size)), lost});
        rest = rest.subspan(size);
    }
    return stream;
}

template <class Sample> void expect_no_cut_to_show(int32_t rate, unsigned seed)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random{seed};
    const auto stream = make_stream<Sample>(rate, random);
    const std::string whole = told(rate, stream, [] { return SIZE_MAX; });
    EXPECT_TRUE(told(rate, stream, [&] { return 1 + random() % 3000; }) == whole);
    // A sample at a time, in turn with blocks of any size.
    unsigned blocks = 0;
    EXPECT_TRUE(told(rate, stream,
                     [&] { return ++blocks % 4000 < 3000 ? 1 : 1 + random() % 600; }) == whole);
}

class Splits : public testing::TestWithParam<int32_t> {};

} // namespace

TEST_P(Splits, DoNotShow)
{
    expect_no_cut_to_show<int16_t>(GetParam(), 101);
    expect_no_cut_to_show<float>(GetParam(), 102);
}

INSTANTIATE_TEST_SUITE_P(AtRates, Splits, testing::Values(43210, 44100, 48000, 96000));

} // namespace tonelink::test
