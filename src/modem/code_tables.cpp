#include "modem/code_tables.h"

#include <iterator>

#include "modem/sine.h"

namespace tonelink {

namespace {

constexpr std::array<int16_t, 6 *kSubcarriers> kScramblingRows = {
    51,  198, 178, 40,  155, 62,  27,  76,  91,  63,  218, 97,  100, 158, 228, 209, 231, 24,  103,
    143, 21,  133, 149, 197, 137, 240, 10,  65,  220, 21,  93,  242, 87,  46,  214, 246, 23,  3,
    151, 246, 89,  16,  217, 161, 228, 82,  101, 199, 77,  157, 205, 82,  235, 103, 107, 34,  35,
    160, 162, 24,  103, 140, 89,  202, 217, 208, 175, 80,  48,  1,   240, 160, 112, 19,  147, 222,
    19,  195, 207, 194, 79,  219, 246, 200, 119, 183, 213, 13,  86,  33,  111, 4,   238, 104, 160,
    47,  33,  47,  108, 122, 235, 46,  82,  185, 209, 172, 245, 37,  118, 117, 126, 91,  253, 41,
    184, 88,  56,  89,  102, 215, 229, 132, 186, 52,  58,  139, 198, 110, 70,  64,  214, 79,  87,
    235, 139, 81,  12,  89,  77,  250, 205, 41,  222, 81,  95,  90,  2,   72,  129, 245, 110, 233,
    238, 144, 102, 90,  230, 94,  146, 3,   18,  187, 75,  135, 202, 205, 178, 216, 51,  58,  235,
    199, 107, 196, 58,  196, 186, 59,  220, 3,   93,  135, 54,  210, 95,  216, 223, 237, 204, 192,
    76,  202, 204, 250, 76,  193, 251, 200, 124, 34,  65,  161, 193, 214, 203, 23,  76,  191, 107,
    162, 234, 125, 150, 57,  22,  94,  77,  128, 205, 134, 230, 30,  102, 217, 116, 7,   243, 106,
    112, 30,  239, 228, 190, 120, 62,  144, 158, 147, 31,  121, 126, 196, 253, 182, 116, 117, 243,
    3,   233, 200, 105, 112, 243, 59,  115, 140, 208, 175, 80,  35,  123, 75,  250, 1,   254, 77,
    127, 14,  115, 8,   243, 99,  246, 74,  118, 117, 199, 1,   71,  53,  105, 240, 233, 246, 219,
    132, 91,  241, 193, 18,  65,  212, 19,  114, 146, 135, 245, 41,  117, 157, 253, 139, 126, 128,
    90,  70,  152, 221, 24,  128, 249, 178, 121, 25,  164, 66,  36,  191, 40,  240, 167, 76,  236,
    47,  108, 3,   208, 237, 81,  183, 162, 211, 34,  32,  191, 90,  64,  97,  123, 56,  251, 120,
    86,  83,  214, 221, 25,  250, 153, 42,  234, 0,   106, 204, 110, 41,  237, 196, 222, 163, 94,
    83,  16,  118, 144, 92};

} // namespace

// Chosen at random; read by the channel encoder and undone by the channel decoder.
constexpr std::array<uint8_t, 72> mask_crc_msg_48 = {
    1, 0, 1, 0, 1, 0, 1, 1, 1, 1, 1, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 1, 0,
    0, 1, 1, 1, 1, 0, 1, 1, 0, 1, 0, 0, 1, 1, 1, 0, 1, 0, 0, 0, 0, 1, 0, 1,
    0, 1, 0, 1, 1, 1, 0, 0, 0, 1, 0, 1, 1, 1, 0, 0, 0, 1, 0, 1, 1, 1, 0, 0};

constexpr std::array<uint8_t, 56> mask_crc_msg_32 = [] {
    std::array<uint8_t, 56> mask{};
    for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = mask_crc_msg_48[9 + i];
    return mask;
}();

constexpr std::array<uint8_t, 56> perm_msg_crc_32 = {
    52, 39, 21, 2,  36, 47, 4,  38, 35, 7,  43, 51, 10, 16, 8,  23, 29, 14, 18,
    44, 5,  50, 27, 0,  24, 45, 1,  17, 6,  32, 25, 15, 40, 49, 3,  31, 34, 9,
    42, 33, 13, 30, 55, 22, 48, 11, 41, 20, 54, 26, 19, 53, 46, 28, 12, 37};

constexpr std::array<uint8_t, 72> perm_msg_crc_48 = {
    31, 39, 21, 33, 34, 5,  54, 2,  67, 15, 68, 10, 53, 29, 44, 59, 71, 61, 69, 50, 32, 6,  37, 57,
    41, 27, 16, 40, 46, 13, 45, 55, 62, 7,  66, 58, 4,  47, 52, 28, 20, 24, 51, 36, 63, 30, 48, 26,
    60, 49, 25, 42, 18, 43, 14, 0,  35, 70, 22, 64, 1,  3,  17, 23, 38, 12, 8,  65, 19, 56, 9,  11};

constexpr std::array<int32_t, kChannelBits> perm_msg = {
    476, 116, 386, 451, 67,  360, 229, 464, 284, 45,  22,  298, 60,  191, 77,  220, 120, 141, 39,
    255, 246, 200, 448, 153, 253, 461, 462, 12,  381, 402, 65,  261, 400, 313, 453, 101, 487, 230,
    382, 62,  36,  243, 388, 470, 140, 136, 483, 151, 78,  134, 472, 444, 364, 241, 235, 458, 342,
    168, 111, 283, 380, 160, 208, 74,  210, 277, 21,  474, 389, 332, 239, 463, 428, 383, 30,  130,
    145, 38,  76,  135, 24,  222, 410, 138, 256, 418, 335, 311, 147, 110, 75,  456, 34,  17,  124,
    57,  449, 195, 233, 129, 203, 90,  367, 326, 55,  237, 411, 32,  236, 125, 272, 482, 54,  344,
    194, 206, 346, 339, 264, 289, 91,  286, 385, 254, 276, 112, 144, 4,   175, 384, 366, 355, 187,
    179, 397, 238, 88,  146, 247, 368, 166, 106, 425, 41,  240, 201, 217, 81,  104, 15,  192, 434,
    181, 226, 279, 212, 26,  302, 306, 35,  369, 121, 50,  43,  436, 20,  324, 445, 161, 349, 2,
    152, 405, 372, 373, 172, 245, 378, 234, 314, 343, 82,  94,  109, 183, 320, 1,   23,  431, 420,
    398, 439, 155, 269, 465, 403, 363, 362, 11,  299, 218, 334, 202, 56,  419, 435, 108, 325, 356,
    447, 270, 278, 127, 318, 158, 215, 137, 399, 184, 350, 455, 154, 214, 414, 274, 481, 8,   484,
    148, 100, 374, 396, 426, 473, 468, 301, 93,  53,  417, 70,  61,  387, 265, 250, 370, 295, 178,
    98,  176, 395, 427, 142, 330, 475, 285, 271, 371, 429, 393, 29,  457, 354, 52,  297, 260, 97,
    99,  485, 224, 211, 198, 446, 307, 413, 292, 331, 460, 95,  19,  353, 415, 406, 79,  51,  467,
    165, 180, 422, 227, 128, 197, 73,  44,  150, 390, 14,  9,   37,  0,   300, 170, 275, 232, 18,
    312, 375, 199, 42,  89,  193, 341, 315, 223, 310, 282, 454, 459, 126, 340, 361, 225, 85,  92,
    68,  251, 440, 115, 185, 430, 351, 423, 122, 443, 196, 164, 357, 204, 267, 345, 102, 424, 257,
    359, 258, 377, 40,  25,  113, 296, 123, 169, 207, 433, 28,  438, 248, 189, 48,  273, 173, 96,
    182, 319, 337, 486, 477, 87,  132, 119, 143, 437, 281, 114, 69,  442, 327, 280, 6,   249, 263,
    47,  290, 63,  58,  213, 317, 228, 157, 49,  5,   365, 3,   407, 416, 348, 404, 304, 131, 379,
    466, 171, 450, 352, 174, 432, 209, 188, 268, 27,  117, 478, 305, 7,   205, 391, 452, 469, 323,
    13,  308, 216, 259, 338, 328, 293, 242, 358, 71,  408, 107, 401, 252, 159, 139, 291, 347, 412,
    72,  336, 333, 149, 471, 46,  329, 479, 163, 118, 262, 33,  162, 244, 409, 309, 316, 133, 167,
    303, 66,  287, 80,  294, 441, 84,  10,  376, 190, 31,  219, 421, 105, 321, 186, 221, 392, 231,
    177, 288, 83,  266, 59,  480, 322, 86,  64,  103, 394, 16,  156};

constexpr std::array<int16_t, kSymbols *kSubcarriers> phi_scr = [] {
    std::array<int16_t, kSymbols * kSubcarriers> phases{};
    for (std::size_t i = 0; i < phases.size(); ++i)
        phases[i] = kScramblingRows[i % kScramblingRows.size()];
    return phases;
}();

constexpr std::array<int16_t, 64> phaseReal = [] {
    std::array<int16_t, 64> cosines{};
    for (std::size_t k = 0; k < cosines.size(); ++k) cosines[k] = sine_q15(64 + k, 256);
    return cosines;
}();

constexpr std::array<int16_t, 64> phaseImag = [] {
    std::array<int16_t, 64> sines{};
    for (std::size_t k = 0; k < sines.size(); ++k) sines[k] = sine_q15(k, 256);
    return sines;
}();

constexpr std::array<int16_t, kGuardSamples> w_pre = [] {
    std::array<int16_t, kGuardSamples> ramp{};
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        const double s = sine_of_turn(static_cast<double>(i + 1) / 34.0);
        ramp[i] = round_to_int16(32767.0 * s * s);
    }
    return ramp;
}();

constexpr std::array<int16_t, kGuardSamples> w_post = [] {
    std::array<int16_t, kGuardSamples> ramp{};
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = w_pre[ramp.size() - 1 - i];
    return ramp;
}();

// ---- What the receiver's vector stages make of the above ----------------------------------------

namespace {

constexpr descrambling_factors factors_of(int16_t phase)
{
    const auto in_quadrant = static_cast<std::size_t>(phase & 63);
    int16_t c = phaseReal[in_quadrant];
    int16_t d = phaseImag[in_quadrant];
    for (int quadrant = phase >> 6; quadrant > 0; --quadrant) {
        const int16_t turned = c;
        c = static_cast<int16_t>(-d);
        d = turned;
    }
    return {{c, d}, {static_cast<int16_t>(-d), c}};
}

/// Position in the coded bits of each rate-matched bit of a 32-bit message.
constexpr auto kMatched32 = [] {
    std::array<std::size_t, kChannelBits> coded{};
    std::size_t dropped = 0;
    for (std::size_t position = 0; position < kChannelBits + punct_msg.size() - 1; ++position) {
        if (position == static_cast<std::size_t>(punct_msg[dropped]))
            ++dropped;
        else
            coded[position - dropped] = position % 248;
    }
    return coded;
}();

/// The same of a 48-bit message.
constexpr auto kMatched48 = [] {
    std::array<std::size_t, kChannelBits> coded{};
    for (std::size_t i = 0; i < coded.size(); ++i)
        coded[i] = i < 312 ? i : static_cast<std::size_t>(repeat_perm_msg[i - 312]);
    return coded;
}();

constexpr soft_slot_table make_slots(const std::array<std::size_t, kChannelBits> &coded)
{
    soft_slot_table slots{};
    for (std::size_t i = 0; i < kChannelBits; ++i) {
        const std::size_t at = coded[static_cast<std::size_t>(perm_msg[i])];
        const std::size_t bit = at % kCodeOutputs;
        slots.of[i] = static_cast<uint8_t>(3 * (at / kCodeOutputs) + (bit == 3 ? 0 : bit));
    }
    return slots;
}

/// One step of the CRC with a zero bit.
constexpr uint32_t step_crc(uint32_t crc)
{
    return (crc << 1 & 0xFFFFFF) ^ ((crc & 0x800000) != 0 ? kCrcPolynomial : 0u);
}

template <std::size_t Bits>
constexpr syndrome_table<Bits>
make_syndromes(const std::array<uint8_t, Bits + kCrcBits> &permutation,
               const std::array<uint8_t, Bits + kCrcBits> &mask)
{
    // What each bit of message and CRC adds. The message goes into its CRC last bit first.
    std::array<uint32_t, Bits + kCrcBits> columns{};
    uint32_t column = 0x800000;
    for (std::size_t i = 0; i < Bits; ++i) columns[i] = column = step_crc(column);
    for (std::size_t i = 0; i < kCrcBits; ++i) columns[Bits + i] = 0x800000u >> i;

    syndrome_table<Bits> table{};
    for (std::size_t n = 0; n < table.kNibbles; ++n)
        for (unsigned nibble = 0; nibble < 16; ++nibble)
            for (std::size_t bit = 0; bit < 4; ++bit)
                if ((nibble >> (3 - bit) & 1) != 0)
                    table.of[n][nibble] ^= columns[permutation[4 * n + bit]];
    uint32_t start = kCrcStart; // what the CRC makes of zeros
    for (std::size_t i = 0; i < Bits; ++i) start = step_crc(start);
    table.wanted = start ^ kCrcFinalXor;
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (mask[i] != 0) table.wanted ^= columns[i];
    return table;
}

} // namespace

constexpr descrambling_table kDescrambling = [] {
    descrambling_table table{};
    for (std::size_t i = 0; i < std::size(table.of); ++i) table.of[i] = factors_of(phi_scr[i]);
    return table;
}();

constexpr soft_slot_table kSoftSlots32 = make_slots(kMatched32);
constexpr soft_slot_table kSoftSlots48 = make_slots(kMatched48);

constexpr syndrome_table<32> kSyndromes32 = make_syndromes<32>(perm_msg_crc_32, mask_crc_msg_32);
constexpr syndrome_table<48> kSyndromes48 = make_syndromes<48>(perm_msg_crc_48, mask_crc_msg_48);

} // namespace tonelink
