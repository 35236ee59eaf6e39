#include "receiver/far/burst_decoder.h"

namespace tonelink {

namespace {

constexpr expected_cells kPilotCells = pilots_alone();
constexpr int kAlternations = 3; // between the channel and its turning
constexpr int kFirstLearnt = 12; // rounds of learning, from nothing
constexpr int kLearntAgain = 4;  // and from what the last estimate has learnt
constexpr int kLearntBetween = 2;
constexpr double kLn2 = 0.6931471805599453;

} // namespace

void burst_decoder::begin(const copy_set &copies)
{
    refiner_.begin(copies);
    stage_ = stage::refining;
}

bool burst_decoder::prepare(const cell_reader &reader, const far_sound &sound)
{
    switch (stage_) {
    case stage::refining:
        if (!refiner_.step(reader, sound)) return false;
        sum_.begin(refiner_.copies(), refiner_.energies());
        stage_ = stage::adding;
        return false;
    case stage::adding:
        if (!sum_.step(reader, sound)) return false;
        if (sum_.is_silent()) return true;
        gains_ = steady_gains();
        channel_.restart(gather_evidence(sum_.cells(), kPilotCells, gains_));
        alternations_ = 0;
        stage_ = stage::estimating;
        return false;
    default:
        if (!estimate_channel(kPilotCells, kFirstLearnt)) return false;
        first_channel_ = channel_;
        first_gains_ = gains_;
        return true;
    }
}

int burst_decoder::slice_cost() const
{
    switch (stage_) {
    case stage::refining: return 12 + 3 * static_cast<int>(copies().count);
    case stage::adding: return 35;
    default: return alternations_ == 0 ? 120 : 40;
    }
}

/// One of the alternations; returns whether it was the last one.
bool burst_decoder::estimate_channel(const expected_cells &expected, int rounds)
{
    channel_.estimate(gather_evidence(sum_.cells(), expected, gains_),
                      alternations_ == 0 ? rounds : kLearntBetween);
    gains_ = turning_.estimate(sum_.cells(), expected, channel_.channel());
    return ++alternations_ == kAlternations;
}

double burst_decoder::look(std::size_t message_bits)
{
    message_bits_ = message_bits;
    channel_ = first_channel_;
    gains_ = first_gains_;
    return read();
}

bool burst_decoder::estimate_again()
{
    if (alternations_ == 0) {
        code_.backward(values_, bits_);
        expect_cells(bits_, message_bits_, expected_);
    }
    return estimate_channel(expected_, kLearntAgain);
}

double burst_decoder::read()
{
    const data_values data = read_data(sum_.cells(), channel_.channel(), channel_.error(), gains_);
    randomness_ = randomness_of(data);
    values_ = sum_repeats(data, message_bits_);
    alternations_ = 0;
    log_sum_ = code_.forward(values_);
    const double words = kLn2 * static_cast<double>(message_bits_ + kCrcBits);
    return log_sum_ - words - randomness_;
}

} // namespace tonelink
