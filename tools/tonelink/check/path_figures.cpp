#include "check/path_figures.h"

#include <algorithm>
#include <cmath>

#include "burst_shape.h"
#include "check/frame_spectrum.h"
#include "check/probe_bursts.h"
#include "check/probe_search.h"
#include "check/quiet_noise.h"

namespace tonelink::tool {
namespace {

constexpr double kNothing = 1e-14; // a power below that of any sample: -140 dB

/// Of a tone, what is looked at: behind its rise, and before its fall.
constexpr double kToneFrame = 0.04, kToneMargin = 0.012;

double to_db(double power) { return 10 * std::log10(std::max(power, kNothing)); }

double amplitude_of(double db) { return std::pow(10, db / 20); }

/// What is left of a power without the noise in it: half of the noise at least, as no less can be
/// told from it.
double without_noise(double power, double noise)
{
    return std::max({power - noise, noise / 2, kNothing});
}

/// The numbers from one to another, so far apart.
std::vector<double> steps(double from, double to, double step)
{
    std::vector<double> numbers;
    const auto count = std::lround(std::floor((to - from) / step + 1e-9)) + 1;
    for (long i = 0; i < count; ++i) numbers.push_back(from + static_cast<double>(i) * step);
    return numbers;
}

/// What there is to say of any recording.
path_figures all_samples_of(const recording &heard)
{
    constexpr float kTop = 32766.5f / 32768;
    path_figures figures;
    double total = 0;
    for (const float sample : heard.samples) {
        total += double{sample} * sample;
        figures.clipped_samples += std::abs(sample) >= kTop ? 1 : 0;
    }
    const auto count = static_cast<double>(heard.samples.size());
    figures.seconds = count / heard.rate;
    figures.level_dbfs = to_db(2 * total / std::max(1.0, count));
    figures.lost_samples = heard.lost_samples;
    return figures;
}

/// One measurement, step by step.
class path_meter {
public:
    path_meter(const recording &heard, const std::optional<probe_place> &place)
        : heard_{heard}, place_{place},
          noise_{heard.samples, heard.rate,
                 quiet_parts(static_cast<double>(heard.samples.size()) / heard.rate, place)},
          played_{amplitude_of(heard.played_dbfs)}
    {
    }

    path_figures measure()
    {
        figures_ = all_samples_of(heard_);
        measure_noise();
        if (!place_) return figures_;
        figures_.heard = true;
        figures_.change_db = place_->change_db;
        if (place_->change_db) figures_.clock_ppm = (place_->pace - 1) * 1e6;
        if (heard_.played_at)
            figures_.latency_ms = (place_->start - *heard_.played_at / heard_.rate) * 1000;
        measure_chirp();
        find_edge();
        measure_tones();
        measure_band();
        measure_decay();
        measure_levels();
        measure_low_sound();
        const probe_bursts bursts = hear_probe_bursts(heard_.samples, heard_.rate);
        figures_.bursts_heard = bursts.heard;
        figures_.burst_snr_db = bursts.snr_db;
        return figures_;
    }

private:
    double highest_hz() const { return heard_.rate / 2 - 200; }

    frame_spectrum frames_of(double seconds) const
    {
        return {heard_.samples, heard_.rate, seconds};
    }

    void measure_noise()
    {
        constexpr double kStep = 100;
        for (const double hz : steps(kStep, heard_.rate / 2 - kStep, kStep))
            figures_.noise.push_back({hz, to_db(noise_.power(hz - kStep / 2, hz + kStep / 2))});
        if (kBandHighHz < highest_hz())
            figures_.noise_dbfs = to_db(noise_.power(kBandLowHz, kBandHighHz));
    }

    /// The response to the chirp, beside the same chirp seen in the same way.
    void measure_chirp()
    {
        constexpr double kMargin = 0.03, kFrame = 0.3, kStep = kWideStep;
        frame_spectrum got = frames_of(kFrame);
        const double start = place_->has_first ? 0 : probe_time::kLastChirp;
        got.look(place_->at(start) - kMargin);
        std::vector<float> chirp = chirp_samples(heard_.rate, kMargin, kFrame);
        for (float &sample : chirp) sample *= static_cast<float>(played_);
        frame_spectrum sent{chirp, heard_.rate, kFrame};
        sent.look(0);
        const double top = std::min(kChirpHighHz, highest_hz());
        for (const double hz : steps(kChirpLowHz + kStep / 2, top - kStep / 2, kStep)) {
            const double low = hz - kStep / 2, high = hz + kStep / 2;
            const double noise = noise_.power(low, high);
            const double power = without_noise(got.power(low, high), noise);
            figures_.wide.push_back({hz, to_db(power / sent.power(low, high))});
            const bool is_in_band = low >= kBandLowHz - kStep && high <= kBandHighHz + kStep;
            if (is_in_band && power > 4 * noise) chirp_band_.push_back(figures_.wide.back().db);
        }
    }

    /// Where the response is 10 dB below what lies just beneath, if all that lies more than a
    /// kilohertz above is 20 dB below it.
    void find_edge()
    {
        constexpr double kDrop = 20;
        constexpr std::ptrdiff_t kBeneath = 3, kAbove = 3; // points of half a kilohertz
        const auto &wide = figures_.wide;
        const auto level = [](const response_point &point) { return point.db; };
        for (auto at = wide.begin(); at < wide.end() - kAbove; ++at) {
            const auto from = at - std::min(kBeneath, at - wide.begin());
            const double best = std::ranges::max_element(from, at + 1, {}, level)->db;
            const double above = std::ranges::max_element(at + kAbove, wide.end(), {}, level)->db;
            if (above > best - kDrop) continue;
            const auto is_within = [&](const response_point &p) { return p.db > best - kDrop / 2; };
            const auto last = std::find_if(wide.rbegin(), wide.rend(), is_within);
            figures_.edge_hz = last->hz + kWideStep / 2;
            return;
        }
    }

    void measure_tones()
    {
        constexpr double kClear = 100; // times the noise
        frame_spectrum frame = frames_of(kToneFrame);
        for (const double offset : kImageOffsets) images_.push_back({offset, {}});
        for (std::size_t tone = 0; tone < kProbeTones; ++tone) {
            const double hz = tone_hz(tone);
            if (hz > highest_hz()) break;
            frame.look(place_->at(tone_start(tone) + kToneMargin));
            const double noise = noise_.tone_power(hz, frame.seconds());
            const double power = without_noise(frame.tone_power(hz), noise);
            figures_.tones.push_back({hz, to_db(power / (played_ * played_))});
            low_power_.push_back(frame.power(kLowFromHz, kLowToHz));
            if (power < kClear * noise) continue;
            leak_.push_back(
                (frame.power(kLowFromHz, kAudibleToHz) - noise_.power(kLowFromHz, kAudibleToHz)) /
                power);
            for (auto &[offset, ratios] : images_)
                if (hz + offset < highest_hz())
                    ratios.push_back(clear_power(frame, hz + offset) / power);
        }
        for (const auto &[offset, ratios] : images_) {
            constexpr std::size_t kEnough = 8;
            const double image = to_db(median(ratios));
            if (ratios.size() < kEnough || image <= figures_.image_db.value_or(-200)) continue;
            figures_.image_db = image;
            figures_.image_hz = offset;
        }
    }

    /// Of a tone that stands out of the noise, which a tone of noise does not once in four hundred.
    double clear_power(const frame_spectrum &frame, double hz) const
    {
        constexpr double kClear = 6;
        const double noise = noise_.tone_power(hz, frame.seconds());
        const double power = frame.tone_power(hz);
        return power > kClear * noise ? power - noise : kNothing;
    }

    /// The response in the band, as means over three tones.
    void measure_band()
    {
        std::vector<double> smooth;
        double total = 0;
        const auto &tones = figures_.tones;
        for (std::size_t i = 1; i + 1 < tones.size(); ++i) {
            if (tones[i].hz < kBandLowHz || tones[i].hz > kBandHighHz) continue;
            double power = 0;
            for (const std::size_t k : {i - 1, i, i + 1}) power += std::pow(10, tones[k].db / 10);
            smooth.push_back(to_db(power / 3));
            total += power / 3;
        }
        if (smooth.empty()) return;
        const auto [worst, best] = std::ranges::minmax(smooth);
        figures_.band_fall_db = best - worst;
        const double mean = total / static_cast<double>(smooth.size());
        figures_.band_dbfs = to_db(mean * played_ * played_);
        // Where the band is cut off, the chirp's lower part is all that is left there.
        constexpr double kCutOff = 50; // dB below the best
        const auto level = [](const response_point &point) { return point.db; };
        const double most = std::ranges::max_element(figures_.wide, {}, level)->db;
        if (!chirp_band_.empty() && median(chirp_band_) > most - kCutOff)
            figures_.late_loss_db = median(chirp_band_) - to_db(mean);
    }

    /// What tones lose between their beginning and their end.
    void measure_decay()
    {
        constexpr double kFrame = 0.012, kEarly = 0.006, kLate = 0.04, kClear = 10;
        frame_spectrum frame = frames_of(kFrame);
        std::vector<double> losses;
        for (std::size_t tone = 0; tone < figures_.tones.size(); ++tone) {
            const double hz = tone_hz(tone);
            const double noise = noise_.tone_power(hz, frame.seconds());
            frame.look(place_->at(tone_start(tone) + kEarly));
            const double early = frame.tone_power(hz);
            if (early < kClear * noise) continue;
            frame.look(place_->at(tone_start(tone) + kLate));
            losses.push_back(to_db(early) - to_db(without_noise(frame.tone_power(hz), noise)));
        }
        if (losses.size() > kProbeTones / 4) figures_.decay_db = median(losses);
    }

    /// The tone at rising levels: it should be heard as it rises.
    void measure_levels()
    {
        constexpr double kFrame = 0.07, kClear = 30, kNearPeak = 0.98;
        if (kLevelHz > highest_hz()) return;
        frame_spectrum frame = frames_of(kFrame);
        const double noise = noise_.tone_power(kLevelHz, kFrame);
        std::vector<double> gains;
        for (std::size_t step = 0; step < kLevels; ++step) {
            frame.look(place_->at(level_start(step) + 0.015));
            const double power = frame.tone_power(kLevelHz);
            if (power > kClear * noise) gains.push_back(to_db(power) - level_db(step));
        }
        if (gains.size() < 3) return;
        const double loudest = gains.back();
        gains.pop_back();
        figures_.compression_db = median(gains) - loudest;

        const auto first = static_cast<std::size_t>(
            std::max(0.0, place_->at(level_start(kLevels - 1) + 0.015) * heard_.rate));
        const auto count = static_cast<std::size_t>(kFrame * heard_.rate);
        if (first + count > heard_.samples.size()) return;
        const auto samples = std::span{heard_.samples}.subspan(first, count);
        float peak = 0;
        for (const float sample : samples) peak = std::max(peak, std::abs(sample));
        const auto near = std::ranges::count_if(
            samples, [&](float sample) { return std::abs(sample) >= kNearPeak * peak; });
        figures_.flat_share = static_cast<double>(near) / static_cast<double>(count);
    }

    /// What is heard below the band while tones and bursts are played: more than the noise, or
    /// less.
    void measure_low_sound()
    {
        constexpr double kSilence = 1e-9, kClear = 4;
        const double quiet = noise_.usual_low_power();
        if (quiet > kSilence) figures_.ducking_db = to_db(quiet) - to_db(median(low_power_));

        frame_spectrum frame = frames_of(kToneFrame);
        std::vector<double> burst_power, leak;
        const double noise = noise_.power(kLowFromHz, kAudibleToHz);
        const double band_noise = noise_.power(kBandLowHz, kBandHighHz);
        const double last = kProbeBursts * kBurstSeconds - 2 * kToneFrame;
        for (const double at : steps(kToneFrame, last, kToneFrame)) {
            frame.look(place_->at(probe_time::kBursts + at));
            const double power = frame.power(kBandLowHz, kBandHighHz) - band_noise;
            burst_power.push_back(power);
            if (power > kClear * band_noise)
                leak.push_back((frame.power(kLowFromHz, kAudibleToHz) - noise) / power);
        }
        const double burst = std::max(median(burst_power), band_noise / 100);
        figures_.snr_db = std::clamp(to_db(burst) - to_db(band_noise), -20.0, 100.0);
        const double most = std::max(median(leak_), median(leak));
        if (most * burst > noise) figures_.leak_db = to_db(most);
    }

    /// A resampler that interpolates by lines between 44.1 and 48 kHz doubles a tone so far away.
    static constexpr std::array kImageOffsets{-3900.0, 3900.0};
    static constexpr double kAudibleToHz = 16'000;
    static constexpr double kWideStep = 500; // Hz, of the response to the chirp

    struct images {
        double offset;
        std::vector<double> ratios; ///< to the tone, of each tone that is clear enough
    };

    const recording &heard_;
    const std::optional<probe_place> &place_;
    quiet_noise noise_;
    double played_;                  ///< amplitude of the tones
    std::vector<double> chirp_band_; ///< the response to the chirp in the band
    std::vector<double> low_power_;  ///< below the band, during each tone
    std::vector<double> leak_;       ///< the same beside the tone, without the noise
    std::vector<images> images_;
    path_figures figures_;
};

} // namespace

path_figures measure_path(const recording &heard)
{
    constexpr double kLeastRate = 8000; // below, too little of the chirp is left
    if (heard.rate < kLeastRate) return all_samples_of(heard);
    const auto place = find_probe(heard.samples, heard.rate);
    return path_meter{heard, place}.measure();
}

} // namespace tonelink::tool
