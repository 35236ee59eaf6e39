#include "receiver/far/far_receiver.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

#include "receiver/far/path_message.h"

namespace tonelink {

namespace {

constexpr int64_t kSecond = 4410; // baseband samples
constexpr std::array<std::size_t, 2> kMessageBits = {32, 48};
constexpr int kEstimates = 2; // of the channel, with the data's help
constexpr std::size_t kPathSlice = 128;

/// The work of 10 ms, in estimated microseconds of an ordinary processor: not measured ones, so
/// that results are the same everywhere.
constexpr int kWork = 150;

/// What a slice costs by the same estimate.
constexpr int kLookCost = 15;
constexpr int kListCost = 100;
constexpr int kEvidenceCost = 25; // for each copy

/// Trials that were saved up are spent over several of them.
constexpr int kTrialsAtOnce = 256;

/// A burst's samples in the baseband, from its first body's first one to behind its last guard; and
/// what the reader looks at before it.
constexpr int64_t kBurstReach = int64_t{kSymbolSamples} * kSymbols;
constexpr int64_t kReachBefore = 8;

/// Behind the end of a burst the detector needs so many samples to tell of it.
constexpr int64_t kTimeToDetect = 300;

/// A candidate's samples must still be kept when its slices come to them.
constexpr double kTimeToRead = 800;

/// Nothing is told later than two seconds after its last burst, with the time that sound needs to
/// become baseband and to be put.
constexpr double kLatest = 1.9 * kSecond;

} // namespace

far_receiver::far_receiver(message_lengths lengths, const map_stages &stages)
    : detector_{stages}, lengths_{lengths}
{
    restart();
}

void far_receiver::restart()
{
    tones_.restart();
    sound_.restart();
    detector_.restart();
    samples_ = 0;
    end_ = kNever;
    waiting_.restart();
    rate_.restart();
    stage_ = stage::idle;
    for (candidate &of : candidates_) of.number = 0;
    number_ = 0;
    owed_ = 0;
    paths_.restart();
    words_.restart();
    heard_.restart();
    message_count_ = 0;
}

void far_receiver::put(std::span<const float_complex> samples)
{
    for (const float_complex sample : samples) {
        const float_complex cleaned = tones_.put(sample);
        if (samples_++ < int64_t{steady_tones::kDelay}) continue;
        if (sound_.size() % kSecond == 0) rate_.begin_second(sound_.size());
        sound_.put(cleaned);
        if (detector_.put(cleaned)) accept_detections();
    }
    if (end_ == kNever) paths_.grant(samples.size());
    int left = kWork - std::exchange(owed_, 0);
    while (left > 0) {
        const int cost = work();
        if (cost == 0) break;
        left -= cost;
    }
    owed_ += std::max(-left, 0);
    if (is_through() && waiting_.are_none() && stage_ == stage::idle) paths_.release_reserve();
    try_paths();
}

bool far_receiver::take(far_message &message)
{
    if (message_count_ == 0) return false;
    message = messages_[0];
    std::copy(messages_.begin() + 1,
              messages_.begin() + static_cast<std::ptrdiff_t>(message_count_), messages_.begin());
    --message_count_;
    return true;
}

bool far_receiver::is_through() const
{
    return end_ != kNever && sound_.size() > end_ + kTimeToDetect;
}

// ---- Candidates that wait ---------------------------------------------------------------------

void far_receiver::accept_detections()
{
    for (detection found; detector_.take(found);) {
        const copy_set copies = found.places();
        const double first = copies.places[0].first_body;
        const double last = copies.places[copies.count - 1].first_body;
        // None whose samples are not all there.
        if (first < kReachBefore || last + kBurstReach > static_cast<double>(end_)) continue;
        waiting_detection gone;
        if (waiting_.put({found, sound_.size(), heard_.have_beside(found)}, gone) &&
            !gone.is_side_peak)
            rate_.count(sound_.size());
    }
}

/// Turns to the best candidate that waits; false: there is none.
bool far_receiver::next_candidate()
{
    for (waiting_detection best; waiting_.take(best);) {
        const copy_set copies = best.found.places();
        const auto kept = static_cast<double>(sound_.size() - far_sound::kKept);
        if (copies.places[0].first_body < kept + kTimeToRead ||
            sound_.size() - best.since > path_queue::kPatience) {
            if (!best.is_side_peak) rate_.count(sound_.size());
            continue;
        }
        if (heard_.hold(best.found)) continue;
        candidate &next = candidates_[++number_ % candidates_.size()];
        if (next.number != 0) paths_.drop(next.number);
        next.number = number_;
        next.found = best.found;
        next.since = best.since;
        next.has_values.fill(false);
        decoder_.begin(copies);
        return true;
    }
    return false;
}

// ---- A candidate's way ------------------------------------------------------------------------

/// Does a slice; returns about what it costs, 0: nothing is to be done.
int far_receiver::work()
{
    switch (stage_) {
    case stage::idle:
        if (!next_candidate()) return 0;
        stage_ = stage::preparing;
        return 1;
    case stage::preparing: {
        const int cost = decoder_.slice_cost();
        if (!decoder_.prepare(reader_, sound_)) return cost;
        if (decoder_.is_silent()) {
            stage_ = stage::idle;
            return cost;
        }
        current().copies = decoder_.copies();
        current().channel = decoder_.channel();
        for (last_look &of : looks_) of.is_alive = false;
        length_ = 0;
        stage_ = stage::looking;
        return cost;
    }
    case stage::looking: return look();
    case stage::estimating: return estimate();
    default: return list();
    }
}

int far_receiver::look()
{
    const bool is_wanted = length_ == 0 ? includes<32>(lengths_) : includes<48>(lengths_);
    if (!is_wanted) {
        next_length();
        return 1;
    }
    candidate &of = current();
    const double evidence = decoder_.look(kMessageBits[length_]);
    of.values[length_] = decoder_.values();
    of.randomness[length_] = decoder_.randomness();
    of.has_values[length_] = true;
    if (explain(of)) return kLookCost;
    const candidate_odds known{of.found.excess(), rate_.per_second(), false};
    if (!is_worth_estimating(odds_at_first(known, evidence), evidence)) {
        next_length();
        return kLookCost;
    }
    estimates_ = 0;
    stage_ = stage::estimating;
    return kLookCost;
}

int far_receiver::estimate()
{
    const int cost = decoder_.slice_cost() + kLookCost;
    if (!decoder_.estimate_again()) return cost;
    const double evidence = decoder_.read_again();
    if (++estimates_ < kEstimates) return cost;
    const candidate_odds known{current().found.excess(), rate_.per_second(),
                               heard_.have_beside(current().found)};
    looks_[length_] = {true, odds_at_last(known, evidence), decoder_.log_sum(), decoder_.values()};
    next_length();
    return cost;
}

void far_receiver::next_length()
{
    stage_ = stage::looking;
    if (++length_ == kLengths) begin_lists();
}

/// The lengths compete: the candidate holds a word of one, or of the other, or of none.
void far_receiver::begin_lists()
{
    // Words may have become known meanwhile.
    if (explain(current())) return;
    if (!heard_.have_beside(current().found)) rate_.count(sound_.size());
    length_ = 0;
    stage_ = stage::listing;
    next_list();
}

/// Begins the list of the next length that is worth one.
void far_receiver::next_list()
{
    double all = 1;
    for (const last_look &of : looks_)
        if (of.is_alive) all += std::exp(of.odds);
    for (; length_ < kLengths; ++length_) {
        const last_look &of = looks_[length_];
        if (!of.is_alive || !is_worth_a_list(of.odds)) continue;
        likely_.begin(of.values, std::exp(of.odds) / all, of.log_sum);
        return;
    }
    stage_ = stage::idle;
}

int far_receiver::list()
{
    if (likely_.find(kPathSlice)) return kListCost;
    for (std::size_t n = 0; n < likely_.size(); ++n)
        paths_.put({likely_.probability(n),
                    number_,
                    current().since,
                    {likely_.bits(n), kMessageBits[length_]}});
    ++length_;
    next_list();
    return kListCost;
}

/// Whether a candidate is a known word once more; then it is settled.
bool far_receiver::explain(candidate &of)
{
    for (std::size_t n = 0; n < kLengths; ++n) {
        if (!of.has_values[n]) continue;
        const code_word *const known =
            words_.find(of.values[n], kMessageBits[n], of.randomness[n], sound_.size());
        if (known == nullptr) continue;
        settle(of, code_word{*known});
        return true;
    }
    return false;
}

// ---- Trials -----------------------------------------------------------------------------------

void far_receiver::try_paths()
{
    queued_path path;
    for (int n = 0; n < kTrialsAtOnce && paths_.take(path, sound_.size()); ++n) {
        candidate &of = candidates_[path.candidate % candidates_.size()];
        assert(of.number == path.candidate); // those of others were dropped
        if (!passes_crc_check(path.word.bits, path.word.message_bits)) continue;
        paths_.note_right(path);
        settle(of, path.word);
        settle_others(path.word);
    }
}

/// Candidates whose paths wait may hold the word that has just become known.
void far_receiver::settle_others(const code_word &word)
{
    const std::size_t length = word.message_bits == kMessageBits[0] ? 0 : 1;
    for (candidate &other : candidates_) {
        const bool is_worked_on = other.number == number_ && stage_ != stage::idle;
        // What is older would be told too late, from sound that may not be kept any more.
        const bool is_late = sound_.size() - other.since > path_queue::kPatience;
        if (other.number == 0 || is_worked_on || is_late || !other.has_values[length]) continue;
        if (explanation(other.values[length], word.bits, other.randomness[length]) >
            known_words::kExplained)
            settle(other, word);
    }
}

/// A candidate holds a word: its other paths need no trial any more.
void far_receiver::settle(candidate &of, const code_word &word)
{
    tell(of, word);
    words_.add(word, sound_.size());
    paths_.drop(of.number);
    if (of.number == number_) stage_ = stage::idle;
    of.number = 0;
}

/// A burst is told once, however many sums it is in, and never late: the last copies of a sum may
/// be none.
void far_receiver::tell(const candidate &of, const code_word &word)
{
    const bool is_new = !heard_.have_told(of.copies, word);
    if (is_new) owed_ += kEvidenceCost * static_cast<int>(of.copies.count);
    const present_copies present =
        is_new ? evidence_.look(of.copies, word, of.channel, reader_, sound_)
               : present_copies{of.copies};
    const double end = present.last.first_body + static_cast<double>(kBurstReach);
    const bool is_told = is_new && static_cast<double>(samples_) - end <= kLatest;
    heard_.add({of.copies, present.write, of.found.first.energy, word, is_told});
    waiting_.mark_side_peaks([this](const detection &found) { return heard_.have_beside(found); });
    if (!is_told || message_count_ == messages_.size()) return;
    const burst_place &first = present.write.places[0];
    far_message &message = messages_[message_count_++];
    message.bits = message_of(word.bits, word.message_bits);
    message.length = word.message_bits;
    message.first_sample = first.first_sample();
    message.last_sample = present.last.first_sample();
    message.clock_ppm = static_cast<float>(first.clock * 1e6);
    message.snr_db = 10 * std::log10(present.snr);
    message.copies = present.count;
}

} // namespace tonelink
