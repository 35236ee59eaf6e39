// An audio output in a test, and what a file holds of it.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sndfile.hh>

#include "scratch_folder.h"
#include "tonelink_platform/host.h"

namespace tonelink::test {

using sample_row = std::vector<std::int16_t>;

constexpr int kRate = 44100;
constexpr std::size_t kPeriodSamples = kRate / 100; // 10 ms

constexpr int kInvalidParameter = -22;
constexpr int kInvalidOperation = -38;
constexpr int kNotOpened = -26214399;

/// An output that is destroyed with the scope.
class test_output {
public:
    explicit test_output(int rate = kRate)
    {
        EXPECT_EQ(audio_out_create_new(rate, 128, 113, &out_), 0);
    }
    test_output(const test_output &) = delete;
    test_output &operator=(const test_output &) = delete;
    ~test_output() { audio_out_destroy(out_); }

    operator audio_out_h() const { return out_; }

    int write(const sample_row &samples) const
    {
        return audio_out_write(out_, samples.data(), static_cast<unsigned>(2 * samples.size()));
    }

private:
    audio_out_h out_ = nullptr;
};

/// A stream callback made of a function object.
using stream_callback = std::function<void(audio_out_h out, std::size_t nbytes)>;

inline int set_callback(audio_out_h out, stream_callback &call)
{
    const auto pass_on = [](audio_out_h o, size_t nbytes, void *user_data) {
        (*static_cast<stream_callback *>(user_data))(o, nbytes);
    };
    return audio_out_set_stream_cb(out, pass_on, &call);
}

inline std::string last_error()
{
    std::string text(tonelink_host_get_last_error(nullptr, 0), '\0');
    tonelink_host_get_last_error(text.data(), text.size() + 1);
    return text;
}

/// Plays a row on an output of its own; a failed test when it cannot be played.
inline void play(const sample_row &samples, int rate = kRate)
{
    const test_output out{rate};
    EXPECT_EQ(audio_out_prepare(out), 0) << last_error();
    EXPECT_EQ(out.write(samples), static_cast<int>(2 * samples.size()));
}

/// The samples of a mono file of this rate, with a header or `raw`; a failed test when it is none.
inline sample_row recorded(const std::string &path, int rate = kRate, bool raw = false)
{
    const int format = (raw ? SF_FORMAT_RAW : SF_FORMAT_WAV) | SF_FORMAT_PCM_16;
    SndfileHandle file{path, SFM_READ, format, 1, rate};
    EXPECT_EQ(std::tuple(file.format(), file.channels(), file.samplerate()),
              std::tuple(format, 1, rate))
        << path << ": " << file.strError();
    sample_row samples(static_cast<std::size_t>(file.frames()));
    EXPECT_EQ(file.read(samples.data(), file.frames()), file.frames());
    return samples;
}

template <class Condition> void wait_until(Condition holds)
{
    while (!holds()) std::this_thread::sleep_for(std::chrono::milliseconds{1});
}

/// Waits until the device has taken so many samples of the process.
inline void wait_for_samples(std::uint64_t count)
{
    wait_until([&] { return tonelink_host_get_samples_played() >= count; });
}

/// Threads of the host platform that are alive.
inline std::ptrdiff_t host_threads()
{
    const std::filesystem::directory_iterator threads{"/proc/self/task"};
    return std::ranges::count_if(threads, [](const auto &thread) {
        return bytes_of(thread.path() / "comm").starts_with("tonelink-");
    });
}

} // namespace tonelink::test
