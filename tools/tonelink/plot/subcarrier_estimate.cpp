#include "plot/subcarrier_estimate.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <tonelink/receiver.h>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

using value = std::complex<double>;
using subcarrier_grid = std::array<std::array<value, kSubcarriers>, kSymbols>;

constexpr double kTurn = 2 * std::numbers::pi;
constexpr std::size_t kLastOfRow = kSubcarriers - 1;

/// Where a burst's time runs in the samples.
struct burst_clock {
    double start;
    double stretch;
};

constexpr std::size_t subcarrier_of(std::size_t column) { return kFirstSubcarrier + column; }

constexpr bool holds_pilot(std::size_t row, std::size_t column)
{
    return is_pilot(row + 1, subcarrier_of(column));
}

/// A frequency in turns a sample.
constexpr double turns(double hz) { return hz / kAudioRate; }

/// The Fourier sum over the body of a symbol at one of its subcarriers. A subcarrier starts anew
/// with each body; what mixed it up to the band ran through the whole burst. So their phases are
/// counted from the body's and from the burst's first sample.
value read_subcarrier(std::span<const int16_t> samples, const burst_clock &clock, std::size_t row,
                      std::size_t subcarrier)
{
    const double body = kBurstDelay + kAudioGuardSamples +
                        kAudioSymbolSamples * static_cast<double>(row); // in the burst's time
    const auto first = static_cast<int64_t>(std::lround(clock.start + clock.stretch * body));
    const double at = (static_cast<double>(first) - clock.start) / clock.stretch;
    const double phase =
        turns(subcarrier_hz(0)) * at -
        static_cast<double>(subcarrier) * (at - body) / kAudioBodySamples; // the tone falls with it
    value oscillator = std::polar(1.0, -kTurn * phase);
    const value step = std::polar(1.0, -kTurn * turns(subcarrier_hz(subcarrier)) / clock.stretch);

    const int64_t end = std::min<int64_t>(first + int64_t{kAudioBodySamples}, std::ssize(samples));
    value sum;
    for (int64_t t = first; t < end; ++t, oscillator *= step)
        if (t >= 0) sum += oscillator * static_cast<double>(samples[static_cast<std::size_t>(t)]);
    return sum / double{kAudioBodySamples};
}

/// What was sent: by how much each subcarrier is turned, and its sign.
using sent_grid = std::array<std::array<tonelink_subcarrier, kSubcarriers>, kSymbols>;

sent_grid sent_subcarriers(const message_bits &message)
{
    std::array<uint8_t, 8> bytes{};
    for (std::size_t i = 0; i < message.size(); ++i)
        bytes[i / 8] |= static_cast<uint8_t>(message[i] << (7 - i % 8));
    sent_grid sent;
    tonelink_receiver_subcarriers(message.empty() ? nullptr : bytes.data(),
                                  static_cast<int32_t>(message.size()), sent.front().data());
    return sent;
}

/// What was sent on each subcarrier, 1 or -1, times the channel.
subcarrier_grid read_subcarriers(std::span<const int16_t> samples, const burst_clock &clock,
                                 const sent_grid &sent)
{
    subcarrier_grid grid;
    for (std::size_t row = 0; row < grid.size(); ++row) {
        for (std::size_t column = 0; column < kSubcarriers; ++column) {
            const double scrambling = sent[row][column].turn / 256.0;
            grid[row][column] = read_subcarrier(samples, clock, row, subcarrier_of(column)) *
                                std::polar(1.0, -kTurn * scrambling);
        }
    }
    return grid;
}

/// The mean turn from one pilot to the next one of its symbol, two subcarriers on. An error of the
/// start turns them evenly.
double turn_over_subcarriers(const subcarrier_grid &grid)
{
    value sum;
    for (std::size_t row = 0; row < grid.size(); ++row)
        for (std::size_t column = 0; column + 2 <= kLastOfRow; ++column)
            if (holds_pilot(row, column))
                sum += grid[row][column + 2] * std::conj(grid[row][column]);
    return std::arg(sum);
}

/// The mean turn from a pilot to its two neighbours in the next symbol. An error of the stretch
/// turns each symbol further than the one before.
double turn_over_symbols(const subcarrier_grid &grid)
{
    value sum;
    for (std::size_t row = 0; row + 1 < grid.size(); ++row)
        for (std::size_t column = 1; column < kLastOfRow; ++column)
            if (holds_pilot(row, column))
                sum += (grid[row + 1][column - 1] + grid[row + 1][column + 1]) *
                       std::conj(grid[row][column]);
    return std::arg(sum);
}

burst_clock corrected(const burst_clock &clock, const subcarrier_grid &grid)
{
    const double late = turn_over_subcarriers(grid) / kTurn * kAudioBodySamples / 2;
    const double middle = turns((kBandLowHz + kBandHighHz) / 2);
    const double longer = -turn_over_symbols(grid) / kTurn / middle / kAudioSymbolSamples;
    return {clock.start + late * clock.stretch, clock.stretch * (1 + longer)};
}

/// Brings all symbols to the same power: the generator scales each as its content allows.
void even_symbols(subcarrier_grid &grid)
{
    for (std::size_t row = 0; row < grid.size(); ++row) {
        double power = 0;
        int pilots = 0;
        for (std::size_t column = 0; column < kSubcarriers; ++column) {
            if (!holds_pilot(row, column)) continue;
            power += std::norm(grid[row][column]);
            ++pilots;
        }
        if (power == 0) continue;
        for (value &subcarrier : grid[row]) subcarrier /= std::sqrt(power / pilots);
    }
}

/// The first of `length` neighbours around `at`, as far as they lie within `count`.
constexpr std::size_t first_around(std::size_t at, std::size_t length, std::size_t count)
{
    return std::min(at - std::min(at, length / 2), count - length);
}

/// The channel at one subcarrier of one symbol, from ten pilots or so around it: a plane laid
/// through them by least squares, which is their mean but at the burst's edges, where they are to
/// one side. A pilot does not speak for itself, so that its error is as honest as a data
/// subcarrier's.
value estimate_channel(const subcarrier_grid &grid, std::size_t row, std::size_t column)
{
    // More over time than over frequency: echoes make the channel another one a few subcarriers on.
    constexpr std::size_t kRows = 7, kColumns = 3;
    const std::size_t first_row = first_around(row, kRows, kSymbols);
    const std::size_t first_column = first_around(column, kColumns, kSubcarriers);
    double count = 0, x = 0, y = 0, xx = 0, xy = 0, yy = 0;
    value sum, sum_x, sum_y;
    for (std::size_t r = first_row; r < first_row + kRows; ++r) {
        for (std::size_t c = first_column; c < first_column + kColumns; ++c) {
            const bool is_itself = r == row && c == column;
            const bool is_missing = grid[r][c] == 0.0; // the samples end before it
            if (!holds_pilot(r, c) || is_itself || is_missing) continue;
            const double dx = static_cast<double>(r) - static_cast<double>(row);
            const double dy = static_cast<double>(c) - static_cast<double>(column);
            count += 1;
            x += dx;
            y += dy;
            xx += dx * dx;
            xy += dx * dy;
            yy += dy * dy;
            sum += grid[r][c];
            sum_x += grid[r][c] * dx;
            sum_y += grid[r][c] * dy;
        }
    }
    // The first row of the inverse of ((count, x, y), (x, xx, xy), (y, xy, yy)).
    const double a = xx * yy - xy * xy, b = xy * y - x * yy, c = x * xy - xx * y;
    const double determinant = count * a + x * b + y * c; // a whole number
    return determinant == 0 ? 0 : (a * sum + b * sum_x + c * sum_y) / determinant;
}

subcarrier_grid equalise(const subcarrier_grid &grid)
{
    subcarrier_grid equal;
    for (std::size_t row = 0; row < grid.size(); ++row) {
        value pilots;
        int count = 0;
        for (std::size_t column = 0; column < kSubcarriers; ++column) {
            const value channel = estimate_channel(grid, row, column);
            equal[row][column] = channel == 0.0 ? 0 : grid[row][column] / channel;
            if (!holds_pilot(row, column)) continue;
            pilots += equal[row][column];
            ++count;
        }
        // What turned or scaled the symbol as a whole.
        const value common = pilots / double(count);
        if (common == 0.0) continue;
        for (value &subcarrier : equal[row]) subcarrier /= common;
    }
    return equal;
}

/// The mean error of the points that `counts` chooses by symbol and subcarrier.
template <class Choice> double mean_error_db(const subcarrier_estimate &burst, Choice counts)
{
    double sum = 0;
    int points = 0;
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol) {
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
             ++subcarrier) {
            if (!counts(symbol, subcarrier)) continue;
            sum += burst.at(symbol, subcarrier).error();
            ++points;
        }
    }
    return error_in_db(sum / points);
}

} // namespace

double error_in_db(double error) { return 10 * std::log10(std::max(error, 1e-10)); }

double subcarrier_estimate::data_error_db() const
{
    return mean_error_db(*this, [](std::size_t symbol, std::size_t subcarrier) {
        return !is_pilot(symbol, subcarrier);
    });
}

double subcarrier_estimate::pilot_error_db() const { return mean_error_db(*this, is_pilot); }

double subcarrier_estimate::error_db() const
{
    return mean_error_db(*this, [](std::size_t, std::size_t) { return true; });
}

int subcarrier_estimate::wrong_data() const
{
    int wrong = 0;
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol)
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier; ++subcarrier)
            wrong += !is_pilot(symbol, subcarrier) && at(symbol, subcarrier).is_wrong();
    return wrong;
}

subcarrier_estimate estimate_subcarriers(std::span<const int16_t> samples, double start,
                                         const message_bits &message)
{
    constexpr int kCorrections = 4; // the first is coarse; the third changes nothing to speak of
    burst_clock clock{start, 1};
    const sent_grid sent = sent_subcarriers(message);
    subcarrier_grid grid = read_subcarriers(samples, clock, sent);
    for (int i = 0; i < kCorrections; ++i) {
        clock = corrected(clock, grid);
        grid = read_subcarriers(samples, clock, sent);
    }
    even_symbols(grid);
    const subcarrier_grid equal = equalise(grid);

    subcarrier_estimate burst{clock.start, clock.stretch, !message.empty(), {}};
    for (std::size_t row = 0; row < equal.size(); ++row) {
        for (std::size_t column = 0; column < kSubcarriers; ++column) {
            auto &point = burst.points[row][column];
            point.value = equal[row][column];
            const bool is_known = burst.knows_message || holds_pilot(row, column);
            const double nearest = point.value.real() < 0 ? -1 : 1;
            point.ideal = is_known ? sent[row][column].value : nearest;
        }
    }
    return burst;
}

} // namespace tonelink::tool
