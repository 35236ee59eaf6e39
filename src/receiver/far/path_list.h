// The paths through the trellis that fit the soft values best, one after the other, the best one
// first.
// Source: N. Seshadri, C.-E. W. Sundberg, "List Viterbi decoding algorithms with applications",
// 1994; the search backward with a queue as in F. K. Soong, E.-F. Huang, "A tree-trellis based fast
// search for finding the N best sentence hypotheses", 1991.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/far/trellis.h"

namespace tonelink {

/// The bits that went into the encoder, the first one in bit 0 of the first word, without the tail.
struct path_bits {
    std::array<uint64_t, 2> words{};

    unsigned bit(std::size_t n) const { return words[n / 64] >> n % 64 & 1; }
    void set(std::size_t n) { words[n / 64] |= uint64_t{1} << n % 64; }
    friend bool operator==(const path_bits &, const path_bits &) = default;
};

class path_list {
public:
    static constexpr std::size_t kMostPaths = 1024;

    /// Prepares for paths of these values, `most` at most.
    void begin(const code_values &values, std::size_t most);

    /// Finds the next best path; false: no more are asked for, or there are none.
    bool next();

    /// What next() has found: its bits, and the sum of its values, + for a code bit of 0.
    const path_bits &bits() const { return bits_; }
    float metric() const { return metric_; }

private:
    /// A path that leaves a better one at a step, going backward, and is the best one from there.
    struct detour {
        float loss; // against the best path
        uint8_t step;
        uint8_t state;
        path_bits bits; // of the steps behind it
    };
    static bool is_worse(const detour &a, const detour &b) { return a.loss > b.loss; }

    void offer(const detour &path);

    /// What the better branch into each state is ahead of the other one by; below 0 where the
    /// better one comes from the predecessor whose oldest bit is 1.
    std::array<std::array<float, kStates>, kMostSteps> leads_;
    std::size_t steps_ = 0;
    std::size_t missing_ = 0; // paths that may still be asked for
    std::array<detour, 2 * kMostPaths> queue_;
    std::size_t queued_ = 0;
    float most_loss_ = 0; // what loses as much cannot come any more
    float best_ = 0;      // the best path's metric
    path_bits bits_;
    float metric_ = 0;
};

} // namespace tonelink
