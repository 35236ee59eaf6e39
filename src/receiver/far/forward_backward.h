// How probable each code bit is, and how well the soft values fit any word of the code at all.
// Source: L. R. Bahl, J. Cocke, F. Jelinek, J. Raviv, "Optimal decoding of linear codes for
// minimizing symbol error rate", 1974.
#pragma once

#include "receiver/far/soft_values.h"

namespace tonelink {

class forward_backward {
public:
    /// Goes forward through the trellis.
    /// @returns ln of the sum over all paths of e^(M/2), M being the sum of the path's values: +
    /// for
    ///          a code bit of 0, - for 1. Each step's values are at most 100 together.
    double forward(const code_values &values);

    /// Goes back, after forward() of the same values: what each code bit is expected to be.
    void backward(const code_values &values, expected_bits &bits);

private:
    using state_row = std::array<float, kStates>;

    std::array<state_row, kMostSteps + 1> forward_;
};

} // namespace tonelink
