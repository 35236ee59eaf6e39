// The messages of the last seconds, and whether a burst is one of them once more: then it is
// recognised without a trial of its CRC. A loop of one message is known for as long as it plays.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/far/path_list.h"
#include "receiver/far/soft_values.h"

namespace tonelink {

/// A code word: a path through the trellis of a length.
struct code_word {
    path_bits bits;
    std::size_t message_bits = 0;

    friend bool operator==(const code_word &, const code_word &) = default;
};

/// What the code makes of a word.
expected_bits code_bits_of(const code_word &word);

/// The sum of soft values along a word's path, + for a code bit of 0.
float metric_of(const code_values &values, const path_bits &word);

/// By what a word explains soft values better than chance, as the natural logarithm of a likelihood
/// ratio.
/// @param randomness  of the data that the values are from
double explanation(const code_values &values, const path_bits &word, double randomness);

class known_words {
public:
    /// A word that explains data by so much is what they hold: false once in e^6 at most, and in
    /// noise much more rarely.
    static constexpr double kExplained = 6;

    /// Baseband samples for which a word is remembered.
    static constexpr int64_t kRemembered = 44100; // 10 s

    void restart() { count_ = 0; }

    /// Remembers a word that was heard, or heard again, at a time.
    void add(const code_word &word, int64_t now);

    /// The word that explains soft values of its length best; null if none does.
    const code_word *find(const code_values &values, std::size_t message_bits, double randomness,
                          int64_t now) const;

private:
    struct entry {
        code_word word;
        int64_t heard;
    };
    std::array<entry, 32> entries_;
    std::size_t count_ = 0;
};

} // namespace tonelink
