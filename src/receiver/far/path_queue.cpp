#include "receiver/far/path_queue.h"

#include <algorithm>

namespace tonelink {

namespace {

bool is_less_probable(const queued_path &a, const queued_path &b)
{
    return a.probability < b.probability;
}

/// Spreads a word over 64 bits; never 0.
uint64_t key_of(const code_word &word)
{
    uint64_t key = word.bits.words[0] ^ word.bits.words[1] * 0x9E3779B97F4A7C15u ^
                   uint64_t { word.message_bits } << 58;
    key ^= key >> 32;
    key *= 0xD6E8FEB86659FD93u;
    key ^= key >> 32;
    return key | 1;
}

} // namespace

void path_queue::restart()
{
    count_ = 0;
    saved_ = 0;
    reserve_ = kReserve;
    tallies_.fill({});
    for (auto &set : tried_) set.fill({});
}

void path_queue::grant(std::size_t samples)
{
    saved_ =
        std::min(saved_ + static_cast<int64_t>(samples) * kTrialsPerSecond, kMostSaved * kSecond);
}

void path_queue::put(const queued_path &path)
{
    if (path.probability < kLeastProbable) return;
    if (count_ == queue_.size()) {
        const auto middle = queue_.begin() + queue_.size() / 2;
        std::nth_element(
            queue_.begin(), middle, queue_.end(),
            [](const queued_path &a, const queued_path &b) { return is_less_probable(b, a); });
        count_ /= 2;
        std::make_heap(queue_.begin(), middle, is_less_probable);
    }
    queue_[count_++] = path;
    std::push_heap(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(count_),
                   is_less_probable);
}

int64_t path_queue::price(const queued_path &path) const
{
    return path.probability >= kWorthReserve ? kSecond : (reserve_ + 1) * kSecond;
}

bool path_queue::take(queued_path &path, int64_t now)
{
    while (has_next()) {
        std::pop_heap(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(count_),
                      is_less_probable);
        path = queue_[--count_];
        if (now - path.since > kPatience || was_tried(path.word, now)) continue;
        saved_ -= kSecond;
        tally &of = tally_of(path.probability);
        ++of.trials;
        of.expected += double{path.probability};
        return true;
    }
    return false;
}

int64_t path_queue::trials() const
{
    int64_t sum = 0;
    for (const tally &of : tallies_) sum += of.trials;
    return sum;
}

path_queue::tally &path_queue::tally_of(float probability)
{
    const auto above = std::upper_bound(kRangeBounds.begin(), kRangeBounds.end(), probability);
    return tallies_[static_cast<std::size_t>(above - kRangeBounds.begin())];
}

void path_queue::drop(uint32_t candidate)
{
    const auto end = queue_.begin() + static_cast<std::ptrdiff_t>(count_);
    const auto kept = std::remove_if(
        queue_.begin(), end, [&](const queued_path &path) { return path.candidate == candidate; });
    count_ = static_cast<std::size_t>(kept - queue_.begin());
    std::make_heap(queue_.begin(), kept, is_less_probable);
}

bool path_queue::was_tried(const code_word &word, int64_t now)
{
    const uint64_t key = key_of(word);
    auto &set = tried_[key / 2 % kSets];
    tried_word *oldest = &set[0];
    for (tried_word &tried : set) {
        if (tried.key == key && now - tried.when <= kRemembered) return true;
        if (tried.key == 0 || tried.when < oldest->when) oldest = &tried;
    }
    *oldest = {key, now};
    return false;
}

} // namespace tonelink
