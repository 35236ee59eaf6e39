// Listening to a device that has lost samples: ALSA's `null`, with a sound of the test's own in it.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "command.h"
#include "decode/microphone.h"
#include "modem/burst_format.h"
#include "test_sounds.h"

namespace {

using clock = std::chrono::steady_clock;

constexpr std::ptrdiff_t kOverrun = 44100; // while what was heard of a burst is not settled yet
constexpr std::chrono::milliseconds kStandstill{1100};

tonelink::test::sound sound;
std::ptrdiff_t position = 0;
bool has_overrun = false;
clock::time_point before_overrun, behind_overrun;

} // namespace

// Goes before the ALSA library's own.
extern "C" snd_pcm_sframes_t snd_pcm_readi(snd_pcm_t *, void *buffer, snd_pcm_uframes_t size)
{
    if (position >= kOverrun && !has_overrun) {
        has_overrun = true;
        std::this_thread::sleep_for(kStandstill);
        return -EPIPE;
    }
    (has_overrun ? behind_overrun : before_overrun) = clock::now();
    const auto count = std::min(static_cast<std::ptrdiff_t>(size), std::ssize(sound) - position);
    std::transform(sound.begin() + position, sound.begin() + position + count,
                   static_cast<int16_t *>(buffer),
                   [](float sample) { return static_cast<int16_t>(sample * 32767); });
    position += count;
    return count;
}

namespace tonelink::tool {

// For more than a second: times are those of the room, before the gap and behind it.
TEST(Microphone, ListenTellsOfWhatWasLost)
{
    constexpr std::size_t kFirstBurst = 10000, kSecondBurst = 200000;
    for (const std::size_t at : {kFirstBurst, kSecondBurst})
        test::mix(sound, test::burst_of(static_cast<uint32_t>(at)), at);
    sound.resize(300000);
    CLI::App program;
    add_listen_command(program);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    program.parse("listen --input alsa:null --json --count 2");
    const std::string said = testing::internal::GetCapturedStderr();
    std::istringstream lines{testing::internal::GetCapturedStdout()};
    std::vector<nlohmann::json> told;
    for (std::string line; std::getline(lines, line);) told.push_back(nlohmann::json::parse(line));

    ASSERT_EQ(told.size(), 3u);
    const auto lost = told[0].at("lost_samples").get<int64_t>();
    const std::chrono::duration<double> gap = behind_overrun - before_overrun;
    EXPECT_GE(static_cast<double>(lost), kAudioRate * kStandstill.count() / 1000);
    EXPECT_LE(static_cast<double>(lost), kAudioRate * gap.count());
    EXPECT_TRUE(said.starts_with("tonelink listen: lost " + std::to_string(lost) + " samples, "))
        << said;
    const double places[] = {kOverrun, kFirstBurst, kSecondBurst + static_cast<double>(lost)};
    for (std::size_t i = 0; i < told.size(); ++i)
        EXPECT_NEAR(told[i].at("time").get<double>(), places[i] / kAudioRate, 0.005);
}

} // namespace tonelink::tool
