// Calls of the receiver library in any order, with any settings and any sound: each answers as
// documented, what is told lies in its range, and a second receiver, which gets the same in other
// blocks, tells the same.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "fuzz/input.h"
#include "tonelink/receiver.h"

namespace {

using namespace tonelink;

constexpr std::size_t kLongest = 60000; // samples in a run
constexpr int kMostCalls = 16;
constexpr double kBurstSeconds = 0.5255;

/// What a stream has been given, and the two receivers that it is given to.
struct stream {
    tonelink_receiver_settings settings;
    tonelink_receiver *whole = nullptr;
    tonelink_receiver *split = nullptr;
    std::size_t left = kLongest; ///< that may be pushed
    uint64_t frames = 0;
    bool is_ended = false;
    bool is_endless = false; ///< more was lost than is counted

    void begin()
    {
        if (!is_ended) return;
        is_ended = is_endless = false;
        frames = 0;
    }
};

int32_t expected_result(const tonelink_receiver_settings &settings)
{
    if (settings.size != 0 && settings.size < 8) return TONELINK_RECEIVER_BAD_ARGUMENT;
    const bool has_lengths = settings.size == 0 || settings.size >= 12;
    const bool has_methods = settings.size == 0 || settings.size >= 16;
    const int32_t rate = settings.sample_rate;
    if (rate != 0 && (rate < 42000 || rate > 384000)) return TONELINK_RECEIVER_BAD_RATE;
    if (has_lengths && settings.lengths > 3) return TONELINK_RECEIVER_BAD_LENGTHS;
    if (has_methods && settings.methods > 3) return TONELINK_RECEIVER_BAD_METHODS;
    return TONELINK_RECEIVER_OK;
}

bool open(stream &to, fuzz::input &from)
{
    constexpr std::array<int32_t, 8> kRates = {0, 44100, 48000, 88200, 42000, 96000, 41999, -1};
    const uint8_t which = from.byte();
    const uint8_t options = from.byte();
    to.settings = {sizeof to.settings, kRates[which % 8], options % 4u, 0};
    if ((which & 8) != 0) to.settings.size = 4u * (from.byte() % 8);
    if ((which & 16) != 0) to.settings.sample_rate = 42000 + 6 * static_cast<uint16_t>(from.half());
    if (options >= 224) to.settings.lengths = options;
    if (options % 32 >= 28) to.settings.methods = options / 32;
    const int32_t expected = expected_result(to.settings);
    REQUIRE((tonelink_receiver_memory(&to.settings) > 0) == (expected == TONELINK_RECEIVER_OK));
    for (tonelink_receiver **const receiver : {&to.whole, &to.split}) {
        REQUIRE(tonelink_receiver_open(&to.settings, receiver) == expected);
        REQUIRE((*receiver != nullptr) == (expected == TONELINK_RECEIVER_OK));
    }
    return to.whole != nullptr;
}

/// As long as the input says, and as there is room for in a run. At twice the modem's rate each
/// sample comes twice, so that there are bursts to be heard at a rate that is converted.
std::vector<int16_t> make_sound(stream &for_it, fuzz::input &from)
{
    auto sound = fuzz::make_sound(from, std::min(for_it.left, from.below(60000)));
    for_it.left -= sound.size();
    if (for_it.settings.sample_rate != 88200) return sound;
    std::vector<int16_t> doubled;
    for (const int16_t sample : sound) doubled.insert(doubled.end(), 2, sample);
    return doubled;
}

/// A sample of a sound, or of the input's own making.
float as_float(int16_t sample, uint8_t kind, fuzz::input &from)
{
    if (kind % 8 != 7) return static_cast<float>(sample) / (kind % 2 == 0 ? 32768.0f : 9000.0f);
    const std::array<int16_t, 2> halves = {from.half(), from.half()};
    float value;
    std::memcpy(&value, halves.data(), sizeof value);
    return value;
}

/// Pushes the same to both receivers, to one of them in blocks.
template <class Sample, class Push>
void push(stream &to, const std::vector<Sample> &samples, fuzz::input &from, Push push_to)
{
    const std::size_t stride = 1 + from.byte() % 3;
    const std::size_t frames = (samples.size() + stride - 1) / stride;
    REQUIRE(push_to(to.whole, samples.data(), frames, stride) == TONELINK_RECEIVER_OK);
    const std::array sizes = {1 + from.below(5000), 1 + from.below(300), 1 + from.below(8)};
    for (std::size_t at = 0, block = 0; at < frames; ++block) {
        const std::size_t count = std::min(sizes[block % sizes.size()], frames - at);
        REQUIRE(push_to(to.split, &samples[at * stride], count, stride) == TONELINK_RECEIVER_OK);
        at += count;
    }
    if (frames > 0) to.begin();
    to.frames += frames;
}

void lose(stream &from_it, uint64_t frames)
{
    for (tonelink_receiver *const receiver : {from_it.whole, from_it.split})
        REQUIRE(tonelink_receiver_lost(receiver, frames) == TONELINK_RECEIVER_OK);
    if (frames > 0) from_it.begin();
    from_it.frames += frames;
    from_it.is_endless |= frames > UINT32_MAX;
}

void require_sense(const stream &of, const tonelink_reception &now)
{
    REQUIRE(of.is_endless || now.frames == of.frames);
    REQUIRE(now.lost_frames <= now.frames);
    REQUIRE(now.clipped_frames + now.invalid_frames <= now.frames - now.lost_frames);
    for (const int32_t reason : {now.reason, now.recent_reason})
        REQUIRE(std::strcmp(tonelink_receiver_reason(reason), "unknown") != 0);
    REQUIRE((now.reason == TONELINK_REASON_HEARD) == (now.heard > 0));
    for (const float level : {now.level_dbfs, now.peak_dbfs, now.band_dbfs})
        REQUIRE(level >= -150 && level < 10);
    for (const float level : now.spectrum_dbfs) REQUIRE(level >= -150 && level < 10);
    REQUIRE(now.band_edge_hz >= 0 && now.band_edge_hz <= 22050);
    REQUIRE(now.missing_db >= 0 && now.missing_db < 40);
    REQUIRE(std::abs(now.unread_snr_db) < 200 && std::abs(now.unread_ppm) < 10000);
}

void require_sense(const stream &of, const tonelink_heard &heard)
{
    const uint32_t length = heard.nbits == 32 ? 1 : heard.nbits == 48 ? 2 : 0;
    const bool is_any = of.settings.size != 0 && of.settings.size < 12;
    REQUIRE(is_any || of.settings.lengths == 0 || (of.settings.lengths & length) != 0);
    REQUIRE(length != 0 && heard.message[6] == 0 && heard.message[7] == 0);
    REQUIRE(length == 2 || (heard.message[4] == 0 && heard.message[5] == 0));
    REQUIRE(heard.seconds > -kBurstSeconds);
    REQUIRE(heard.level_dbfs >= -150 && heard.level_dbfs < 10);
    REQUIRE(std::abs(heard.snr_db) < 200 && std::abs(heard.clock_ppm) < 10000);
    const bool is_exact = (heard.methods & TONELINK_METHOD_EXACT) != 0;
    REQUIRE(heard.methods >= 1 && heard.methods <= 3 && is_exact == (heard.positions > 0));
    REQUIRE(heard.copies >= 1 && heard.copies <= (heard.methods == 1 ? 1 : 10));
    REQUIRE(heard.repeats < 32);
}

/// Takes the reports and up to `most` records; both receivers have the same.
void compare(const stream &of, std::size_t most)
{
    std::array<tonelink_reception, 2> reports = {};
    REQUIRE(tonelink_receiver_report(of.whole, &reports[0]) == TONELINK_RECEIVER_OK);
    REQUIRE(tonelink_receiver_report(of.split, &reports[1]) == TONELINK_RECEIVER_OK);
    REQUIRE(std::memcmp(&reports[0], &reports[1], offsetof(tonelink_reception, spectrum_dbfs)) ==
            0);
    REQUIRE(std::ranges::equal(reports[0].spectrum_dbfs, reports[1].spectrum_dbfs));
    require_sense(of, reports[0]);
    for (std::size_t i = 0; i < most; ++i) {
        std::array<tonelink_heard, 2> heard = {};
        const int32_t result = tonelink_receiver_next(of.whole, &heard[0]);
        REQUIRE(tonelink_receiver_next(of.split, &heard[1]) == result);
        if (result == 0) break;
        REQUIRE(result == 1 &&
                std::memcmp(&heard[0], &heard[1], offsetof(tonelink_heard, positions)) == 0);
        require_sense(of, heard[0]);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    fuzz::input from{data, size};
    stream all;
    if (!open(all, from)) return 0;
    for (int call = 0; call < kMostCalls && !from.empty(); ++call) {
        const uint8_t what = from.byte();
        switch (what % 8) {
        case 0: lose(all, from.below(8000)); break;
        case 1: lose(all, what < 192 ? 0 : UINT64_MAX >> from.byte() % 64); break;
        case 2:
            for (tonelink_receiver *const receiver : {all.whole, all.split})
                REQUIRE(tonelink_receiver_flush(receiver) == TONELINK_RECEIVER_OK);
            all.is_ended = true;
            break;
        case 3: compare(all, what / 8 % 4); break;
        case 4:
        case 5: push(all, make_sound(all, from), from, tonelink_receiver_push_s16); break;
        default: {
            std::vector<float> samples;
            for (const int16_t sample : make_sound(all, from))
                samples.push_back(as_float(sample, what / 8, from));
            push(all, samples, from, tonelink_receiver_push_f32);
        }
        }
    }
    compare(all, SIZE_MAX);
    tonelink_receiver_close(all.whole);
    tonelink_receiver_close(all.split);
    return 0;
}
