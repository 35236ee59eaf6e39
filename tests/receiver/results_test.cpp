// What a receiver tells of a few sounds, to the last figure. None of these is right by itself: they
// are what they were. A change that was not meant to change what is told leaves them as they are;
// one that was puts those that this test prints in their place, after a look at each.
#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <numeric>

#include "modem/known_bursts.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

/// Two bursts in noise, the second one weaker, in a stream that loses samples between them.
struct told_scene {
    int32_t rate;
    double clock; // parts per million
    double gain_db, second_gain_db, noise_dbfs;
    uint32_t methods;
};

using figures = std::vector<double>;

figures told_of(const told_scene &scene)
{
    const auto seconds = [&](double time) { return static_cast<std::size_t>(time * scene.rate); };
    const sound burst = burst_at(kPair32.bits, scene.rate, scene.clock);
    sound all = band_noise(seconds(3.5), scene.rate, scene.noise_dbfs, 91);
    add(all, burst, seconds(0.4), scene.gain_db);
    add(all, burst, seconds(1.9), scene.second_gain_db);
    open_receiver receiver{scene.rate, 0, scene.methods};
    const std::span sound{all};
    receiver.push(sound.first(seconds(1.2)));
    tonelink_receiver_lost(receiver, seconds(0.3));
    receiver.push(sound.subspan(seconds(1.5)));
    const auto now = receiver.report(); // before what follows is silent
    tonelink_receiver_flush(receiver);

    figures told;
    for (const tonelink_heard &heard : receiver.heard())
        told.insert(told.end(), {heard.seconds, double{heard.level_dbfs}, double{heard.snr_db},
                                 double{heard.clock_ppm}, double(heard.positions)});
    const auto end = receiver.report();
    if (scene.methods == TONELINK_METHOD_EXACT) {
        EXPECT_EQ(now.unread, end.unread); // which does not wait for more
    }
    told.insert(told.end(), {double(end.heard), double(end.unread), double{end.missing_db},
                             double{end.unread_snr_db}, double{end.unread_ppm}});
    told.insert(told.end(), {double{now.level_dbfs}, double{now.peak_dbfs}, double{now.band_dbfs},
                             double{now.band_edge_hz}});
    told.push_back(
        std::accumulate(std::begin(now.spectrum_dbfs), std::end(now.spectrum_dbfs), 0.0));
    return told;
}

} // namespace

TEST(Results, AreWhatTheyWere)
{
    const std::pair<told_scene, figures> cases[] = {
        {{44100, 0, -20, -30, -60, TONELINK_METHOD_EXACT},
         {0.4,        -30.363371, 29.328596,   -0.001483682, 13,         1.9,
          -40.409866, 19.850332,  -0.10212036, 12,           2,          0,
          0,          0,          0,           -49.668095,   -41.879658, -59.683002,
          20155.078,  -1388.5458}},
        {{48000, 250, -30, -40, -51, TONELINK_METHOD_EXACT},
         {0.4,         -40.317822, 10.846144,  250.19739,  9, 1.9,       -50.709988,
          0.075398296, 249.07907,  4,          2,          0, 0,         0,
          0,           -40.774315, -32.523663, -51.065247, 0, -1193.2724}},
        {{96000, -400, -20, -31, -39, TONELINK_METHOD_EXACT},
         {0.4, -30.426752, 8.4086456, -400.047, 4, 1, 1, 2.0181286, -3.0181286, -396.99435,
          -28.772467, -20.830101, -39.593983, 0, -928.79118}},
        {{48000, -150, -30, -42, -52, 0},
         {0.4,         -40.415344, 11.624422,  -150.21651, 11, 1.9,       -52.156372,
          -0.36039412, -148.3524,  6,          2,          0,  0,         0,
          0,           -41.774315, -33.523663, -52.065247, 0,  -1215.3523}},
    };
    for (const auto &[scene, was] : cases) {
        const figures is = told_of(scene);
        testing::Message row;
        for (const double figure : is) row << std::setprecision(8) << figure << ", ";
        SCOPED_TRACE(row);
        EXPECT_EQ(is.size(), was.size());
        for (std::size_t i = 0; i < std::min(is.size(), was.size()); ++i)
            EXPECT_NEAR(is[i], was[i], 1e-3) << scene.rate << ", figure " << i;
    }
}

} // namespace tonelink::test
