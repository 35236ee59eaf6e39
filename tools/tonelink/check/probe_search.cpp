#include "check/probe_search.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <new>
#include <vector>

#include <fftw3.h>

#include "check/frame_spectrum.h"
#include "check/probe.h"

namespace tonelink::tool {
namespace {

/// How much of a stretch of sound must be the chirp. Noise reaches 0.004 once in a recording of ten
/// seconds; a chirp as loud as the noise is a half.
constexpr double kLeastShare = 0.01;

/// How far a clock or lost samples may move the last chirp, in seconds.
constexpr double kMostDrift = 1;

constexpr double kLeastPower = 1e-12; // -120 dBFS: less is digital silence

using row = std::vector<std::complex<float>>;

/// Transforms a row in place.
void transform(row &values, int direction)
{
    auto *data = reinterpret_cast<fftwf_complex *>(values.data());
    const auto plan =
        fftwf_plan_dft_1d(static_cast<int>(values.size()), data, data, direction, FFTW_ESTIMATE);
    if (plan == nullptr) throw std::bad_alloc{};
    fftwf_execute(plan);
    fftwf_destroy_plan(plan);
}

/// A length that transforms quickly: 2, 3 or 5 times a power of two.
std::size_t quick_length(std::size_t least)
{
    std::size_t length = 1;
    while (length < least) length *= 2;
    if (length * 5 / 8 >= least) return length * 5 / 8;
    return length * 3 / 4 >= least ? length * 3 / 4 : length;
}

/// The amplitude of the chirp that begins at each sample, whatever its phase; the probe's is 1.
std::vector<float> chirp_amplitudes(std::span<const float> recording,
                                    const std::vector<float> &chirp)
{
    const std::size_t length = quick_length(recording.size() + chirp.size());
    row heard(length), wanted(length);
    std::ranges::copy(recording, heard.begin());
    std::ranges::copy(chirp, wanted.begin());
    transform(heard, FFTW_FORWARD);
    transform(wanted, FFTW_FORWARD);
    // Without negative frequencies the products' envelope comes out, twice as large.
    for (std::size_t i = 0; i < length; ++i)
        heard[i] = i <= length / 2 ? heard[i] * std::conj(wanted[i]) : 0;
    transform(heard, FFTW_BACKWARD);
    double energy = 0;
    for (const float sample : chirp) energy += double{sample} * sample;
    const auto scale = static_cast<float>(2 / (energy * static_cast<double>(length)));
    std::vector<float> amplitudes(recording.size());
    for (std::size_t i = 0; i < amplitudes.size(); ++i) amplitudes[i] = scale * std::abs(heard[i]);
    return amplitudes;
}

/// What chirps there are in a recording.
class chirp_finder {
public:
    chirp_finder(std::span<const float> recording, double rate)
        : recording_{recording}, rate_{rate}, chirp_{chirp_samples(rate, 0,
                                                                   probe_time::kChirpLength)},
          amplitudes_{chirp_amplitudes(recording, chirp_)}
    {
        for (const float sample : chirp_) energy_ += double{sample} * sample;
    }

    struct chirp {
        double seconds;
        double amplitude;
    };

    /// The loudest that begins between two times, if there is one.
    std::optional<chirp> loudest(double from, double to) const
    {
        const auto index = [&](double seconds) {
            const double last = static_cast<double>(amplitudes_.size());
            return amplitudes_.begin() +
                   static_cast<std::ptrdiff_t>(std::clamp(seconds * rate_, 0.0, last));
        };
        const auto found = std::max_element(index(from), index(to));
        if (found == index(to) || !stands_out(found - amplitudes_.begin())) return std::nullopt;
        return chirp{static_cast<double>(found - amplitudes_.begin()) / rate_, *found};
    }

private:
    bool stands_out(std::ptrdiff_t at) const
    {
        const auto heard = recording_.subspan(static_cast<std::size_t>(at));
        const auto stretch = heard.first(std::min(heard.size(), chirp_.size()));
        double total = 0;
        for (const float sample : stretch) total += double{sample} * sample;
        const double amplitude = amplitudes_[static_cast<std::size_t>(at)];
        const double power = total / static_cast<double>(chirp_.size());
        return power > kLeastPower && amplitude * amplitude * energy_ > kLeastShare * total;
    }

    std::span<const float> recording_;
    double rate_;
    std::vector<float> chirp_;
    std::vector<float> amplitudes_;
    double energy_ = 0; ///< of the chirp
};

/// Of what lies where the tones do when the probe begins at a time.
double power_of_tones(std::span<const float> recording, double rate, double start)
{
    frame_spectrum frame{recording, rate, probe_time::kToneLength};
    double power = 0;
    for (std::size_t tone = 0; tone < kProbeTones && tone_hz(tone) < rate / 2; ++tone) {
        frame.look(start + tone_start(tone));
        power += frame.tone_power(tone_hz(tone));
    }
    return power;
}

} // namespace

std::optional<probe_place> find_probe(std::span<const float> recording, double rate)
{
    if (recording.empty()) return std::nullopt;
    const chirp_finder finder{recording, rate};
    const double end = static_cast<double>(recording.size()) / rate;
    const auto loudest = finder.loudest(0, end);
    if (!loudest) return std::nullopt;
    const auto near = [&](double seconds) {
        return finder.loudest(seconds - kMostDrift, seconds + kMostDrift);
    };
    auto first = loudest, last = near(loudest->seconds + probe_time::kLastChirp);
    const auto before = near(loudest->seconds - probe_time::kLastChirp);
    if (before && (!last || before->amplitude > last->amplitude)) {
        first = before;
        last = loudest;
    }
    if (last)
        return probe_place{first->seconds,
                           (last->seconds - first->seconds) / probe_time::kLastChirp,
                           20 * std::log10(last->amplitude / first->amplitude), true};
    // One alone: the tones tell whether they lie behind it or before.
    const double as_first = first->seconds, as_last = as_first - probe_time::kLastChirp;
    const bool is_first =
        power_of_tones(recording, rate, as_first) >= power_of_tones(recording, rate, as_last);
    return probe_place{is_first ? as_first : as_last, 1, std::nullopt, is_first};
}

} // namespace tonelink::tool
