// A sound that is read several times over: a file as it is, and what comes through a pipe, which
// can be read once, from a file without a name.
#pragma once

#include <optional>

#include "sound_file.h"

namespace tonelink::tool {

class kept_sound {
public:
    /// Reads a pipe, or standard input that is one, to its end. Throws failure when that cannot be
    /// done or kept.
    explicit kept_sound(sound_source source);

    /// To be opened as often as one likes, for as long as this object lives.
    const sound_source &source() const { return source_; }

private:
    sound_source source_;
    std::optional<file_descriptor> copy_; ///< none of a file
};

} // namespace tonelink::tool
