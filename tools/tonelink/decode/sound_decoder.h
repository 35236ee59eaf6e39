// From samples to bursts and messages: the streaming receiver with its shifter, for messages of 32
// bits, of 48 or of both in one pass, and what it has heard so far.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include <tonelink/modem.h>

#include "decode/heard_messages.h"
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

    /// The messages of the bursts that were taken.
    const std::vector<message_summary> &messages() const { return heard_.messages(); }

private:
    message_lengths lengths_;
    acceptance accepted_;
    heard_messages heard_;
    bool finished_ = false;
    BandShiftInfo shifter_{};
    std::unique_ptr<stream_receiver> receiver_;
};

} // namespace tonelink::tool
