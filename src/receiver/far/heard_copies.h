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

    struct entry {
        copy_set copies; ///< as they were detected
        /// Those that hold a burst, and those of the same write that may still come.
        copy_set write;
        float energy; ///< of their pilots, added up
        code_word word;
        bool is_told; ///< as a message of its own
    };

    /// Remembers copies that hold a word.
    void add(const entry &heard);

    /// Whether one of these copies of a word was told before.
    bool have_told(const copy_set &copies, const code_word &word) const;

    /// Whether a detection is a sum of bursts each of which was heard alone, or two writes of which
    /// one was heard by itself.
    bool hold(const detection &found) const;

    /// Whether a detection lies within a burst that was heard and has a part of its energy.
    bool have_beside(const detection &found) const;

private:
    template <class Condition> bool any_of(const Condition &holds) const;

    std::array<entry, 32> entries_; // the last ones, in a ring
    std::size_t count_ = 0;
};

} // namespace tonelink
