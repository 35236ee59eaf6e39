#include "windowed_transform.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>

namespace tonelink::tool {
namespace {

/// A Hann window, scaled so that a sine of full scale reaches a power of 1 in its bin.
std::vector<float> hann_window(std::size_t length)
{
    std::vector<float> window(length);
    const auto size = static_cast<double>(length);
    for (std::size_t i = 0; i < length; ++i) {
        const double turn = 2 * std::numbers::pi * (static_cast<double>(i) + 0.5) / size;
        // The window's sum is length / 2, and half of a sine's amplitude is in the mirrored bin.
        window[i] = static_cast<float>((0.5 - 0.5 * std::cos(turn)) * 4 / size);
    }
    return window;
}

} // namespace

windowed_transform::windowed_transform(std::size_t window, std::size_t transform)
    : window_{hann_window(window)}, input_{fftwf_alloc_real(transform)}, output_{
                                                                             fftwf_alloc_complex(
                                                                                 transform / 2 + 1)}
{
    if (!input_ || !output_) throw std::bad_alloc{};
    plan_.reset(fftwf_plan_dft_r2c_1d(static_cast<int>(transform), input_.get(), output_.get(),
                                      FFTW_ESTIMATE));
    if (!plan_) throw std::bad_alloc{};
    std::fill_n(input_.get(), transform, 0.0f);
}

} // namespace tonelink::tool
