// The power spectrum of a row of samples, seen through a Hann window.
#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <vector>

#include <fftw3.h>

namespace tonelink::tool {

class windowed_transform {
public:
    /// @param window     samples that are seen
    /// @param transform  at least as many; the more, the smoother
    windowed_transform(std::size_t window, std::size_t transform);

    /// Sample `i` of the window.
    void put(std::size_t i, float sample) { input_[i] = sample * window_[i]; }

    void run() { fftwf_execute(plan_.get()); }

    /// Of a bin up to transform / 2, after run(): 1 for a sine of full scale in its middle.
    float power(std::size_t bin) const
    {
        const auto &[re, im] = output_[bin];
        return re * re + im * im;
    }

private:
    struct free_fftw {
        void operator()(void *memory) const { fftwf_free(memory); }
    };
    struct destroy_plan {
        void operator()(fftwf_plan plan) const { fftwf_destroy_plan(plan); }
    };

    std::vector<float> window_;
    std::unique_ptr<float[], free_fftw> input_;
    std::unique_ptr<fftwf_complex[], free_fftw> output_;
    std::unique_ptr<fftwf_plan_s, destroy_plan> plan_;
};

} // namespace tonelink::tool
