#include "fuzz/input.h"

#include <algorithm>
#include <array>

#include "modem/known_bursts.h"
#include "support/modem_guard.h"
#include "support/signals.h"

namespace tonelink::fuzz {

namespace {

const std::vector<int16_t> &known_burst(std::size_t index)
{
    const auto made = [](std::size_t i) {
        return test::open_modem{}.burst(test::kKnownBursts[i].bits);
    };
    static const std::array bursts = {made(0), made(1), made(2), made(3)};
    return bursts[index];
}

} // namespace

std::vector<int16_t> make_sound(input &from, std::size_t longest)
{
    std::vector<int16_t> sound;
    while (!from.empty() && sound.size() < longest) {
        const uint8_t kind = from.byte();
        const std::size_t length = std::min(from.below(24000), longest - sound.size());
        const int32_t level = from.byte() + 1;
        const auto &burst = known_burst(kind % 4); // most often from its start
        const std::size_t start = kind < 128 || kind % 8 >= 4 ? 0 : from.below(burst.size());
        const auto noise = test::noise(kind % 8 == 4 ? length : 0, kind, level, 256);
        const int16_t constant = kind % 8 == 5 ? from.half() : int16_t{0};
        for (std::size_t i = 0; i < length; ++i) {
            int32_t sample = constant;
            if (kind % 8 < 4)
                sample = start + i < burst.size() ? burst[start + i] * level / 256 : 0;
            if (kind % 8 == 4) sample = noise[i];
            if (kind % 8 == 6)
                sample = i / static_cast<std::size_t>(level) % 2 == 0 ? 32767 : -32768;
            if (kind % 8 == 7) sample = from.half();
            sound.push_back(static_cast<int16_t>(sample));
        }
    }
    return sound;
}

} // namespace tonelink::fuzz
