// The streams whose reception an independent model knows, and what others are made of: bursts in
// noise, from their middle, one after the other, and noise alone.
#pragma once

#include "modem/known_bursts.h"
#include "support/scenes.h"

namespace tonelink::test {

struct known_scene {
    const char *name;
    scene sound;
};

inline const scene kThird = {26000, {{kPair32.bits, 1000, 3}}}; // of full scale
inline const scene kFull = {26000, {{kPair48.bits, 777}}};
inline const scene kLoop = {110000, {{kData32.bits, -8000, 10, 6, 23170}}, {{71, 60}}};
inline const scene kDeepInNoise = {
    52000, {{kPair32.bits, 900, 10}, {kPair32.bits, 26500, 10}}, {{72, 8}}};
inline const scene kNoiseAlone = {30000, {}, {{73}}}; // of full scale: what can wrap, wraps
inline const scene kThree = {
    80000, {{kPair48.bits, 500, 4}, {kData48.bits, 26500, 8}, {kPair48.bits, 53000, 2}}};
inline const scene kTwice = {54000, {{kData32.bits, 600, 3}, {kData32.bits, 28000, 3}}};
inline const scene kTiny = {26000, {{kData48.bits, 0, 3000}}};
inline const scene kBothLengths = {52000, {{kData48.bits, 1000, 2}, {kPair32.bits, 26000, 2}}};
inline const scene kOverlapping = {
    90000, {{kPair32.bits, 3000, 4, 3, 23170}, {kData48.bits, 14000, 5, 3, 24000}}, {{74, 200}}};

inline const known_scene kKnownScenes[] = {
    {"third", kThird},
    {"full", kFull},
    {"loop", kLoop},
    {"deep in noise", kDeepInNoise},
    {"noise alone", kNoiseAlone},
    {"three", kThree},
    {"twice", kTwice},
    {"tiny", kTiny},
    {"both lengths", kBothLengths},
    {"overlapping", kOverlapping},
};

} // namespace tonelink::test
