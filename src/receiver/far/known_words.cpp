#include "receiver/far/known_words.h"

#include <algorithm>

namespace tonelink {

namespace {

/// Tells `tell` the code bits of each step, as a pattern.
template <class Tell> void encode(const path_bits &word, std::size_t steps, Tell &&tell)
{
    std::size_t recent = 0; // the last seven bits, the newest in bit 0
    for (std::size_t t = 0; t < steps; ++t) {
        const bool is_tail = t + kTailBits >= steps;
        recent = (recent << 1 | (is_tail ? 0u : word.bit(t))) & (2 * kStates - 1);
        // The two predecessors of a state send opposite bits.
        tell(t, pattern_of(recent % kStates) ^ (recent < kStates ? 0u : 7u));
    }
}

} // namespace

expected_bits code_bits_of(const code_word &word)
{
    expected_bits bits{};
    encode(word.bits, steps_of(word.message_bits), [&](std::size_t t, std::size_t pattern) {
        for (std::size_t k = 0; k < kStepValues; ++k)
            bits[t][k] = (pattern >> k & 1) != 0 ? 1.0f : -1.0f;
    });
    return bits;
}

float metric_of(const code_values &values, const path_bits &word)
{
    float sum = 0;
    encode(word, values.steps, [&](std::size_t t, std::size_t pattern) {
        for (std::size_t k = 0; k < kStepValues; ++k)
            sum += (pattern >> k & 1) != 0 ? -values.of[t][k] : values.of[t][k];
    });
    return sum;
}

double explanation(const code_values &values, const path_bits &word, double randomness)
{
    return double{metric_of(values, word)} / 2 - randomness;
}

void known_words::add(const code_word &word, int64_t now)
{
    const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(count_);
    auto known =
        std::find_if(entries_.begin(), end, [&](const entry &other) { return other.word == word; });
    if (known == end && count_ < entries_.size())
        ++count_;
    else if (known == end)
        known = std::min_element(entries_.begin(), end,
                                 [](const entry &a, const entry &b) { return a.heard < b.heard; });
    *known = {word, now};
}

const code_word *known_words::find(const code_values &values, std::size_t message_bits,
                                   double randomness, int64_t now) const
{
    const entry *best = nullptr;
    double most = known_words::kExplained;
    for (std::size_t n = 0; n < count_; ++n) {
        const entry &known = entries_[n];
        if (known.word.message_bits != message_bits || now - known.heard > kRemembered) continue;
        const double explained = explanation(values, known.word.bits, randomness);
        if (explained <= most) continue;
        most = explained;
        best = &known;
    }
    return best == nullptr ? nullptr : &best->word;
}

} // namespace tonelink
