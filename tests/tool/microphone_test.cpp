// Listening to a device that has lost samples, down from what ALSA says of it: its `file` plug-in
// over `null`, which never loses any by itself.

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "burst_layout.h"
#include "command.h"
#include "decode/microphone.h"
#include "platform/scratch_folder.h"
#include "test_sounds.h"

namespace {

using clock = std::chrono::steady_clock;

constexpr int kFirstBurst = 10000;
constexpr int kSecondBurst = 5 * 44100;
std::chrono::milliseconds standstill{50};
constexpr snd_pcm_sframes_t kNever = 1'000'000'000;
snd_pcm_sframes_t left_until_overrun = kNever;
clock::time_point last_good_read;

} // namespace

// Goes before the ALSA library's own.
extern "C" snd_pcm_sframes_t snd_pcm_readi(snd_pcm_t *pcm, void *buffer, snd_pcm_uframes_t size)
{
    static const auto real =
        reinterpret_cast<decltype(&snd_pcm_readi)>(dlsym(RTLD_NEXT, "snd_pcm_readi"));
    if (left_until_overrun <= 0) {
        left_until_overrun = kNever;
        std::this_thread::sleep_for(standstill);
        return -EPIPE;
    }
    last_good_read = clock::now();
    const auto count = real(pcm, buffer, size);
    left_until_overrun -= count;
    return count;
}

namespace tonelink::tool {
namespace {

class Microphone : public testing::Test {
protected:
    Microphone()
    {
        test::sound sound;
        for (const int at : {kFirstBurst, kSecondBurst})
            test::mix(sound, test::burst_of(0x12673CA5), static_cast<std::size_t>(at));
        sound.resize(sound.size() + 44100);
        std::string bytes;
        for (const float sample : sound) {
            const auto value = static_cast<int16_t>(sample * 32767);
            bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
        }
        folder_.write("sound.raw", bytes);
        const auto configuration = folder_.write(
            "asoundrc",
            "pcm.test {\n type file\n slave.pcm { type null }\n file \"/dev/null\"\n infile \"" +
                folder_.file("sound.raw") + "\"\n format raw\n}\n");
        setenv("ALSA_CONFIG_PATH", configuration.c_str(), 1);
    }

    const test::scratch_folder folder_;
};

TEST_F(Microphone, CountsWhatWasLost)
{
    microphone input{"test"};
    EXPECT_FALSE(input.read(1000).empty());
    left_until_overrun = 0;
    EXPECT_TRUE(input.read(1000).empty());
    const std::chrono::duration<double> gap = clock::now() - last_good_read;
    const int64_t lost = input.take_lost();
    EXPECT_GE(lost, 44100 * standstill.count() / 1000);
    EXPECT_LE(static_cast<double>(lost), 44100 * gap.count());
    EXPECT_EQ(input.take_lost(), 0);
    EXPECT_FALSE(input.read(1000).empty());
}

// Of a second and more, where times are those of the room, behind the gap and before.
TEST_F(Microphone, ListenTellsOfWhatWasLost)
{
    CLI::App program;
    add_listen_command(program);
    left_until_overrun = 44100;
    standstill = std::chrono::milliseconds{1100};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    program.parse("listen --input alsa:test --json --count 2");
    const std::string said = testing::internal::GetCapturedStderr();
    std::istringstream lines{testing::internal::GetCapturedStdout()};
    std::vector<nlohmann::json> told;
    for (std::string line; std::getline(lines, line);) told.push_back(nlohmann::json::parse(line));

    ASSERT_EQ(told.size(), 3u);
    const auto lost = told[0]["lost_samples"].get<int64_t>();
    EXPECT_GE(lost, 44100 * standstill.count() / 1000);
    EXPECT_EQ(said.find("tonelink listen: lost " + std::to_string(lost) + " samples, "), 0u)
        << said;
    const double times[] = {1, kFirstBurst / kDesignRate,
                            static_cast<double>(kSecondBurst + lost) / kDesignRate};
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(told[i]["time"].get<double>(), times[i], 0.005) << i;
}

} // namespace
} // namespace tonelink::tool
