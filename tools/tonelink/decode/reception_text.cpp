#include "decode/reception_text.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

double share_of(uint64_t part, uint64_t whole)
{
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0;
}

std::string bursts_text(uint32_t count)
{
    return count == 1 ? "1 burst was seen" : std::to_string(count) + " bursts were seen";
}

std::string too_weak(const tonelink_reception &reception, uint32_t lengths)
{
    const std::string seen = bursts_text(reception.unread);
    const bool is_clear = reception.missing_db <= 0;
    if (is_clear && lengths == TONELINK_LENGTH_32)
        return seen + ", not of 32 bits it seems: --bits both hears the others";
    if (is_clear && lengths == TONELINK_LENGTH_48)
        return seen + ", not of 48 bits it seems: --bits both hears the others";
    if (is_clear)
        return seen +
               ", but not read: echoes or other sounds in the band are in the way; move nearer";
    return joined(1, seen, ", but too weak to be read, by ", reception.missing_db,
                  " dB: move nearer, turn the sender up, or do away with noise");
}

std::string off_clock(const tonelink_reception &reception)
{
    return joined(0, bursts_text(reception.unread), " whose clock is off by ", std::showpos,
                  reception.unread_ppm, std::noshowpos,
                  " ppm, too far to be read: sender or recorder runs at a wrong sample rate");
}

std::string cut_band(const tonelink_reception &reception)
{
    constexpr float kLowestOfMusic = 14'000; // what ends further down is a call
    return joined(
        1, "sound up to ", reception.band_edge_hz / 1000,
        " kHz only, and bursts begin at 18.1: the recording went through voice processing "
        "or a lossy format; record without",
        reception.band_edge_hz < kLowestOfMusic
            ? ""
            : "; or nothing was sent, as a television's programme ends there by itself");
}

std::string lost(const tonelink_reception &reception)
{
    return joined(
        1, 100 * share_of(reception.lost_frames, reception.frames),
        " % of the sound were lost on its way: give the program more time, or the device a "
        "larger buffer");
}

} // namespace

std::string advice_on(const tonelink_reception &reception, const listening &wanted)
{
    if (reception.heard == 0 && reception.seconds < kBurstSeconds)
        return joined(2, "it lasts ", reception.seconds, " s, and a burst half a second");
    switch (reception.reason) {
    case TONELINK_REASON_HEARD: return "";
    case TONELINK_REASON_SILENT:
        return "there is no sound at all: the microphone is muted, or another one is meant";
    case TONELINK_REASON_CLIPPED:
        return joined(1, 100 * share_of(reception.clipped_frames, reception.frames),
                      " % of the samples are cut off at full scale: turn the input down");
    case TONELINK_REASON_BAND_CUT: return cut_band(reception);
    case TONELINK_REASON_TOO_WEAK: return too_weak(reception, wanted.lengths);
    case TONELINK_REASON_CLOCK: return off_clock(reception);
    case TONELINK_REASON_SAMPLES_LOST: return lost(reception);
    default: return "there is sound, but no burst in it: is the sender playing, and near enough?";
    }
}

std::string word_for(int32_t reason)
{
    switch (reason) {
    case TONELINK_REASON_HEARD: return "heard";
    case TONELINK_REASON_SILENT: return "no sound at all";
    case TONELINK_REASON_CLIPPED: return "too loud";
    case TONELINK_REASON_BAND_CUT: return "the band is cut off";
    case TONELINK_REASON_TOO_WEAK: return "bursts too weak";
    case TONELINK_REASON_CLOCK: return "clock too far off";
    case TONELINK_REASON_SAMPLES_LOST: return "samples are lost";
    default: return "no burst";
    }
}

json_object object_of(const tonelink_reception &reception)
{
    json_object object;
    object["reason"] = tonelink_receiver_reason(reception.reason);
    object["seconds"] = to_milliseconds(reception.seconds);
    object["heard_bursts"] = reception.heard;
    object["unread_bursts"] = reception.unread;
    if (reception.unread > 0) {
        object["unread_snr_db"] = to_tenths(reception.unread_snr_db);
        object["missing_db"] = to_tenths(reception.missing_db);
        object["unread_clock_ppm"] = to_tenths(reception.unread_ppm);
    }
    object["level_dbfs"] = to_tenths(reception.level_dbfs);
    object["band_dbfs"] = to_tenths(reception.band_dbfs);
    if (reception.band_edge_hz > 0) object["band_edge_hz"] = std::round(reception.band_edge_hz);
    object["clipped_samples"] = reception.clipped_frames;
    object["lost_samples"] = reception.lost_frames;
    object["invalid_samples"] = reception.invalid_frames;
    return object;
}

} // namespace tonelink::tool
