#include <bit>
#include <tuple>

#include "modem/reference/output_filter.h"
#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

using OutputFilter = library_test;

/// The samples after two passes from silent histories, and the bits of those that they leave.
template <class Filter> auto filtered_twice(std::vector<int16_t> samples, const Filter &filter)
{
    std::ranges::fill(xv, 0.0f);
    std::ranges::fill(yv, 0.0f);
    filter(std::span{samples});
    filter(std::span{samples});
    using bits = std::array<uint32_t, 3>;
    return std::tuple{samples, std::bit_cast<bits>(xv), std::bit_cast<bits>(yv)};
}

} // namespace

TEST_F(OutputFilter, MeetsTheKnownAnswers)
{
    // From an independent model: noise from silent histories, in blocks, whose cuts do not show.
    for (const auto &[seed, div, known] :
         {std::tuple{81u, 1, "2873d3f3f4c78014"}, {82u, 90, "7569c889632a44a6"}}) {
        SetUp();
        auto samples = noise(4000, seed, 1, div);
        const std::span row{samples};
        for (const std::size_t at : {0u, 1u, 3u}) filter_output(row.subspan(at, at + 1));
        filter_output(row.subspan(7));
        EXPECT_EQ(hash16(samples), known);
    }
}

TEST_F(OutputFilter, FastFormEqualsTheReferenceOne)
{
    std::vector<std::vector<int16_t>> signals = {noise(30000, 1), noise(30000, 2, 1, 30000)};
    auto &extreme = signals.emplace_back(noise(30000, 3));
    for (auto &s : extreme) s = s < 0 ? int16_t{-32768} : int16_t{32767};
    // Silence behind a sound: outputs fade for ever, which a part that starts from rest misses.
    auto &fading = signals.emplace_back(30000, 0);
    for (const std::size_t at : {0u, 1000u, 9000u, 9001u}) fading[at] = 30000;

    for (const auto &signal : signals)
        for (const int size : {1, 2, 2047, 2048, 2049, 2177, 8192, 23170, 30000}) {
            const std::vector<int16_t> samples(signal.begin(), signal.begin() + size);
            const auto expected = filtered_twice(samples, reference::filter_output);
            for (const vector_stages *stages : available_stages()) {
                const auto fast = [&](std::span<int16_t> row) { filter_output(row, *stages); };
                ASSERT_EQ(filtered_twice(samples, fast), expected) << size;
            }
        }
}

} // namespace tonelink::test
