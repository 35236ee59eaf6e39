// The far receiver's detector: its statistic, its peaks, and the fast map against its definition.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "receiver/far/burst_detector.h"
#include "receiver/far/far_signals.h"
#include "receiver/far/reference/pilot_energy.h"

namespace tonelink::test {

namespace {

std::vector<const map_stages *> all_stages()
{
    std::vector<const map_stages *> all{&lanes4::far_map_stages};
    if (&fastest_map_stages() != all[0]) all.push_back(&fastest_map_stages());
    return all;
}

std::vector<float_complex> white_noise(std::size_t count, generator &random)
{
    std::vector<float_complex> noise(count);
    for (auto &sample : noise) sample = complex_noise(random, 1);
    return noise;
}

std::vector<detection> detections_in(std::span<const float_complex> sound)
{
    const auto detector = std::make_unique<burst_detector>();
    std::vector<detection> all;
    for (const float_complex sample : sound) {
        detector->put(sample);
        for (detection found; detector->take(found);) all.push_back(found);
    }
    return all;
}

/// The best of so many copies.
detection best_of(const std::vector<detection> &all, std::size_t copies)
{
    detection best;
    for (const detection &found : all)
        if (found.copies == copies && found.first.energy > best.first.energy) best = found;
    return best;
}

} // namespace

/// In noise energies are exponential with mean 1, at every delay and by the vectors of any width.
TEST(FarDetector, EnergiesOfNoiseAreExponential)
{
    for (const map_stages *stages : all_stages()) {
        generator random{1};
        const auto map = std::make_unique<pilot_map>(*stages);
        std::array<double, kMapDelays> means{};
        double over_three = 0, count = 0;
        for (const float_complex sample : white_noise(200 * 4410, random)) {
            if (!map->put(sample * 1e-3f) || map->first_place() < 0) continue;
            for (std::size_t offset = 0; offset < kMapOffsets; offset += 6) {
                for (std::size_t delay = 0; delay < kMapDelays; ++delay) {
                    for (const float energy : map->energies(offset, delay)) {
                        means[delay] += double{energy};
                        over_three += energy > 3;
                        ++count;
                    }
                }
            }
        }
        // Some 100000 independent ones in each mean: a standard deviation of 0.3 %.
        for (const double mean : means) EXPECT_NEAR(mean * kMapDelays / count, 1, 0.012);
        EXPECT_NEAR(over_three / count, std::exp(-3), 0.05 * std::exp(-3));
    }
}

/// A tone raises the energies, but by less than its power: the subcarrier that it stays on counts
/// for less than the others.
TEST(FarDetector, ALoudSubcarrierCountsForLess)
{
    // Plain sums would have means of 1, 1.8 and 4.4.
    for (const auto &[tone, expected] : {std::pair{0.0f, 1.0}, {0.5f, 1.17}, {1.0f, 1.84}}) {
        generator random{7};
        constexpr double kTurns = (20.0 - baseband::kMiddle) / kBodySamples; // of a sample
        const auto map = std::make_unique<pilot_map>();
        double sum = 0, count = 0;
        std::size_t n = 0;
        for (float_complex sample : white_noise(8 * 4410, random)) {
            sample += from_turns(kTurns * double(n++)) * tone;
            if (!map->put(sample) || n < 3 * 4410) continue;
            for (std::size_t offset = 0; offset < kMapOffsets; offset += 6) {
                for (const float energy : map->energies(offset, 0)) sum += double{energy};
                count += kMapHops;
            }
        }
        EXPECT_NEAR(sum / count, expected, 0.03 * expected) << tone;
    }
}

/// Cell by cell the map is what its definition says, but for the level that is taken from another
/// pre-rotation and odd subcarriers that are halved.
TEST(FarDetector, TheMapIsItsDefinition)
{
    generator random{2};
    const sent_bursts sent{.first_sample = 3000};
    auto sound = sent.samples();
    add_noise(sound, -8, random);
    for (const double clock : {0.0, 730e-6, -1000e-6}) {
        const auto heard = baseband_of(resampled(sound, clock));
        for (const map_stages *stages : all_stages()) {
            const auto map = std::make_unique<pilot_map>(*stages);
            double both = 0, direct = 0, fast = 0;
            std::size_t n = 0;
            for (const float_complex sample : heard) {
                if (!map->put(sample) || map->first_place() < 0) continue;
                for (std::size_t delay = 0; delay < kMapDelays; delay += 3) {
                    for (std::size_t offset = n++ % 3; offset < kMapOffsets; offset += 3) {
                        const std::size_t hop = (delay + offset) % kMapHops;
                        const auto place =
                            map->first_place() + int64_t(kMapHop * hop) + int64_t(delay);
                        if (pilot_map::sample_at(place) < 0) continue;
                        const double a = std::sqrt(double{reference::pilot_energy(
                            heard, pilot_map::sample_at(place), offset_of(offset))});
                        const double b = std::sqrt(double{map->energy(offset, delay, hop)});
                        both += (a - b) * (a - b);
                        direct += a * a;
                        fast += b * b;
                    }
                }
            }
            EXPECT_GE(n, 48u); // rows of 14 cells
            EXPECT_LT(both, 0.02 * direct) << clock << ' ' << stages->name;
            EXPECT_NEAR(fast / direct, 1, 0.02);
        }
    }
}

/// Where it is decided, the map finds as many bursts as its definition.
TEST(FarDetector, FindsWhatTheDefinitionFinds)
{
    generator random{3};
    constexpr int kTrials = 60;
    const sent_bursts sent{.first_sample = 2000};
    const auto clean = sent.samples();
    for (const double snr_db : {-25.0, -23.5}) {
        int direct = 0, fast = 0;
        for (int trial = 0; trial < kTrials; ++trial) {
            auto sound = clean;
            add_noise(sound, snr_db, random);
            const auto heard = baseband_of(sound);
            const double first = place_at(2000).first_body;
            float most = 0;
            for (double late = -2; late <= 2; late += 0.5)
                for (double clock = -75e-6; clock <= 80e-6; clock += 50e-6)
                    most = std::max(most, reference::pilot_energy(heard, first + late, clock));
            direct += most > 14;
            for (const detection &found : detections_in(heard)) {
                const burst_place place = found.places().places[0];
                fast += found.copies == 1 && std::abs(place.first_body - first) < 3 &&
                        std::abs(place.clock) < 101e-6;
            }
        }
        EXPECT_NEAR(fast, direct, 5) << snr_db; // the same bursts in the same noise
        EXPECT_GT(direct, kTrials / 3);
    }
}

/// The picker tells what its rule tells cell by cell, at places of any size, when there is room for
/// all and when there is not.
TEST(FarDetector, PeaksHaveNoBetterOneBeside)
{
    constexpr std::size_t kRoom = 96;
    constexpr int64_t kBlock = kSymbolSamples, kReach = 600;
    const auto weakest = [](std::vector<map_cell> &cells) {
        return std::ranges::min_element(cells, {}, &map_cell::energy);
    };
    const auto is_close = [](const map_cell &a, const map_cell &b) {
        return std::abs(a.place - b.place) <= peak_picker::kClosePlaces &&
               std::abs(a.offset - b.offset) <= peak_picker::kCloseOffsets;
    };
    generator random{6};
    for (const int64_t start : {int64_t{0}, (int64_t{1} << 31) - 300, (int64_t{1} << 40) - 300}) {
        for (const int density : {5, 400}) {
            peak_picker picker;
            picker.restart();
            std::vector<map_cell> plain;
            int told = 0;
            bool was_full = false;
            for (int64_t block = start; block < start + 20 * kBlock; block += kBlock) {
                for (int n = 0; n < density; ++n) {
                    const map_cell cell{block + int64_t(random() % kReach),
                                        int(random() % kMapOffsets), float(random() % 1000)};
                    picker.offer(cell);
                    if (plain.size() == kRoom && cell.energy <= weakest(plain)->energy) continue;
                    if (std::ranges::any_of(plain, [&](const map_cell &other) {
                            return is_close(other, cell) && other.energy >= cell.energy;
                        }))
                        continue;
                    std::erase_if(plain,
                                  [&](const map_cell &other) { return is_close(other, cell); });
                    if (plain.size() == kRoom) {
                        *weakest(plain) = cell;
                        was_full = true;
                    } else {
                        plain.push_back(cell);
                    }
                }
                const int64_t end = block + kBlock;
                std::vector<map_cell> peaks;
                picker.decide(end, [&](const map_cell &peak) { peaks.push_back(peak); });
                for (const map_cell &peak : peaks) {
                    ++told;
                    EXPECT_EQ(std::erase_if(plain,
                                            [&](const map_cell &cell) {
                                                return cell.place == peak.place &&
                                                       cell.offset == peak.offset &&
                                                       cell.energy == peak.energy;
                                            }),
                              1u);
                }
                for (const map_cell &cell : plain)
                    EXPECT_GE(cell.place + peak_picker::kClosePlaces, end);
            }
            EXPECT_GT(told, 50);
            EXPECT_EQ(was_full, density > 5);
        }
    }
}

/// What noise passes for: by the thresholds' own probabilities, and as often with any cut.
TEST(FarDetector, NoisePassesAsOftenAsThresholdsSay)
{
    generator random{4};
    constexpr int kSeconds = 120;
    std::array<int, 11> counts{};
    for (const detection &found : detections_in(white_noise(kSeconds * 4410, random)))
        ++counts[found.copies];
    EXPECT_NEAR(counts[1], 0.16 * kSeconds, 4 * std::sqrt(0.16 * kSeconds));
    EXPECT_NEAR(counts[2], 0.03 * kSeconds, 4 * std::sqrt(0.03 * kSeconds));
    EXPECT_NEAR(counts[5], 0.17 * kSeconds, 4 * std::sqrt(0.17 * kSeconds));
    EXPECT_NEAR(counts[10], 0.25 * kSeconds, 4 * std::sqrt(0.25 * kSeconds));
    for (const detection &found : detections_in(std::vector<float_complex>(4410 * 3)))
        ADD_FAILURE() << found.first.energy << " in silence";
}

/// Two and five copies, and two writes of five, are found where they are and with their clock.
TEST(FarDetector, CopiesAddUp)
{
    generator random{5};
    struct copies_case {
        std::size_t copies;
        double snr_db;
    };
    for (const auto &[copies, snr_db] :
         {copies_case{1, -20}, copies_case{2, -22}, copies_case{5, -26}, copies_case{10, -28}}) {
        for (const double clock : {0.0, 900e-6}) {
            const sent_bursts sent{.copies = std::min<std::size_t>(copies, 5),
                                   .first_sample = 9000};
            auto sound = sent.samples();
            std::size_t second = 0;
            if (copies == 10) {
                sound.resize(sound.size() - 9000 + 13000, 0); // a pause
                second = sound.size() + 9000;
                const auto again = sent.samples();
                sound.insert(sound.end(), again.begin(), again.end());
            }
            sound = resampled(sound, clock);
            add_noise(sound, snr_db, random);
            const copy_set found = best_of(detections_in(baseband_of(sound)), copies).places();
            ASSERT_EQ(found.count, copies);
            EXPECT_NEAR(found.places[0].clock, clock, 80e-6) << copies;
            EXPECT_NEAR(found.places[0].first_sample(), 9000 / (1 + clock), 25) << copies;
            if (copies == 10) {
                EXPECT_NEAR(found.places[5].first_sample(), double(second) / (1 + clock), 25);
            }
        }
    }
}

} // namespace tonelink::test
