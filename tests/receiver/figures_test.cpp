// Where a burst began, its clock, its level and its noise, at any rate, behind losses as well.
#include <gtest/gtest.h>

#include "modem/known_bursts.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

constexpr double kGainDb = -20;

/// A stream of which parts are lost, and where its bursts begin.
class lossy_stream {
public:
    lossy_stream(int32_t rate, sound burst, double snr_db)
        : rate_{rate}, burst_{std::move(burst)}, receiver_{rate}
    {
        const std::size_t guard = frames(0.005); // without its ends
        level_ = level_of(std::span{burst_}.subspan(guard, burst_.size() - 3 * guard)) + kGainDb;
        noise_ = level_ - snr_db;
    }

    /// Pushes one channel of two: a burst between noise of so many seconds, of which the first
    /// `missing` seconds are none.
    void push_burst(double before, double after, double missing = 0)
    {
        const std::size_t at = frames(before);
        sound mono = band_noise(at + burst_.size() + frames(after), rate_, noise_, ++seed_);
        add(mono, burst_, at, kGainDb);
        begins_.push_back(frames_ + static_cast<int64_t>(at));
        lose(missing);
        sound stereo(2 * mono.size(), 0.5f);
        for (std::size_t i = 0; i < mono.size(); ++i) stereo[2 * i] = mono[i];
        tonelink_receiver_push_f32(receiver_, stereo.data() + 2 * frames(missing),
                                   mono.size() - frames(missing), 2);
        frames_ += static_cast<int64_t>(mono.size() - frames(missing));
    }

    void lose(double seconds)
    {
        EXPECT_EQ(tonelink_receiver_lost(receiver_, frames(seconds)), TONELINK_RECEIVER_OK);
        frames_ += static_cast<int64_t>(frames(seconds));
    }

    /// Compares the records with what was pushed.
    void expect_figures(double ppm, double clock_tolerance, double snr_db)
    {
        tonelink_receiver_flush(receiver_);
        const auto records = receiver_.heard();
        EXPECT_EQ(receiver_.report().frames, static_cast<uint64_t>(frames_));
        ASSERT_EQ(records.size(), begins_.size());
        for (std::size_t i = 0; i < records.size(); ++i) {
            const tonelink_heard &heard = records[i];
            EXPECT_EQ(message_of(heard), kPair32.bits);
            EXPECT_NEAR(static_cast<double>(heard.first_sample), static_cast<double>(begins_[i]),
                        rate_ / 1000.0)
                << i;
            EXPECT_NEAR(heard.seconds * rate_, static_cast<double>(heard.first_sample), 0.51) << i;
            EXPECT_NEAR(heard.clock_ppm, ppm, clock_tolerance) << i;
            EXPECT_NEAR(heard.level_dbfs, level_, 1) << i;
            EXPECT_NEAR(heard.snr_db, snr_db, 1) << i;
        }
    }

private:
    std::size_t frames(double seconds) const { return frames_in(seconds, rate_); }

    int32_t rate_;
    sound burst_;
    open_receiver receiver_;
    double level_, noise_;
    unsigned seed_ = 0;
    int64_t frames_ = 0;
    std::vector<int64_t> begins_;
};

class Figures : public testing::TestWithParam<int32_t> {};

} // namespace

TEST_P(Figures, AreRightAtEveryClockAndBehindLosses)
{
    const int32_t rate = GetParam();
    for (const double ppm : {0.0, 200.0, -200.0, 380.0, -380.0}) {
        const sound burst = burst_at(kPair32.bits, rate, ppm);
        for (const double snr_db : {30.0, 2.0}) {
            if (std::abs(ppm) > 300 && snr_db < 20) continue; // not read
            SCOPED_TRACE(std::to_string(ppm) + ' ' + std::to_string(snr_db));
            lossy_stream stream{rate, burst, snr_db};
            stream.push_burst(0.1, 0.1);
            stream.lose(0.01);
            stream.push_burst(0.02, 0.1);
            stream.lose(0.3);
            stream.push_burst(0, 0.1);
            stream.lose(5); // the next burst begins with the first sample behind it
            stream.push_burst(0, 0);
            for (const double seconds : {5.0, 1.0, 0.7, 2.0, 0.8, 1.5, 3.0, 0.9, 600.0})
                stream.lose(seconds);
            stream.push_burst(0.3, 0);
            if (snr_db > 20 && std::abs(ppm) < 300) // the first fifth of a burst is lost as well
                stream.push_burst(5, 0.1, 5.1);
            stream.expect_figures(ppm, snr_db < 20 ? 8 : 5, snr_db);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AtRates, Figures, testing::Values(44100, 48000, 96000));

} // namespace tonelink::test
