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
        if (kind % 8 < 4) { // a piece of a burst, most often from its start
            const auto &burst = known_burst(kind % 4);
            const std::size_t start = kind < 128 ? 0 : from.below(burst.size());
            for (std::size_t i = 0; i < length; ++i)
                sound.push_back(static_cast<int16_t>(
                    start + i < burst.size() ? burst[start + i] * level / 256 : 0));
        } else if (kind % 8 == 4) {
            for (const int16_t sample : test::noise(length, kind, level, 256))
                sound.push_back(sample);
        } else if (kind % 8 == 5) {
            sound.insert(sound.end(), length, from.half());
        } else if (kind % 8 == 6) { // full scale, both ways
            for (std::size_t i = 0; i < length; ++i)
                sound.push_back(i / static_cast<std::size_t>(level) % 2 == 0 ? 32767 : -32768);
        } else {
            for (std::size_t i = 0; i < length && !from.empty(); ++i) sound.push_back(from.half());
        }
    }
    return sound;
}

} // namespace tonelink::fuzz
