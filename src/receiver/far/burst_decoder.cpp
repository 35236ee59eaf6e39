#include "receiver/far/burst_decoder.h"

namespace tonelink {

namespace {

constexpr expected_cells kPilots = pilots_alone();
constexpr int kAlternations = 3; // between the channel and its turning
constexpr int kFirstLearnt = 12; // rounds of learning, from nothing
constexpr int kLearntAgain = 4;  // and from what the last estimate has learnt
constexpr int kLearntBetween = 2;
constexpr double kLn2 = 0.6931471805599453;

} // namespace

bool burst_decoder::begin(const cell_reader &reader, const far_sound &sound, const copy_set &copies)
{
    copies_ = copies;
    std::array<float, kMostCopies> energies{};
    refiner_.refine(reader, sound, copies_, energies);
    if (!sum_.add_up(reader, sound, copies_, energies)) return false;
    gains_ = steady_gains();
    channel_.restart(gather_evidence(sum_.cells(), kPilots, gains_));
    estimate_channel(kPilots, kFirstLearnt);
    first_channel_ = channel_;
    first_gains_ = gains_;
    return true;
}

void burst_decoder::estimate_channel(const expected_cells &expected, int rounds)
{
    for (int n = 0; n < kAlternations; ++n) {
        channel_.estimate(gather_evidence(sum_.cells(), expected, gains_),
                          n == 0 ? rounds : kLearntBetween);
        gains_ = turning_.estimate(sum_.cells(), expected, channel_.channel());
    }
}

double burst_decoder::look(std::size_t message_bits)
{
    message_bits_ = message_bits;
    channel_ = first_channel_;
    gains_ = first_gains_;
    return read();
}

double burst_decoder::look_again()
{
    code_.backward(values_, bits_);
    expect_cells(bits_, message_bits_, expected_);
    estimate_channel(expected_, kLearntAgain);
    return read();
}

double burst_decoder::read()
{
    const data_values data = read_data(sum_.cells(), channel_.channel(), channel_.error(), gains_);
    randomness_ = randomness_of(data);
    values_ = sum_repeats(data, message_bits_);
    log_sum_ = code_.forward(values_);
    const double words = kLn2 * static_cast<double>(message_bits_ + kCrcBits);
    return log_sum_ - words - randomness_;
}

} // namespace tonelink
