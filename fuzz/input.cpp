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
        auto piece = test::noise(length, kind, level, 256);
        if (kind % 8 < 4) { // of a burst, most often from its start
            piece = known_burst(kind % 4);
            const std::size_t start = kind < 128 ? 0 : from.below(piece.size());
            piece.erase(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(start));
            piece.resize(length);
            for (int16_t &sample : piece) sample = static_cast<int16_t>(sample * level / 256);
        }
        if (kind % 8 == 5) std::ranges::fill(piece, from.half());
        for (std::size_t i = 0; kind % 8 == 6 && i < length; ++i)
            piece[i] = i / static_cast<std::size_t>(level) % 2 == 0 ? 32767 : -32768;
        if (kind % 8 == 7) std::ranges::generate(piece, [&] { return from.half(); });
        sound.insert(sound.end(), piece.begin(), piece.end());
    }
    return sound;
}

} // namespace tonelink::fuzz
