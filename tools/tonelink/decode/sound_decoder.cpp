#include "decode/sound_decoder.h"

#include <algorithm>
#include <array>
#include <new>

#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

constexpr std::size_t kSilence = 1280; // as long as a symbol's body

} // namespace

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
        accepted_({bits.begin(), bits.end()}, static_cast<int64_t>(heard.position));
    });
}

void sound_decoder::finish() { put(std::array<int16_t, kSilence>{}); }

int64_t sound_decoder::position() const { return static_cast<int64_t>(receiver_->position()); }

} // namespace tonelink::tool
