#include "plot/burst_finder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>
#include <numbers>
#include <stdexcept>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

// The burst's lengths at the rate of the search.
constexpr int kDecimation = 16;
constexpr double kSearchRate = double{kAudioRate} / kDecimation;
constexpr std::size_t kBody = kAudioBodySamples / kDecimation;
constexpr std::size_t kExtensions = 2 * kAudioGuardSamples / kDecimation;
constexpr std::size_t kSymbol = kAudioSymbolSamples / kDecimation;
constexpr std::size_t kAllSymbols = kSymbols * kSymbol;

/// Two bursts are never closer: a burst, less what noise can move its ends.
constexpr int64_t kExclusion = kAllSymbols * 9 / 10;

/// Positions this close are the same candidate.
constexpr int64_t kSameCandidate = kSymbol / 2;

/// What noise reaches in two hours is 0.23; a burst 3 dB above the noise in its band has some 0.35,
/// a clean one 0.83.
constexpr double kEnoughFit = 0.28;

/// Where the peak is looked at on both sides to place it between two samples.
constexpr std::size_t kPeakReach = 1;

/// Full-scale sine squared times 10^-10.5: below -105 dBFS there is no burst.
constexpr double kSilentPower = 1.6e-11;

/// A sample of the search covers the 16 samples around its place, one of the baseband that a burst
/// is made from covers 10. Of two rows that cover the same time, the search's begins later by this.
constexpr double kLag = (kDecimation - 10) / 2.0 / kAudioRate;

/// Where a burst's first symbol begins, in seconds.
constexpr double kFirstSymbol = double{kBurstDelay} / kAudioRate;

constexpr std::size_t kSearchBlock = 16384;

double mixing_frequency() { return (kBandLowHz + kBandHighHz) / 2; }

} // namespace

bool burst_finder::has_band(double sample_rate) { return sample_rate > 2 * kBandHighHz; }

burst_finder::burst_finder(double sample_rate)
    : sample_rate_{sample_rate}, resampler_{nullptr, &src_delete}
{
    if (!has_band(sample_rate) || !src_is_valid_ratio(kSearchRate / sample_rate)) return;
    int error = 0;
    resampler_.reset(src_new(SRC_SINC_FASTEST, 2, &error));
    if (!resampler_) throw std::runtime_error{src_strerror(error)};
    // Silence before the sound, so that the first position has two neighbours too.
    band_.resize(kPeakReach);
    band_start_ = -int64_t{kPeakReach};
}

void burst_finder::put(std::span<const float> samples)
{
    if (!resampler_) return;
    const auto turn = std::polar(1.0, -2 * std::numbers::pi * mixing_frequency() / sample_rate_);
    for (const float sample : samples) {
        const auto mixed = static_cast<double>(sample) * oscillator_;
        mixed_.push_back(static_cast<float>(mixed.real()));
        mixed_.push_back(static_cast<float>(mixed.imag()));
        oscillator_ *= turn;
    }
    oscillator_ /= std::abs(oscillator_);
    resample(false);
    if (band_.size() > kSearchBlock) search();
}

std::vector<found_burst> burst_finder::finish()
{
    if (!resampler_) return {};
    resample(true);
    // A burst that ends with the sound has its last extension within reach of the search.
    band_.resize(band_.size() + kBody + kPeakReach);
    search();
    return choose();
}

/// Moves what was mixed into `band_`; with `last`, what the resampler still holds as well.
void burst_finder::resample(bool last)
{
    std::array<std::complex<float>, 2048> block;
    SRC_DATA data{};
    data.src_ratio = kSearchRate / sample_rate_;
    data.end_of_input = last;
    data.data_in = mixed_.data();
    data.input_frames = static_cast<long>(mixed_.size() / 2);
    data.data_out = reinterpret_cast<float *>(block.data());
    data.output_frames = static_cast<long>(block.size());
    do {
        if (const int error = src_process(resampler_.get(), &data); error != 0)
            throw std::runtime_error{src_strerror(error)};
        band_.insert(band_.end(), block.begin(), block.begin() + data.output_frames_gen);
        data.data_in += 2 * data.input_frames_used;
        data.input_frames -= data.input_frames_used;
    } while (data.input_frames > 0 || data.output_frames_gen > 0);
    mixed_.clear();
}

/// Scores each position whose whole burst is in `band_` and drops what no later position needs.
void burst_finder::search()
{
    constexpr std::size_t kNeeded = kAllSymbols + kPeakReach;
    if (band_.size() <= kPeakReach + kNeeded) return;

    products_.assign(1, 0);
    energies_.assign(1, 0);
    for (std::size_t t = 0; t < band_.size(); ++t) {
        const std::complex<double> x{band_[t]};
        energies_.push_back(energies_.back() + std::norm(x));
        if (t + kBody < band_.size())
            products_.push_back(products_.back() +
                                x * std::conj(std::complex<double>{band_[t + kBody]}));
    }
    const std::size_t end = band_.size() - kNeeded;
    for (std::size_t at = kPeakReach; at < end; ++at) consider(at);

    // The next search begins at `end` and looks back from there.
    const std::size_t passed = end - kPeakReach;
    band_.erase(band_.begin(), band_.begin() + static_cast<std::ptrdiff_t>(passed));
    band_start_ += static_cast<int64_t>(passed);
}

/// Notes the position `at` of `band_` if a burst can begin there, the best one within a symbol.
void burst_finder::consider(std::size_t at)
{
    const double extensions = mean_correlation(at, kSymbols);
    if (extensions < kEnoughFit) return;
    const int64_t position = band_start_ + static_cast<int64_t>(at);
    // One symbol too early or too late, fifteen of sixteen still fit; what is missing is energy.
    const double weight = extensions * evenness(at);
    const bool is_near =
        !candidates_.empty() && position - candidates_.back().position < kSameCandidate;
    if (is_near && weight <= candidates_.back().weight) return;
    const double fit = extensions - correlation_elsewhere(at);
    if (fit < kEnoughFit) return;

    // The correlation rises and falls in straight lines around its peak.
    const double before = mean_correlation(at - kPeakReach, kSymbols);
    const double after = mean_correlation(at + kPeakReach, kSymbols);
    const double between =
        kPeakReach * (after - before) / std::max(2 * extensions - before - after, 1e-9);
    const double first_symbol = static_cast<double>(position) + std::clamp(between, -1.0, 1.0);
    if (is_near) candidates_.pop_back();
    candidates_.push_back(
        {position, weight, {first_symbol / kSearchRate - kLag - kFirstSymbol, fit}});
}

/// The candidates that stand, the strongest first: each rules out all that would overlap it.
std::vector<found_burst> burst_finder::choose()
{
    std::sort(candidates_.begin(), candidates_.end(),
              [](const candidate &a, const candidate &b) { return a.weight > b.weight; });
    std::map<int64_t, found_burst> chosen;
    for (const candidate &next : candidates_) {
        const auto after = chosen.lower_bound(next.position);
        if (after != chosen.end() && after->first - next.position < kExclusion) continue;
        if (after != chosen.begin() && next.position - std::prev(after)->first < kExclusion)
            continue;
        chosen.emplace_hint(after, next.position, next.burst);
    }
    std::vector<found_burst> bursts;
    bursts.reserve(chosen.size());
    for (const auto &[position, burst] : chosen) bursts.push_back(burst);
    return bursts;
}

/// 1 when no symbol is weaker than the median one, a sixteenth less for each that is silent.
double burst_finder::evenness(std::size_t at) const
{
    std::array<double, kSymbols> energies;
    for (double &energy : energies) {
        energy = energies_[at + kSymbol] - energies_[at];
        at += kSymbol;
    }
    auto sorted = energies;
    std::nth_element(sorted.begin(), sorted.begin() + kSymbols / 2, sorted.end());
    const double median = std::max(sorted[kSymbols / 2], kSilentPower * kSymbol);
    double sum = 0;
    for (const double energy : energies) sum += std::min(1.0, energy / median);
    return sum / kSymbols;
}

/// How much as many samples correlate at another place of a symbol, at most.
double burst_finder::correlation_elsewhere(std::size_t at) const
{
    double most = 0;
    for (std::size_t place = kExtensions; place < kSymbol; place += kExtensions)
        most = std::max(most, mean_correlation(at + place, kSymbols - 1));
    return most;
}

/// The correlation of a few samples from `at` on, over `symbols` symbols.
double burst_finder::mean_correlation(std::size_t at, std::size_t symbols) const
{
    std::complex<double> sum;
    for (std::size_t n = 0; n < symbols; ++n) {
        sum += correlation(at, at + kExtensions);
        at += kSymbol;
    }
    return std::abs(sum) / static_cast<double>(symbols);
}

/// The cyclic-prefix correlation: of the samples `from` to `to` with those one body later, 1 when
/// they are the same but for one phase.
std::complex<double> burst_finder::correlation(std::size_t from, std::size_t to) const
{
    const double energy =
        (energies_[to] - energies_[from] + energies_[to + kBody] - energies_[from + kBody]) / 2;
    return (products_[to] - products_[from]) /
           (energy + kSilentPower * static_cast<double>(to - from));
}

} // namespace tonelink::tool
