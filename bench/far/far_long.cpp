// What the far receiver makes of hours of sound without a message, or with bursts that are too weak
// to be read: how many trials of the CRC it makes, so how many wrong messages are to be expected,
// and what it tells. A line for each stream, of half an hour with a seed of its own, and one for
// all.
//
//     far_long SOUND [STREAMS [FIRST]]   noise, speech, music, sweeps, keyed or bursts
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "far/busy_sounds.h"
#include "far/far_search.h"
#include "far/own_time.h"
#include "link/everyday_sounds.h"
#include "receiver/baseband.h"
#include "receiver/far/far_receiver.h"

namespace tonelink::bench {

namespace {

constexpr int kStreamSeconds = 30 * 60;

using sent_messages = std::set<std::pair<std::size_t, std::uint64_t>>;

/// Gives the next piece of a stream, and tells what is sent in it.
using sound_maker = std::function<sound(sent_messages &)>;

template <class Source> sound_maker maker_of(std::uint64_t seed)
{
    return [source = Source{seed}](sent_messages &) mutable {
        const auto block = source.next();
        return sound{block.begin(), block.end()};
    };
}

sound_maker weak_bursts(std::uint64_t seed)
{
    return [minute = seed * 1000](sent_messages &sent) mutable {
        mixed_scene scene = make_weak_scene(++minute);
        for (const auto &sender : scene.senders) sent.emplace(sender.bits, sender.message);
        return std::move(scene.samples);
    };
}

sound_maker maker_named(const std::string &name, std::uint64_t seed)
{
    if (name == "noise") return maker_of<noise_source>(seed);
    if (name == "speech") return maker_of<speech_source>(seed);
    if (name == "music") return maker_of<music_source>(seed);
    if (name == "sweeps") return maker_of<sweep_source>(seed);
    if (name == "keyed") return maker_of<keyed_source>(seed);
    if (name == "bursts") return weak_bursts(seed);
    return {};
}

/// The budget of trials once more, as it is meant: what is granted, and what is left at least.
class budget_check {
public:
    void tick(std::size_t samples, std::int64_t trials)
    {
        constexpr double kRate = 4410;
        const double granted = path_queue::kTrialsPerSecond * double(samples) / kRate;
        left_ = std::min(left_ + granted, double(path_queue::kMostSaved));
        left_ -= double(trials - trials_);
        trials_ = trials;
        least_ = std::min(least_, left_);
    }
    double least() const { return least_; }

private:
    double left_ = 0, least_ = 0;
    std::int64_t trials_ = 0;
};

struct outcome {
    double seconds = 0, microseconds = 0, least_left = 0;
    std::int64_t trials = 0, candidates = 0;
    int told = 0, wrong = 0;
    std::vector<double> ticks; // microseconds

    void add(const outcome &other)
    {
        seconds += other.seconds;
        microseconds += other.microseconds;
        least_left = std::min(least_left, other.least_left);
        trials += other.trials;
        candidates += other.candidates;
        told += other.told;
        wrong += other.wrong;
        ticks.insert(ticks.end(), other.ticks.begin(), other.ticks.end());
    }
};

outcome listen(const sound_maker &next)
{
    constexpr std::size_t kTick = 44, kBlock = 10 * kTick;
    const auto front = std::make_unique<baseband>();
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both);
    sent_messages sent;
    outcome result;
    budget_check budget;
    std::vector<float_complex> tick;
    for (std::size_t played = 0; played < std::size_t{kStreamSeconds} * 44100;) {
        const sound piece = next(sent);
        played += piece.size();
        for (std::size_t at = 0; at < piece.size(); at += kBlock) {
            std::int64_t had = front->size();
            front->put(std::span{piece}.subspan(at, std::min(kBlock, piece.size() - at)));
            tick.clear();
            while (had < front->size()) tick.push_back(front->at(had++));
            const double begun = own_microseconds();
            receiver->put(tick);
            result.ticks.push_back(own_microseconds() - begun);
            result.microseconds += result.ticks.back();
            budget.tick(tick.size(), receiver->trials().trials());
            for (far_message heard; receiver->take(heard);) {
                ++result.told;
                if (!sent.contains({heard.length, heard.bits})) ++result.wrong;
            }
        }
        result.seconds += double(piece.size()) / 44100;
    }
    result.trials = receiver->trials().trials();
    result.candidates = receiver->candidates();
    result.least_left = budget.least();
    return result;
}

void print(const std::string &name, outcome &of)
{
    std::ranges::sort(of.ticks);
    std::printf(
        "%s: %.2f h, %ld trials (%.3f a second), %.6f wrong messages predicted, %d told, "
        "%d wrong; budget overdrawn by %.1f at most; %.2f candidates and %.2f ms a second; 10 ms "
        "blocks: 99 %% %.0f us\n",
        name.c_str(), of.seconds / 3600, long(of.trials), double(of.trials) / of.seconds,
        double(of.trials) / double(1 << 24), of.told, of.wrong, -of.least_left,
        double(of.candidates) / of.seconds, of.microseconds / 1000 / of.seconds,
        of.ticks[of.ticks.size() * 99 / 100]);
    std::fflush(stdout);
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    const std::string name = count > 1 ? arguments[1] : "";
    const int streams = count > 2 ? std::atoi(arguments[2]) : 20;
    const int first = count > 3 ? std::atoi(arguments[3]) : 1;
    outcome all;
    for (int n = first; n < first + streams; ++n) {
        const sound_maker next = maker_named(name, static_cast<std::uint64_t>(n));
        if (!next) {
            std::fprintf(stderr, "far_long: noise, speech, music, sweeps, keyed or bursts\n");
            return 2;
        }
        outcome of = listen(next);
        print(name + " " + std::to_string(n), of);
        all.add(of);
    }
    print(name + ", all", all);
}
