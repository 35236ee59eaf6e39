// An audio output in a test, and what a WAV file holds of it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sndfile.h>

#include "tonelink_platform/host.h"

namespace tonelink::test {

using sample_row = std::vector<std::int16_t>;

constexpr int kRate = 44100;
constexpr std::size_t kPeriodSamples = kRate / 100; // 10 ms

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
        return audio_out_write(out_, samples.data(), static_cast<unsigned int>(2 * samples.size()));
    }

private:
    audio_out_h out_ = nullptr;
};

/// A row that no shift makes equal to itself: noise from a fixed seed, never 0.
inline sample_row test_sound(std::size_t count)
{
    sample_row samples;
    std::uint32_t state = 1;
    while (samples.size() < count) {
        state = state * 1103515245u + 12345u;
        const auto sample = static_cast<std::int16_t>(state >> 16);
        if (sample != 0) samples.push_back(sample);
    }
    return samples;
}

/// The samples of a mono WAV file of this rate; a failed test when it is none.
inline sample_row recorded(const std::string &path, int rate = kRate)
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) {
        ADD_FAILURE() << path << " cannot be read: " << sf_strerror(nullptr);
        return {};
    }
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    EXPECT_EQ(info.channels, 1);
    EXPECT_EQ(info.samplerate, rate);
    sample_row samples(static_cast<std::size_t>(info.frames));
    EXPECT_EQ(sf_read_short(file, samples.data(), info.frames), info.frames);
    sf_close(file);
    return samples;
}

/// Threads of the host platform that are alive.
inline std::ptrdiff_t host_threads()
{
    const std::filesystem::directory_iterator threads{"/proc/self/task"};
    return std::count_if(begin(threads), end(threads), [](const auto &thread) {
        std::string name;
        std::getline(std::ifstream{thread.path() / "comm"}, name);
        return name.starts_with("tonelink-");
    });
}

inline std::string last_error()
{
    std::string text(tonelink_host_get_last_error(nullptr, 0), '\0');
    tonelink_host_get_last_error(text.data(), text.size() + 1);
    return text;
}

} // namespace tonelink::test
