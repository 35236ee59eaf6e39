// From samples to bursts: the streaming receiver with its shifter, for messages of 32 bits, of 48
// or of both in one pass.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include <tonelink/modem.h>

#include "decode/heard_bursts.h"
#include "message.h"
#include "modem/stream_receiver.h"

namespace tonelink::tool {

/// Is told of each acceptance: the message and the sample of the sound that completed it.
using acceptance = std::function<void(const message_bits &, int64_t)>;

class sound_decoder {
public:
    explicit sound_decoder(message_lengths lengths, acceptance accepted = {});
    ~sound_decoder();
    sound_decoder(const sound_decoder &) = delete;
    sound_decoder &operator=(const sound_decoder &) = delete;

    /// Takes the next samples of the sound.
    void put(std::span<const int16_t> samples);

    /// Takes the silence behind the sound, which brings out what filters still hold. Nothing may be
    /// put afterwards.
    void finish();

    /// How many samples of the sound have been taken.
    int64_t position() const;

    /// The next burst that is complete, or none.
    std::optional<heard_burst> take_burst();

    /// The next burst that has been heard although it may not be complete, for when nothing more
    /// comes for a while. It will not be taken again.
    std::optional<heard_burst> take_early() { return heard_.take_early(); }

private:
    message_lengths lengths_;
    acceptance accepted_;
    heard_bursts heard_;
    bool finished_ = false;
    BandShiftInfo shifter_{};
    std::unique_ptr<stream_receiver> receiver_;
};

} // namespace tonelink::tool
