// Where copies of heard bursts lie: so that none is told twice, and that what surrounds a loud
// burst is known for what it is.
#pragma once

#include <array>
#include <cstddef>

#include "receiver/far/burst_detector.h"
#include "receiver/far/known_words.h"

namespace tonelink {

class heard_copies {
public:
    void restart() { count_ = 0; }

    /// Remembers copies that hold a word.
    /// @param energy  of their pilots, added up
    /// @returns whether none of them was told before
    bool add(const copy_set &copies, float energy, const code_word &word);

    /// Whether a detection is a sum of bursts each of which was heard alone, or two writes of which
    /// one was heard by itself.
    bool hold(const detection &found) const;

    /// Whether a detection lies within a burst that was heard and has a part of its energy.
    bool have_beside(const detection &found) const;

private:
    struct entry {
        copy_set copies;
        float energy; ///< of a copy
        code_word word;
        bool is_told; ///< as a message of its own
    };

    template <class Condition> bool any_of(const Condition &holds) const;

    std::array<entry, 32> entries_; // the last ones, in a ring
    std::size_t count_ = 0;
};

} // namespace tonelink
