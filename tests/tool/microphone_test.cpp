// Listening to a device that has lost samples: ALSA's `null`, with a sound of the test's own in it.

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

tonelink::test::sound room;
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
    const auto count = std::min(static_cast<std::ptrdiff_t>(size), std::ssize(room) - position);
    for (auto *to = static_cast<int16_t *>(buffer), *end = to + count; to != end; ++to)
        *to = static_cast<int16_t>(room[static_cast<std::size_t>(position++)] * 32767);
    return count;
}

namespace tonelink::tool {

// For more than a second: times are those of the room, before the gap and behind it.
TEST(Microphone, ListenTellsOfWhatWasLost)
{
    constexpr std::size_t kFirstBurst = 10000, kSecondBurst = 200000;
    for (const std::size_t at : {kFirstBurst, kSecondBurst})
        test::mix(room, test::burst_of(static_cast<uint32_t>(at)), at);
    room.resize(300000);
    CLI::App program;
    add_listen_command(program);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    program.parse("listen --input alsa:null --json --count 2");
    const std::string said = testing::internal::GetCapturedStderr();
    std::istringstream told{testing::internal::GetCapturedStdout()};

    std::string line;
    std::getline(told, line);
    const double lost = nlohmann::json::parse(line).at("lost_samples");
    const std::chrono::duration<double> gap = behind_overrun - before_overrun;
    EXPECT_GE(lost, kAudioRate * kStandstill.count() / 1000);
    EXPECT_LE(lost, kAudioRate * gap.count());
    EXPECT_TRUE(said.starts_with("tonelink listen: lost " + std::to_string(std::lround(lost)) +
                                 " samples, "))
        << said;
    for (const double place : {double{kOverrun}, double{kFirstBurst}, kSecondBurst + lost}) {
        EXPECT_NEAR(nlohmann::json::parse(line).at("time"), place / kAudioRate, 0.005);
        std::getline(told, line);
    }
    EXPECT_TRUE(told.eof());
}

} // namespace tonelink::tool
