// The spectrum of short stretches of a recording, wherever they are.
#pragma once

#include <cmath>
#include <span>

#include "windowed_transform.h"

namespace tonelink::tool {

class frame_spectrum {
public:
    /// @param seconds  of each stretch, seen through a Hann window
    frame_spectrum(std::span<const float> samples, double rate, double seconds)
        : samples_{samples}, rate_{rate}, length_{static_cast<std::size_t>(
                                              std::lround(seconds * rate))},
          transform_{length_, length_}
    {
    }

    double seconds() const { return static_cast<double>(length_) / rate_; }
    std::size_t bins() const { return length_ / 2 + 1; }
    double bin_hz() const { return rate_ / static_cast<double>(length_); }

    /// Looks at the stretch that begins there; what is not in the recording is silence.
    void look(double start_seconds)
    {
        const auto first = static_cast<std::ptrdiff_t>(std::lround(start_seconds * rate_));
        for (std::size_t i = 0; i < length_; ++i) {
            const auto at = first + static_cast<std::ptrdiff_t>(i);
            const bool is_there = at >= 0 && at < std::ssize(samples_);
            transform_.put(i, is_there ? samples_[static_cast<std::size_t>(at)] : 0.0f);
        }
        transform_.run();
    }

    double bin_power(std::size_t bin) const { return transform_.power(bin); }

    /// Of what lies between two frequencies: 1 for a sine of full scale.
    double power(double low_hz, double high_hz) const
    {
        constexpr double kBinsOfASine = 1.5; // through the window
        double sum = 0;
        for (std::size_t bin = nearest_bin(low_hz); bin <= nearest_bin(high_hz); ++bin)
            sum += transform_.power(bin);
        return sum / kBinsOfASine;
    }

    /// Of a tone, to within a bin.
    double tone_power(double hz) const { return power(hz - bin_hz(), hz + bin_hz()); }

private:
    std::size_t nearest_bin(double hz) const
    {
        const double bin = std::round(hz / bin_hz());
        return static_cast<std::size_t>(
            std::min(std::max(bin, 0.0), static_cast<double>(bins() - 1)));
    }

    std::span<const float> samples_;
    double rate_;
    std::size_t length_;
    windowed_transform transform_;
};

} // namespace tonelink::tool
