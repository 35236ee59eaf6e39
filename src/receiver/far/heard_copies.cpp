#include "receiver/far/heard_copies.h"

#include <algorithm>
#include <cmath>

namespace tonelink {

namespace {

// Baseband samples.
constexpr double kSideReach = 2200; // a burst reaches so far, and what surrounds it in the map
constexpr double kSameBurst = 0.95 * kCopyDistance; // with one word: copies do not overlap
constexpr double kSameWrite = 30;                   // a write, and a burst, that are detected twice
constexpr double kSamePlace = 5;

/// What surrounds a burst has less than this share of its energy.
constexpr float kSideShare = 0.45f;

bool are_close(const copy_set &a, const copy_set &b, double reach)
{
    for (std::size_t n = 0; n < a.count; ++n)
        for (std::size_t m = 0; m < b.count; ++m)
            if (std::abs(a.places[n].first_body - b.places[m].first_body) < reach) return true;
    return false;
}

} // namespace

template <class Condition> bool heard_copies::any_of(const Condition &holds) const
{
    const std::size_t kept = std::min(count_, entries_.size());
    return std::any_of(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(kept),
                       holds);
}

void heard_copies::add(const entry &heard) { entries_[count_++ % entries_.size()] = heard; }

bool heard_copies::have_told(const copy_set &copies, const code_word &word) const
{
    return any_of([&](const entry &heard) {
        return heard.is_told && heard.word == word && are_close(heard.write, copies, kSameBurst);
    });
}

bool heard_copies::hold(const detection &found) const
{
    if (found.copies == 1) return false;
    const copy_set copies = found.places();
    const auto is_heard = [&](std::size_t copy, std::size_t count, double reach) {
        return any_of([&](const entry &heard) {
            const double apart = heard.copies.places[0].first_body - copies.places[copy].first_body;
            return heard.copies.count == count && std::abs(apart) < reach;
        });
    };
    if (copies.second_write < copies.count &&
        (is_heard(0, copies.second_write, kSameWrite) ||
         is_heard(copies.second_write, copies.second_write, kSameWrite)))
        return true;
    for (std::size_t copy = 0; copy < copies.count; ++copy)
        if (!is_heard(copy, 1, kSamePlace)) return false;
    return true;
}

bool heard_copies::have_beside(const detection &found) const
{
    const copy_set copies = found.places();
    const float energy = found.first.energy / static_cast<float>(found.copies);
    return any_of([&](const entry &heard) {
        const float of_heard = heard.energy / static_cast<float>(heard.copies.count);
        return energy < kSideShare * of_heard && are_close(copies, heard.copies, kSideReach);
    });
}

} // namespace tonelink
