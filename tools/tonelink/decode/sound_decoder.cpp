#include "decode/sound_decoder.h"

#include <array>
#include <new>
#include <utility>

#include "modem/burst_format.h"

namespace tonelink::tool {

sound_decoder::sound_decoder(message_lengths lengths, acceptance accepted)
    : lengths_{lengths}, accepted_{std::move(accepted)}, receiver_{
                                                             std::make_unique<stream_receiver>()}
{
    openBandShift(&shifter_, kBandShiftHz);
    if (shifter_.delay.data == nullptr) throw std::bad_alloc{};
}

sound_decoder::~sound_decoder() { closeBandShift(&shifter_); }

void sound_decoder::put(std::span<const int16_t> samples)
{
    receiver_->receive(samples, shifter_, lengths_, [this](const heard_message &heard) {
        const auto bits = heard.message();
        const message_bits message{bits.begin(), bits.end()};
        const auto sample = static_cast<int64_t>(heard.position);
        heard_.accept(message, sample);
        if (accepted_) accepted_(message, sample);
    });
}

void sound_decoder::finish()
{
    // Filters and the run of acceptances end within a symbol's body.
    put(std::array<int16_t, kAudioBodySamples>{});
    finished_ = true;
}

int64_t sound_decoder::position() const { return static_cast<int64_t>(receiver_->position()); }

std::optional<heard_burst> sound_decoder::take_burst()
{
    return heard_.take(finished_ ? INT64_MAX : position());
}

} // namespace tonelink::tool
