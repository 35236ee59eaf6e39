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

/// A burst that was seen waits so long for the far method to read it, in samples from its start:
/// the burst itself and two seconds.
constexpr double kFarPatience = kBurstSamples + 2.1 * kAudioRate;

/// A burst by so many dB over its noise is measured as well alone as by the far method.
constexpr float kClearSnrDb = 3;

/// Both agree where a burst begins when they differ by no more than this: a millisecond, in
/// samples.
constexpr double kSamePlace = 1e-3 * kAudioRate;

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

receiver::receiver(int32_t rate, message_lengths lengths, const parts &own)
    : rate_{rate}, lengths_{lengths}, is_exact_{own.is_exact},
      resampler_{rate, own.coefficients}, places_{rate}, far_{own.far}
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
    position_ = 0;
    far_heard_ = 0;
    baseband_.restart();
    watch_.restart();
    if (far_ != nullptr) far_->restart();
    measuring_.restart();
    told_.restart();
    unread_count_ = 0;
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
    const int64_t silence = position_ + static_cast<int64_t>(tick_fill_);
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
    while (const auto burst = bursts_.take_early(static_cast<uint64_t>(position_)))
        measuring_.add({.heard = *burst, .sample = static_cast<double>(burst->first_sample())});
    while (is_at_work()) {
        if (far_ != nullptr) far_->put({});
        take_far();
        measure(kStepsPerTick);
    }
}

bool receiver::is_at_work() const
{
    return !measuring_.empty() || (far_ != nullptr && !far_->is_idle());
}

void receiver::finish()
{
    if (is_ended_) return;
    // All that has come is heard; what is known of is settled, and then measured.
    is_draining_ = true;
    for (int tick = 0; tick < 2; ++tick) put_silence(frames_to_tick());
    if (far_ != nullptr) far_->end_stream();
    for (int tick = 0; tick < kDrainTicks || is_at_work(); ++tick) put_silence(frames_to_tick());
    while (unread_count_ > 0) conclude_unread();
    is_draining_ = false;
    is_ended_ = true;
}

/// Goes through a tick, or through what there is of one.
void receiver::hear(std::span<const float> samples)
{
    if (is_exact_) {
        std::array<int16_t, kTick> rounded;
        std::ranges::transform(samples, rounded.begin(), to_16_bits);
        exact_.receive(std::span{rounded}.first(samples.size()), shifter_, lengths_,
                       [this](const heard_message &heard) { bursts_.accept(heard); });
    }
    position_ += static_cast<int64_t>(samples.size());
    baseband_.put(samples);
    watch_.look(baseband_);
    if (far_ != nullptr) hear_far();
    while (const auto burst = bursts_.take(static_cast<uint64_t>(position_)))
        measuring_.add({.heard = *burst, .sample = static_cast<double>(burst->first_sample())});
    const auto seen = watch_.take();
    if (seen && !measuring_.covers(*seen) && !told_.covers(*seen))
        measuring_.add({.sample = *seen});
    measure(kStepsPerTick);
    const double patience = far_ != nullptr ? kFarPatience : 0;
    while (unread_count_ > 0 && unread_[0].sample + patience < static_cast<double>(position_))
        conclude_unread();
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

/// What the far method makes of the last baseband samples.
void receiver::hear_far()
{
    while (far_heard_ < baseband_.size()) {
        std::array<float_complex, 64> samples;
        std::size_t count = 0;
        while (count < samples.size() && far_heard_ < baseband_.size())
            samples[count++] = baseband_.at(far_heard_++);
        far_->put(std::span{samples}.first(count));
    }
    take_far();
}

void receiver::take_far()
{
    if (far_ == nullptr) return;
    for (far_message message; far_->take(message);) {
        // Its noise is measured at the last copy: a sum may begin long before what is kept.
        measuring_.add({.sample = message.last_sample, .far = message});
    }
}

void receiver::conclude(const found_burst &burst, const burst_figures &figures)
{
    if (burst.far)
        tell_far(*burst.far, figures);
    else if (burst.is_heard())
        tell_exact(burst.heard, figures);
    else if (unread_count_ < unread_.size())
        unread_[unread_count_++] = {burst.sample, figures};
}

void receiver::tell_exact(const heard_burst &burst, const burst_figures &figures)
{
    tonelink_heard heard{};
    heard.level_dbfs = figures.level_dbfs;
    heard.snr_db = figures.snr_db;
    heard.clock_ppm = figures.clock_ppm;
    heard.copies = 1;
    heard.methods = TONELINK_METHOD_EXACT;
    heard.positions = burst.positions;
    tell(heard, burst.message, figures.first_sample, kBurstSamples);
}

void receiver::tell_far(const far_message &message, const burst_figures &figures)
{
    tonelink_heard heard{};
    heard.copies = static_cast<int32_t>(message.copies);
    heard.methods = TONELINK_METHOD_FAR;
    // The far method's own figures are for bursts in noise; of a clear one, the meter's are better.
    // Beside a loud tone, which the far method takes out, the meter has no burst to go by.
    const bool is_clear = message.copies == 1 && figures.snr_db > kClearSnrDb &&
                          std::abs(figures.first_sample - message.first_sample) < kSamePlace;
    heard.snr_db = is_clear ? figures.snr_db : message.snr_db;
    heard.clock_ppm = is_clear ? figures.clock_ppm : message.clock_ppm;
    heard.level_dbfs =
        is_clear ? figures.level_dbfs : std::max(figures.noise_dbfs + message.snr_db, -150.0f);
    tell(heard, {message.bits, message.length},
         is_clear ? figures.first_sample : message.first_sample,
         message.last_sample - message.first_sample + double{kBurstSamples});
}

/// Tells a burst once, by whichever method it comes first.
/// @param sample  its first one, at 44100 Hz
/// @param length  in samples, of all copies that were summed for it
void receiver::tell(tonelink_heard &heard, const message_value &message, double sample,
                    double length)
{
    const double frame = places_.frame_at(sample);
    heard.size = sizeof heard;
    heard.nbits = static_cast<int32_t>(message.length);
    write_message(message, heard.message);
    heard.first_sample = std::llround(frame);
    heard.seconds = frame / rate_;
    if (told_.has(message, sample, length)) {
        queue_.confirm(heard, std::llround(kSameBurst * rate_ / kAudioRate));
        return;
    }
    heard.repeats = told_.count_before(message, heard.seconds, kRepeatSeconds);
    told_.add(message, sample, length, heard.seconds);
    dropped_ += queue_.put(heard);
    ++slot_.heard;
}

/// Notes the burst that has waited longest to be read, unless it was.
void receiver::conclude_unread()
{
    const unread_burst burst = unread_[0];
    std::copy(unread_.data() + 1, unread_.data() + unread_count_, unread_.data());
    --unread_count_;
    if (!told_.covers(burst.sample)) note_unread(burst.figures);
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

    reception.reason = reason_of(whole);
    reception.recent_reason = reason_of(recent);
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
