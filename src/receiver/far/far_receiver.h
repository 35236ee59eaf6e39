// The far receiver: hears bursts far below the noise, of copies added up, in a moving hand and
// beside steady tones. From the baseband as it comes to messages:
//
//     steady tones out - pilot map - peaks - the best candidate next: places, sum of its copies,
//     channel - data of each length - a known word? - channel again - paths - CRC
//
// Memory is fixed. The work of candidates is cut into slices and spread over time: each put() does
// a bounded amount. All is counted in samples and not by a clock, so results do not depend on the
// machine's speed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/heard_message.h"
#include "receiver/far/burst_decoder.h"
#include "receiver/far/burst_detector.h"
#include "receiver/far/far_message.h"
#include "receiver/far/heard_copies.h"
#include "receiver/far/known_words.h"
#include "receiver/far/path_odds.h"
#include "receiver/far/path_queue.h"
#include "receiver/far/steady_tones.h"
#include "receiver/far/waiting_detections.h"

namespace tonelink {

class far_receiver {
public:
    explicit far_receiver(message_lengths lengths, const map_stages &stages = fastest_map_stages());

    /// Begins a new stream.
    void restart();

    /// Takes the next samples of the baseband, those of 10 ms or so; or none, for work that waits.
    void put(std::span<const float_complex> samples);

    /// What is put from now on is silence behind the stream's end, for work that is waiting.
    void end_stream() { end_ = samples_; }

    /// Whether all that was heard is worked off, but for what is on its way through the filters.
    bool is_idle() const
    {
        return waiting_.are_none() && stage_ == stage::idle && !paths_.has_next();
    }

    /// Takes the next message; false: none is left. Of those that nobody takes, 32 are kept.
    bool take(far_message &message);

    /// What its trials of the CRC were and what became of them.
    const path_queue &trials() const { return paths_; }

    /// How many candidates it has turned to.
    uint32_t candidates() const { return number_; }

private:
    static constexpr std::size_t kLengths = 2;
    static constexpr int64_t kNever = INT64_MAX;

    enum class stage { idle, preparing, looking, estimating, listing };

    /// A candidate whose paths may wait for their trial.
    struct candidate {
        uint32_t number = 0; ///< 0: none
        detection found;
        int64_t since = 0; ///< when it was detected
        copy_set copies;
        shared_channel channel;
        /// Of the first look, for words that become known later.
        std::array<code_values, kLengths> values;
        std::array<double, kLengths> randomness{};
        std::array<bool, kLengths> has_values{};
    };
    /// Whether all of a stream that has ended was looked at for bursts.
    bool is_through() const;
    void accept_detections();
    bool next_candidate();

    int work();
    int look();
    int estimate();
    int list();
    void next_length();
    void begin_lists();
    void next_list();
    bool explain(candidate &of);
    void try_paths();
    void settle_others(const code_word &word);
    void settle(candidate &of, const code_word &word);
    void tell(const candidate &of, const code_word &word);
    candidate &current() { return candidates_[number_ % candidates_.size()]; }

    burst_detector detector_;
    burst_decoder decoder_;
    const cell_reader reader_;
    steady_tones tones_;
    far_sound sound_;
    copy_evidence evidence_;
    const message_lengths lengths_;
    stage stage_ = stage::idle;
    int64_t samples_ = 0; // that have come
    int64_t end_ = kNever;

    waiting_detections waiting_;
    candidate_rate rate_; // of those that nothing explains

    std::array<candidate, 32> candidates_; // the last ones, by their numbers
    uint32_t number_ = 0;                  // of the one that is worked on
    int owed_ = 0;                         // work that was done beyond a block's
    int estimates_ = 0;                    // that this length has had
    std::size_t length_ = 0;               // which of both is its turn
    struct last_look {
        bool is_alive = false;
        double odds = 0;
        double log_sum = 0;
        code_values values;
    };
    std::array<last_look, kLengths> looks_;
    likely_paths likely_;

    path_queue paths_;
    known_words words_;
    heard_copies heard_;

    std::array<far_message, 32> messages_;
    std::size_t message_count_ = 0;
};

} // namespace tonelink
