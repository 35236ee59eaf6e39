#include "receiver/receiver.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "modem/band_shift.h"
#include "receiver/reception_report.h"

namespace tonelink {

namespace {

/// Measuring steps in a tick: a third of a burst's symbols or so.
constexpr int kStepsPerTick = 3;

/// In place of samples lost, so much silence is heard at most: longer than a burst.
constexpr double kLongestSilence = 0.6;

/// Where in that silence the others are missing, in samples. A burst before them begins before the
/// silence, one behind them ends after it: both are told from here on the right side.
constexpr int64_t kPlaceOfGap =
    (static_cast<int64_t>(kLongestSilence * kAudioRate) - int64_t{kBurstSamples}) / 2;

/// More frames than that are not counted: no sum of them leaves 64 bits.
constexpr uint64_t kMostFrames = uint64_t{1} << 62;

/// A record is a repeat of those up to three seconds before it.
constexpr double kRepeatSeconds = 3;

/// Silence behind the end of a stream, in ticks: what filters and runs of acceptances wait for, and
/// the measuring of all that waits.
constexpr int kDrainTicks = 60;

/// Exact for what was 16 bits.
int16_t to_16_bits(float sample)
{
    const float scaled = sample * 32768.0f;
    const float nearest = scaled < 0 ? scaled - 0.5f : scaled + 0.5f;
    return static_cast<int16_t>(std::clamp(nearest, -32768.0f, 32767.0f));
}

void write_message(const message_value &message, uint8_t (&bytes)[8])
{
    std::ranges::fill(bytes, uint8_t{0});
    for (std::size_t i = 0; i < message.length / 8; ++i)
        bytes[i] = static_cast<uint8_t>(message.bits >> (message.length - 8 * (i + 1)));
}

} // namespace

receiver::receiver(int32_t rate, message_lengths lengths, std::span<float> coefficients)
    : rate_{rate}, lengths_{lengths}, resampler_{rate, coefficients}, places_{rate}
{
    openBandShift(&shifter_, kBandShiftHz);
}

receiver::~receiver() { closeBandShift(&shifter_); }

void receiver::begin_stream()
{
    is_ended_ = false;
    resampler_.restart();
    places_ = stream_places{rate_};
    tick_fill_ = 0;
    frames_ = 0;
    restart_band_shift(shifter_);
    std::construct_at(&exact_);
    bursts_.restart();
    baseband_.restart();
    watch_.restart();
    measuring_.restart();
    told_.restart();
    levels_.restart();
    slot_ = {};
    whole_ = {};
    recent_ = {};
    dropped_ = 0;
}

void receiver::put(std::span<const float> samples, const flaws &found)
{
    if (is_ended_) begin_stream();
    frames_ += samples.size();
    slot_.frames += samples.size();
    slot_.clipped_frames += found.clipped;
    slot_.invalid_frames += found.invalid;
    put_samples(samples);
}

std::size_t receiver::frames_to_tick() const
{
    const std::size_t samples = kTick - tick_fill_;
    return rate_ == kAudioRate ? samples : resampler_.missing(samples);
}

/// As many as frames_to_tick() at most.
void receiver::put_samples(std::span<const float> samples)
{
    const std::span room{&tick_[tick_fill_], kTick - tick_fill_};
    if (rate_ == kAudioRate) {
        std::ranges::copy(samples, room.begin());
        tick_fill_ += samples.size();
    } else {
        tick_fill_ += resampler_.run(samples, room).made;
    }
    if (tick_fill_ < kTick) return;
    tick_fill_ = 0;
    hear(tick_);
}

void receiver::put_silence(uint64_t frames)
{
    static constexpr std::array<float, 256> kSilence{};
    while (frames > 0) {
        const std::size_t most = std::min(kSilence.size(), frames_to_tick());
        const auto count = static_cast<std::size_t>(std::min<uint64_t>(frames, most));
        put_samples(std::span{kSilence}.first(count));
        frames -= count;
    }
}

void receiver::put_lost(uint64_t frames)
{
    if (is_ended_) begin_stream();
    frames = std::min(frames, kMostFrames - std::min(frames_, kMostFrames));
    const auto heard = std::min(frames, static_cast<uint64_t>(kLongestSilence * rate_));
    const auto silence = static_cast<int64_t>(exact_.position() + tick_fill_);
    frames_ += frames;
    slot_.lost_frames += frames;
    put_silence(heard);
    if (frames > heard) places_.skip(silence + kPlaceOfGap, frames - heard);
}

void receiver::settle()
{
    if (is_ended_) return;
    hear(std::span{tick_}.first(tick_fill_));
    tick_fill_ = 0;
    while (const auto burst = bursts_.take_early())
        measuring_.add({*burst, static_cast<double>(burst->first_sample())});
    while (!measuring_.empty()) measure(1);
}

void receiver::finish()
{
    if (is_ended_) return;
    // What is known of is settled, and then measured.
    is_draining_ = true;
    for (int tick = 0; tick < kDrainTicks || !measuring_.empty(); ++tick)
        put_silence(frames_to_tick());
    is_draining_ = false;
    is_ended_ = true;
}

/// Goes through a tick, or through what there is of one.
void receiver::hear(std::span<const float> samples)
{
    std::array<int16_t, kTick> rounded;
    std::ranges::transform(samples, rounded.begin(), to_16_bits);
    exact_.receive(std::span{rounded}.first(samples.size()), shifter_, lengths_,
                   [this](const heard_message &heard) { bursts_.accept(heard); });
    baseband_.put(samples);
    watch_.look(baseband_);
    while (const auto burst = bursts_.take(exact_.position()))
        measuring_.add({*burst, static_cast<double>(burst->first_sample())});
    if (const auto seen = watch_.take(); seen && !measuring_.covers(seen->first_sample))
        measuring_.add({{}, seen->first_sample});
    measure(kStepsPerTick);
    if (is_draining_) return;
    for (std::size_t taken = 0; !samples.empty(); samples = samples.subspan(taken)) {
        taken = std::min(samples.size(), levels_.missing());
        if (levels_.put(samples.first(taken), slot_)) end_slot();
    }
}

void receiver::measure(int steps)
{
    measuring_.advance(steps, baseband_,
                       [this](const found_burst &burst, const burst_figures &figures) {
                           conclude(burst, figures);
                       });
}

void receiver::conclude(const found_burst &burst, const burst_figures &figures)
{
    if (burst.is_heard())
        tell(burst.heard, figures);
    else if (!told_.covers(burst.sample))
        note_unread(figures);
}

void receiver::tell(const heard_burst &burst, const burst_figures &figures)
{
    tonelink_heard heard{};
    heard.size = sizeof heard;
    heard.nbits = static_cast<int32_t>(burst.message.length);
    write_message(burst.message, heard.message);
    const double frame = places_.frame_at(figures.first_sample);
    heard.first_sample = std::llround(frame);
    heard.seconds = frame / rate_;
    heard.level_dbfs = figures.level_dbfs;
    heard.snr_db = figures.snr_db;
    heard.clock_ppm = figures.clock_ppm;
    heard.copies = 1;
    heard.methods = TONELINK_METHOD_EXACT;
    heard.positions = burst.positions;
    heard.repeats = told_.count_before(burst.message, heard.seconds, kRepeatSeconds);
    told_.add(burst.message, figures.first_sample, heard.seconds);
    dropped_ += queue_.put(heard);
    ++slot_.heard;
}

void receiver::note_unread(const burst_figures &figures)
{
    sound_figures seen;
    seen.unread = 1;
    seen.unread_snr_db = figures.snr_db;
    seen.unread_ppm = figures.clock_ppm;
    slot_.add(seen);
}

void receiver::end_slot()
{
    recent_[whole_.slots % kRecentSlots] = slot_;
    whole_.add(slot_);
    slot_ = {};
}

void receiver::report(tonelink_reception &reception) const
{
    sound_figures recent, second;
    const std::size_t newest = whole_.slots + kRecentSlots - 1;
    const std::size_t kept = std::min<std::size_t>(whole_.slots, kRecentSlots);
    for (std::size_t i = 0; i < kept; ++i) {
        recent.add(recent_[(newest - i) % kRecentSlots]);
        if (i < 10) second.add(recent_[(newest - i) % kRecentSlots]);
    }
    sound_figures whole = whole_;
    whole.add(slot_);
    recent.add(slot_);
    const sound_figures &last = recent_[newest % kRecentSlots];
    const double lost = static_cast<double>(whole.lost_frames) / rate_;

    reception.reason = reason_of(whole, lost);
    reception.recent_reason = reason_of(recent, static_cast<double>(recent.lost_frames) / rate_);
    reception.heard = whole.heard;
    reception.unread = whole.unread;
    reception.dropped = dropped_;
    reception.seconds = static_cast<double>(frames_) / rate_;
    reception.frames = frames_;
    reception.lost_frames = whole.lost_frames;
    reception.clipped_frames = whole.clipped_frames;
    reception.invalid_frames = whole.invalid_frames;
    reception.level_dbfs = level_of(last.power);
    reception.peak_dbfs = level_of(0.5 * double{last.peak} * last.peak);
    reception.band_dbfs = level_of(last.band_power);
    reception.band_edge_hz = band_edge_of(whole);
    if (whole.unread > 0) {
        reception.missing_db = std::max(kReadableSnrDb - whole.unread_snr_db, 0.0f);
        reception.unread_snr_db = whole.unread_snr_db;
        reception.unread_ppm = whole.unread_ppm;
    }
    for (std::size_t i = 0; i < kLevelBands; ++i)
        reception.spectrum_dbfs[i] =
            level_of(second.slots > 0 ? second.powers[i] / second.slots : 0);
}

} // namespace tonelink
