#include "receiver/far/soft_values.h"

#include <algorithm>
#include <cmath>

#include "modem/code_tables.h"

namespace tonelink {

namespace {

/// A datum says so much at most: even a step's eight values together stay within the range in which
/// probabilities can be multiplied in single precision.
constexpr float kMostCertain = 10;

const soft_slot_table &slots_of(std::size_t message_bits)
{
    return message_bits == 32 ? kSoftSlots32 : kSoftSlots48;
}

} // namespace

data_values read_data(const cell_evidence &cells, const subcarrier_row &channel,
                      const cell_row &error, const symbol_gains &gains)
{
    data_values data;
    std::size_t next = 0;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const float gain = power_of(gains[s]);
        for (std::size_t i = (s + 1) % 2; i < kSubcarriers; i += 2) {
            const float_complex expected = channel[i] * gains[s];
            const float along = (cells.value[s][i] * conjugate(expected)).re;
            const float value = -4 * along / (1 + error[i] * gain * cells.weight[s][i]);
            data[next++] = std::clamp(value, -kMostCertain, kMostCertain);
        }
    }
    return data;
}

double randomness_of(const data_values &data)
{
    // ln cosh(x) = |x| + ln((1 + e^(-2|x|)) / 2)
    double sum = 0;
    for (const float value : data) {
        const float size = std::fabs(value);
        sum += double{size / 2 + std::log1p(std::exp(-size))};
    }
    return sum - static_cast<double>(data.size()) * 0.6931471805599453;
}

code_values sum_repeats(const data_values &data, std::size_t message_bits)
{
    code_values sums{};
    sums.steps = steps_of(message_bits);
    const soft_slot_table &slots = slots_of(message_bits);
    for (std::size_t n = 0; n < data.size(); ++n)
        sums.of[slots.of[n] / kStepValues][slots.of[n] % kStepValues] += data[n];
    return sums;
}

void expect_cells(const expected_bits &bits, std::size_t message_bits, expected_cells &cells)
{
    const soft_slot_table &slots = slots_of(message_bits);
    std::size_t next = 0;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            if (holds_pilot(s, i)) {
                cells[s][i] = 1;
                continue;
            }
            const std::size_t slot = slots.of[next++];
            cells[s][i] = bits[slot / kStepValues][slot % kStepValues];
        }
    }
}

} // namespace tonelink
