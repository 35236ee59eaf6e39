// The last seconds of the baseband, as long as a sum over ten copies of a burst reaches back.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/float_complex.h"

namespace tonelink {

class far_sound {
public:
    /// Ten copies in two writes with the longest pause between them take 5.75 s; the rest is for
    /// candidates that wait.
    static constexpr int64_t kKept = 32768;

    void put(float_complex sample)
    {
        samples_[static_cast<std::size_t>(size_ % kKept)] = sample;
        ++size_;
    }

    /// How many samples have come.
    int64_t size() const { return size_; }

    /// A sample that has come; silence for one that has not, or is not kept any more.
    float_complex at(int64_t n) const
    {
        if (n < 0 || n >= size_ || n < size_ - kKept) return {};
        return samples_[static_cast<std::size_t>(n % kKept)];
    }

    void restart() { size_ = 0; }

private:
    int64_t size_ = 0;
    std::array<float_complex, kKept> samples_{};
};

} // namespace tonelink
