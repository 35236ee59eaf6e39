// The far receiver's estimates, each held to what theory says of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "receiver/far/cell_weights.h"
#include "receiver/far/channel_estimate.h"
#include "receiver/far/far_signals.h"
#include "receiver/far/soft_values.h"
#include "receiver/far/turning_channel.h"

namespace tonelink::test {

namespace {

constexpr expected_cells kPilots = pilots_alone();

/// A channel of three paths within the window, of power 1 on average.
subcarrier_row random_channel(generator &random)
{
    std::uniform_real_distribution<double> delay{-3, 18};
    subcarrier_row channel{};
    for (const double power : {0.6, 0.3, 0.1}) {
        const float_complex gain = complex_noise(random, power);
        const double late = delay(random);
        for (std::size_t i = 0; i < kSubcarriers; ++i)
            channel[i] += gain * from_turns(-late * static_cast<double>(i) / kBodySamples);
    }
    return channel;
}

/// Cells of random data through a channel, in noise of a power for each.
cell_grid random_cells(const subcarrier_row &channel, const symbol_gains &gains, double noise,
                       generator &random)
{
    cell_grid cells;
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (std::size_t i = 0; i < kSubcarriers; ++i)
            cells[s][i] =
                channel[i] * gains[s] * (holds_pilot(s, i) || random() % 2 == 0 ? 1.0f : -1.0f) +
                complex_noise(random, noise);
    return cells;
}

cell_evidence evidence_of(const cell_grid &cells)
{
    cell_evidence evidence;
    weight_evidence(cells, weigh_cells(cells), evidence);
    return evidence;
}

double error_between(const subcarrier_row &a, const subcarrier_row &b)
{
    double sum = 0;
    for (std::size_t i = 0; i < kSubcarriers; ++i) sum += double{power_of(a[i] - b[i])};
    return sum / double{kSubcarriers};
}

} // namespace

TEST(FarChannel, WeightsFindTheNoiseAndWhatIsLouder)
{
    generator random{1};
    double sum = 0;
    int quiet = 0;
    constexpr int kTrials = 100;
    for (int trial = 0; trial < kTrials; ++trial) {
        cell_grid cells = random_cells(random_channel(random), steady_gains(), 20, random);
        if (trial % 2 == 0)
            for (auto &cell : cells[5]) cell += complex_noise(random, 20000);
        else
            for (auto &symbol : cells) symbol[40] += float_complex{200, 100};
        const cell_weights weights = weigh_cells(cells);
        // They count for what brings them down to the others.
        if (trial % 2 == 0)
            EXPECT_NEAR(weights.symbol[5] * (20000 / 21.0f), 1, 0.5);
        else
            EXPECT_NEAR(weights.subcarrier[40] * (50000 / 21.0f), 1, 0.5);
        for (const float weight : weights.symbol) quiet += weight < 1;
        for (const float weight : weights.subcarrier) quiet += weight < 1;
        sum += double{weights.noise} / 20;
    }
    EXPECT_LE(quiet, kTrials + 10);      // no others
    EXPECT_NEAR(sum / kTrials, 1, 0.02); // one estimate spreads by 5 %
    EXPECT_EQ(weigh_cells(cell_grid{}).noise, 0);
}

/// The estimate's error is what the estimate itself says, and far below that of the pilots' means.
TEST(FarChannel, ErrorIsWhatIsSaid)
{
    for (const double noise : {0.1, 1.0, 10.0}) {
        generator random{2};
        const auto estimate = std::make_unique<channel_estimate<float>>();
        double error = 0, said = 0;
        constexpr int kTrials = 150;
        for (int trial = 0; trial < kTrials; ++trial) {
            const subcarrier_row channel = random_channel(random);
            const auto cells = random_cells(channel, steady_gains(), noise, random);
            const auto sums = gather_evidence(evidence_of(cells), kPilots, steady_gains());
            estimate->restart(sums);
            estimate->estimate(sums, 12);
            error += error_between(estimate->channel(), channel) / kTrials;
            for (const float variance : estimate->error())
                said += double{variance} / double{kSubcarriers} / kTrials;
        }
        const double of_means = noise / 8;
        // A flat prior on all delays would leave 30 of 61 parts of it; what is learnt pays most
        // where there is little noise.
        EXPECT_LT(error, (noise < 1 ? 0.25 : 0.35) * of_means) << noise;
        EXPECT_GT(said / error, 0.6) << noise;
        EXPECT_LT(said / error, 1.2) << noise;
    }
}

/// Of silence the estimate is that there is no channel; where a part of the band tells nothing the
/// rest tells of it.
TEST(FarChannel, WhatIsNotKnownIsNoTrouble)
{
    generator random{6};
    const auto estimate = std::make_unique<channel_estimate<float>>();
    estimate->restart({});
    estimate->estimate({}, 12);
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        EXPECT_EQ(power_of(estimate->channel()[i]), 0);
        EXPECT_EQ(estimate->error()[i], 0);
    }
    double error = 0;
    constexpr int kTrials = 50;
    for (int trial = 0; trial < kTrials; ++trial) {
        const subcarrier_row channel = random_channel(random);
        const auto cells = random_cells(channel, steady_gains(), 0.1, random);
        auto sums = gather_evidence(evidence_of(cells), kPilots, steady_gains());
        for (const std::size_t unknown : {0u, 30u, 31u}) {
            sums.value[unknown] = {};
            sums.weight[unknown] = 0;
        }
        estimate->restart(sums);
        estimate->estimate(sums, 12);
        error += error_between(estimate->channel(), channel) / kTrials;
    }
    EXPECT_LT(error, 0.35 * 0.1 / 8);
}

TEST(FarChannel, SinglePrecisionIsEnough)
{
    generator random{3};
    for (const double noise : {1.0, 0.01, 0.001}) {
        const subcarrier_row channel = random_channel(random);
        const auto cells = random_cells(channel, steady_gains(), noise, random);
        const auto sums = gather_evidence(evidence_of(cells), kPilots, steady_gains());
        const auto single = std::make_unique<channel_estimate<float>>();
        const auto precise = std::make_unique<channel_estimate<double>>();
        single->restart(sums);
        precise->restart(sums);
        single->estimate(sums, 12);
        precise->estimate(sums, 12);
        EXPECT_LT(error_between(single->channel(), precise->channel()), 1e-6) << noise;
        for (std::size_t i = 0; i < kSubcarriers; ++i)
            EXPECT_NEAR(single->error()[i], precise->error()[i], 0.01 * noise / 8);
    }
}

/// A listener who turns round, so that no clock explains it: the gains follow, better than each
/// symbol's pilots could tell.
TEST(FarChannel, GainsFollowAMovement)
{
    generator random{4};
    symbol_gains gains;
    for (std::size_t s = 0; s < kSymbols; ++s)
        gains[s] = from_turns(0.004 * std::pow(double(s) - 7.5, 2));
    const turning_channel turning;
    double moving = 0, steady = 0;
    constexpr int kTrials = 60;
    for (int trial = 0; trial < kTrials; ++trial) {
        const subcarrier_row channel = random_channel(random);
        double power = 0;
        for (const auto value : channel) power += double{power_of(value)} / double{kSubcarriers};
        const double noise = 10 * power;
        for (const auto &[sent, error] : {std::pair{gains, &moving}, {steady_gains(), &steady}}) {
            cell_evidence evidence;
            const auto cells = random_cells(channel, sent, noise, random);
            cell_weights weights = weigh_cells(cells);
            weights.noise = static_cast<float>(noise);
            weight_evidence(cells, weights, evidence);
            const symbol_gains found = turning.estimate(evidence, kPilots, channel);
            for (std::size_t s = 0; s < kSymbols; ++s)
                *error += double{power_of(found[s] - sent[s])} / (kTrials * kSymbols);
        }
    }
    // A symbol alone: 10 / 30.5. A slower channel would follow less, a faster one learn less.
    EXPECT_LT(moving, 0.085);
    EXPECT_LT(steady, 0.07);
}

/// Of the data that look so and so sure, so many are right, even if the channel is known to a tenth
/// of the noise alone.
TEST(FarChannel, SoftValuesAreAsSureAsTheySay)
{
    generator random{5};
    double said = 0, right = 0, variance = 0;
    for (int trial = 0; trial < 40; ++trial) {
        const subcarrier_row known = random_channel(random);
        subcarrier_row channel = known;
        for (auto &value : channel) value += complex_noise(random, 0.3);
        cell_row error;
        error.fill(0.3f);
        const cell_grid sent = random_cells(channel, steady_gains(), 0, random);
        cell_grid cells = sent;
        for (auto &symbol : cells)
            for (auto &cell : symbol) cell += complex_noise(random, 3);
        const cell_evidence evidence = evidence_of(cells);
        const data_values data = read_data(evidence, known, error, steady_gains());
        std::size_t next = 0;
        for (std::size_t s = 0; s < kSymbols; ++s) {
            for (std::size_t i = (s + 1) % 2; i < kSubcarriers; i += 2) {
                const float value = data[next++];
                const bool is_one = (sent[s][i] * conjugate(channel[i])).re > 0;
                const double sure = 1 / (1 + std::exp(-std::fabs(double{value})));
                said += sure;
                right += is_one == (value < 0);
                variance += sure * (1 - sure);
            }
        }
    }
    EXPECT_NEAR(right, said, 0.01 * said + 4 * std::sqrt(variance));
}

} // namespace tonelink::test
