#include "receiver/reception_report.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "modem/burst_format.h"

namespace tonelink {

namespace {

/// Of the slots, that are quiet in a stream that is silent.
constexpr double kSilentShare = 0.9;
/// Of the time, that is too much to lose: a burst then hardly gets through whole.
constexpr double kLostShare = 0.05;
/// Of the frames, that are cut off in a sound that is too loud.
constexpr double kClippedShare = 0.005;

/// By how much, in power, a sound falls where it ends: 18 dB. Sounds of themselves fall by 10 dB at
/// most there, averaged over time.
constexpr float kEdgeRatio = 63;
constexpr float kFallen = 16;      ///< in power: beyond the edge
constexpr float kNothing = 5e-12f; ///< power of what 16 bits leave of a narrow band without sound

/// A sound that ends below has a quarter of the bursts' band at most.
constexpr float kCutHz = 18600;

constexpr std::size_t kBelow = 11;      // bands, 1900 Hz, up to the edge: what there is
constexpr std::size_t kLowestEdge = 14; // 2400 Hz

/// The median up to a band: a tone, however loud, is not what ends there.
float usual_power(const std::array<float, kNarrowBands> &powers, std::size_t last)
{
    std::array<float, kBelow> sorted;
    std::copy_n(&powers[last + 1 - kBelow], kBelow, sorted.begin());
    std::ranges::nth_element(sorted, sorted.begin() + kBelow / 2);
    return sorted[kBelow / 2];
}

double share_of(double part, double whole) { return whole > 0 ? part / whole : 0; }

} // namespace

float level_of(double power)
{
    constexpr double kOfSine = 0.5;
    return static_cast<float>(std::max(10 * std::log10(power / kOfSine + 1e-15), -150.0));
}

float band_edge_of(const sound_figures &figures)
{
    constexpr std::size_t kFall = 4; // 700 Hz: in which it ends
    const float nothing = kNothing * static_cast<float>(figures.slots);
    const auto &powers = figures.narrow_powers;
    float above = 0, deepest = 0, edge_hz = 0;
    for (std::size_t last = kNarrowBands - 1 - kFall; last >= kLowestEdge; --last) {
        above = std::max(above, powers[last + kFall]);
        const float below = usual_power(powers, last);
        const float fall = below / std::max(above, nothing);
        if (below <= above * kEdgeRatio || below <= nothing || fall <= deepest) continue;
        deepest = fall; // what a filter leaves beyond its edge has an end of its own, less deep
        std::size_t edge = last;
        while (powers[edge] < below / kFallen) --edge;
        edge_hz = kNarrowBandHz * static_cast<float>(edge + 1);
    }
    return edge_hz;
}

tonelink_reason reason_of(const sound_figures &figures)
{
    const bool is_clipped = share_of(static_cast<double>(figures.clipped_frames),
                                     static_cast<double>(figures.frames)) > kClippedShare;
    if (figures.heard > 0) return TONELINK_REASON_HEARD;
    if (figures.unread > 0) {
        // What is cut off spoils what a burst is measured by.
        if (is_clipped) return TONELINK_REASON_CLIPPED;
        if (figures.unread_snr_db < kReadableSnrDb) return TONELINK_REASON_TOO_WEAK;
        if (std::abs(figures.unread_ppm) > kDoubtfulClockPpm) return TONELINK_REASON_CLOCK;
        return figures.lost_frames > 0 ? TONELINK_REASON_SAMPLES_LOST : TONELINK_REASON_TOO_WEAK;
    }
    const auto lost = static_cast<double>(figures.lost_frames);
    if (share_of(lost, static_cast<double>(figures.frames) + lost) > kLostShare)
        return TONELINK_REASON_SAMPLES_LOST;
    if (figures.slots == 0 && figures.frames > 0)
        return TONELINK_REASON_NO_BURST; // too short to tell
    if (figures.quiet_slots >= kSilentShare * figures.slots) return TONELINK_REASON_SILENT;
    const float edge = band_edge_of(figures);
    if (edge > 0 && edge < kCutHz) return TONELINK_REASON_BAND_CUT;
    return is_clipped ? TONELINK_REASON_CLIPPED : TONELINK_REASON_NO_BURST;
}

} // namespace tonelink
