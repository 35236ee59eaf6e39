// Which paths meet the CRC, and when. A wrong path passes it once in 2^24 times: so trials are
// counted, the most probable path comes first, and none is tried twice.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/far/known_words.h"

namespace tonelink {

/// A path that may be the word that was sent.
struct queued_path {
    float probability = 0;
    uint32_t candidate = 0; ///< of which it is one
    int64_t since = 0;      ///< when its candidate was detected
    code_word word;
};

/// Times are counts of baseband samples.
class path_queue {
public:
    /// Trials a second over both lengths: 0.06 wrong messages an hour at most.
    static constexpr int kTrialsPerSecond = 275;
    /// Trials that can be saved up for a bad moment.
    static constexpr int kMostSaved = 10 * kTrialsPerSecond;
    /// Less probable paths are not worth a trial.
    static constexpr float kLeastProbable = 1e-4f;

    /// What was not tried so long after its detection will not be: nothing is told later than two
    /// seconds after its burst.
    static constexpr int64_t kPatience = 6174; // 1.4 s

    /// Begins a new stream, without any trials saved.
    void restart();

    /// Trials are granted for sound that has come.
    void grant(std::size_t samples);

    /// Nothing better will come any more: no saved trial is kept back for it.
    void release_reserve() { reserve_ = 0; }

    /// Takes a path in; of too many the least probable are lost.
    void put(const queued_path &path);

    /// The next path that may be tried, the most probable one first. It costs a trial.
    bool take(queued_path &path, int64_t now);

    /// Whether there may be one.
    bool has_next() const { return count_ > 0 && saved_ >= price(queue_[0]); }

    /// Leaves out what came from a candidate that is settled.
    void drop(uint32_t candidate);

    /// Trials that there were of paths of about one probability, how many of them were expected to
    /// be right, and how many were.
    struct tally {
        int64_t trials = 0;
        double expected = 0;
        int64_t right = 0;
    };
    /// By ranges of the probability, which begin at 0.0001 and at each of these.
    static constexpr std::array kRangeBounds = {0.0003f, 0.001f, 0.003f, 0.01f, 0.03f, 0.1f};
    static constexpr std::size_t kRanges = kRangeBounds.size() + 1;
    const std::array<tally, kRanges> &tallies() const { return tallies_; }
    /// The CRC of a path that was taken agrees.
    void note_right(const queued_path &path) { ++tally_of(path.probability).right; }
    int64_t trials() const;
    double saved() const { return static_cast<double>(saved_) / kSecond; }

private:
    static constexpr int64_t kSecond = 4410; // baseband samples; also parts of a trial
    static constexpr int64_t kRemembered = 10 * kSecond;

    /// So many of the saved trials are for paths that are this probable: weak ones, of a first copy
    /// perhaps, must not use up what the sum over copies will need.
    static constexpr int64_t kReserve = 50;
    static constexpr float kWorthReserve = 0.01f;

    /// What must have been saved for a path to be tried.
    int64_t price(const queued_path &path) const;

    tally &tally_of(float probability);

    /// Whether a word was tried within the last seconds; if not, it is now.
    bool was_tried(const code_word &word, int64_t now);

    std::array<queued_path, 2048> queue_; // a heap
    std::size_t count_ = 0;
    int64_t saved_ = 0;
    int64_t reserve_ = kReserve;
    std::array<tally, kRanges> tallies_;

    struct tried_word {
        uint64_t key = 0;
        int64_t when = 0;
    };
    static constexpr std::size_t kSets = 2048, kWays = 4;
    std::array<std::array<tried_word, kWays>, kSets> tried_;
};

} // namespace tonelink
