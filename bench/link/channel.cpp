#include "link/channel.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <mutex>
#include <stdexcept>

#include <fftw3.h>
#include <samplerate.h>

namespace tonelink::bench {

namespace {

constexpr double kRate = 44100;

struct destroy_plan {
    void operator()(fftw_plan plan) const
    {
        const std::lock_guard lock{planner};
        fftw_destroy_plan(plan);
    }
    static inline std::mutex planner; // plans are made and destroyed one at a time
};
using plan_handle = std::unique_ptr<fftw_plan_s, destroy_plan>;

using bins = std::vector<std::complex<double>>;

fftw_complex *complex_of(bins &row) { return reinterpret_cast<fftw_complex *>(row.data()); }

bins spectrum_of(std::span<const float> samples, std::size_t size)
{
    std::vector<double> row(size);
    std::ranges::copy(samples, row.begin());
    bins spectrum(size / 2 + 1);
    plan_handle plan;
    {
        const std::lock_guard lock{destroy_plan::planner};
        plan.reset(fftw_plan_dft_r2c_1d(static_cast<int>(size), row.data(), complex_of(spectrum),
                                        FFTW_ESTIMATE));
    }
    fftw_execute(plan.get());
    return spectrum;
}

/// The convolution of two rows by their spectra.
sound convolve(std::span<const float> a, std::span<const float> b)
{
    const std::size_t length = a.size() + b.size() - 1;
    std::size_t size = 1;
    while (size < length) size *= 2;
    bins product = spectrum_of(a, size);
    const bins other = spectrum_of(b, size);
    for (std::size_t k = 0; k < product.size(); ++k)
        product[k] *= other[k] / static_cast<double>(size);
    std::vector<double> row(size);
    plan_handle plan;
    {
        const std::lock_guard lock{destroy_plan::planner};
        plan.reset(fftw_plan_dft_c2r_1d(static_cast<int>(size), complex_of(product), row.data(),
                                        FFTW_ESTIMATE));
    }
    fftw_execute(plan.get());
    return {row.begin(), row.begin() + static_cast<std::ptrdiff_t>(length)};
}

} // namespace

double power_of(std::span<const float> samples)
{
    double sum = 0;
    for (const float s : samples) sum += static_cast<double>(s) * static_cast<double>(s);
    return sum / static_cast<double>(samples.size());
}

void add_noise(sound &to, double signal_power, double snr_db, generator &random)
{
    const double in_band = signal_power / std::pow(10, snr_db / 10);
    const double everywhere = in_band * (kRate / 2) / kBandHz;
    std::normal_distribution<float> noise{0, static_cast<float>(std::sqrt(everywhere))};
    for (float &sample : to) sample += noise(random);
}

sound with_clock_offset(const sound &from, double ppm)
{
    const double ratio = 1 + ppm * 1e-6;
    sound to(from.size() + 1000);
    SRC_DATA data{};
    data.data_in = from.data();
    data.input_frames = static_cast<long>(from.size());
    data.data_out = to.data();
    data.output_frames = static_cast<long>(to.size());
    data.src_ratio = ratio;
    if (const int error = src_simple(&data, SRC_SINC_BEST_QUALITY, 1))
        throw std::runtime_error{src_strerror(error)};
    to.resize(static_cast<std::size_t>(data.output_frames_gen));
    return to;
}

sound in_room(const sound &from, double seconds, double direct_db, generator &random)
{
    constexpr std::size_t kFirstEcho = 88; // 2 ms
    const auto length = static_cast<std::size_t>(seconds * kRate);
    sound response(kFirstEcho + length, 0);
    std::normal_distribution<float> noise;
    for (std::size_t i = 0; i < length; ++i) {
        const double decay =
            std::pow(10, -3 * static_cast<double>(i) / static_cast<double>(length));
        response[kFirstEcho + i] = noise(random) * static_cast<float>(decay);
    }
    const double energy = power_of(response) * static_cast<double>(response.size());
    const auto gain = static_cast<float>(std::sqrt(std::pow(10, -direct_db / 10) / energy));
    for (float &tap : response) tap *= gain;
    response[0] = 1;
    return convolve(from, response);
}

std::vector<int16_t> to_16_bits(std::span<const float> samples)
{
    std::vector<int16_t> row;
    for (const float s : samples)
        row.push_back(static_cast<int16_t>(std::lrint(std::clamp(s, -32768.0f, 32767.0f))));
    return row;
}

} // namespace tonelink::bench
