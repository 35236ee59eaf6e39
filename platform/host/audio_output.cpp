#include "audio_output.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "result.h"
#include "sound_manager.h"

namespace tonelink::host {

namespace {

// A period: writes are cut, stopped and scaled in its steps.
constexpr int kPeriodsPerSecond = 100;
constexpr auto kPeriod = std::chrono::nanoseconds{std::chrono::seconds{1}} / kPeriodsPerSecond;
constexpr std::size_t kLongestPeriod = audio_output::kHighestRate / kPeriodsPerSecond;

std::atomic<std::uint64_t> all_played{0};

/// The integer nearest to s level / 15; the sample itself at 15.
std::int16_t at_level(std::int16_t s, int level)
{
    const int product = s * level;
    constexpr int half = kHighestLevel / 2;
    return static_cast<std::int16_t>((product + (product < 0 ? -half : half)) / kHighestLevel);
}

} // namespace

std::uint64_t samples_played() noexcept { return all_played; }

int audio_output::bind(std::shared_ptr<stream_info> info)
{
    if (thread_.inside()) return kInvalidOperation;
    const std::lock_guard control_lock{control_mutex_};
    if (prepared_) return kInvalidOperation;
    info_ = std::move(info);
    return kOk;
}

int audio_output::prepare()
{
    if (thread_.inside()) return kInvalidOperation;
    const std::lock_guard control_lock{control_mutex_};
    if (closed_) return kInvalidParameter;
    if (prepared_) return kInvalidOperation;
    {
        const std::lock_guard sink_lock{sink_mutex_};
        sink_ = open_chosen_sink(rate_);
        failure_ = 0;
    }
    prepared_ = true;
    std::unique_lock callback_lock{callback_mutex_};
    if (!callback_) return kOk;
    callback_lock.unlock();
    try {
        thread_.start();
    } catch (...) {
        stop_playing();
        throw;
    }
    return kOk;
}

int audio_output::unprepare()
{
    if (thread_.inside()) return kInvalidOperation;
    const std::lock_guard control_lock{control_mutex_};
    if (!prepared_) return kInvalidOperation;
    stop_playing();
    return kOk;
}

int audio_output::close()
{
    if (thread_.inside()) return kInvalidOperation;
    const std::lock_guard control_lock{control_mutex_};
    if (prepared_) stop_playing();
    thread_.stop(); // one that has removed itself may still be leaving
    info_.reset();
    closed_ = true;
    return kOk;
}

void audio_output::stop_playing()
{
    stopping_ = true;
    thread_.stop();
    const std::lock_guard sink_lock{sink_mutex_};
    stopping_ = false;
    sink_->drain();
    sink_.reset();
    prepared_ = false;
}

int audio_output::set_callback(const stream_callback &callback)
{
    if (thread_.inside()) return kInvalidOperation;
    const std::lock_guard control_lock{control_mutex_};
    if (closed_) return kInvalidParameter;
    thread_.stop(); // one that is replaced
    {
        const std::lock_guard callback_lock{callback_mutex_};
        callback_ = callback;
    }
    if (prepared_) thread_.start();
    return kOk;
}

int audio_output::unset_callback()
{
    // The callback must not wait for one who waits for it.
    std::unique_lock control_lock{control_mutex_, std::defer_lock};
    if (!thread_.inside()) control_lock.lock();
    std::unique_lock callback_lock{callback_mutex_};
    const bool was_set = callback_.has_value();
    callback_.reset();
    callback_lock.unlock();
    thread_.stop();
    return was_set ? kOk : kInvalidOperation;
}

/// Calls the program's callback once; one that has written nothing is asked again a period later.
callback_thread::duration audio_output::request_samples()
{
    std::unique_lock callback_lock{callback_mutex_};
    if (!callback_) return callback_thread::kUntilWoken;
    const auto callback = *callback_;
    callback_lock.unlock();
    const auto before = taken_.load();
    callback.function(callback.out, period_bytes(), callback.user_data);
    return taken_ != before ? callback_thread::duration::zero() : kPeriod;
}

int audio_output::write(std::span<const std::byte> bytes)
{
    const std::lock_guard sink_lock{sink_mutex_};
    if (sink_ == nullptr) return kInvalidOperation;
    if (failure_ != 0) return failure_;
    std::size_t written = 0;
    while (written < bytes.size() && !stopping_) {
        const auto count = std::min(bytes.size() - written, period_bytes());
        play_period(bytes.subspan(written, count));
        written += count;
    }
    return written > 0 || bytes.empty() ? static_cast<int>(written) : kInvalidOperation;
}

/// Gives at most a period to the sink, at the level of this moment. A failure is told once: it
/// stays.
void audio_output::play_period(std::span<const std::byte> bytes)
{
    std::array<std::int16_t, kLongestPeriod> storage;
    const std::span samples{storage.data(), bytes.size() / sizeof(std::int16_t)};
    std::memcpy(samples.data(), bytes.data(), bytes.size());
    const int level = heard_level();
    for (auto &sample : samples) sample = at_level(sample, level);
    try {
        sink_->play(samples);
    } catch (const failure &failed) {
        failure_ = failed.code();
        throw;
    }
    taken_ += samples.size();
    all_played += samples.size();
}

std::size_t audio_output::period_bytes() const
{
    return static_cast<std::size_t>(rate_ / kPeriodsPerSecond) * sizeof(std::int16_t);
}

} // namespace tonelink::host
