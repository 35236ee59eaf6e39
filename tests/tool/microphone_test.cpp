// What a microphone hears on devices that have their own ideas of rate, channels and sample format,
// and on one that loses samples.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include <dlfcn.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "burst_shape.h"
#include "check/played_and_heard.h"
#include "command.h"
#include "decode/burst_receiver.h"
#include "decode/loudest_channel.h"
#include "decode/microphone.h"
#include "errors.h"
#include "platform/scratch_folder.h"
#include "platform/sound_devices.h"
#include "test_sounds.h"

namespace {

using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kStandstill{1100};

// What a device captures in place of what it does, where there is something here, and after how
// many samples it stands still.
tonelink::test::sound room;
std::ptrdiff_t position = 0, overrun = 0;
bool has_overrun = false;
clock::time_point before_overrun, behind_overrun;

} // namespace

// Goes before the ALSA library's own.
extern "C" snd_pcm_sframes_t snd_pcm_readi(snd_pcm_t *pcm, void *buffer, snd_pcm_uframes_t size)
{
    static const auto real =
        reinterpret_cast<decltype(&snd_pcm_readi)>(dlsym(RTLD_NEXT, "snd_pcm_readi"));
    if (room.empty()) return real(pcm, buffer, size);
    if (position >= overrun && !has_overrun) {
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
namespace {

const test::scratch_folder folder;

/// A sound for the device, on the last of its channels; the others hear a hum instead.
void write_for(const test::sound_device &device, const test::sound &samples)
{
    const auto path = test::set_device(folder, device.plugin);
    std::filesystem::remove(path);
    SndfileHandle file{path, SFM_WRITE, SF_FORMAT_RAW | device.file_format, device.channels,
                       device.rate};
    std::vector<float> frame(static_cast<std::size_t>(device.channels));
    float time = 0;
    for (const float sample : samples) {
        std::ranges::fill(frame, std::sin(time += 0.1f));
        frame.back() = sample;
        file.writef(frame.data(), 1);
    }
}

} // namespace

TEST(Microphone, HearsTheSameOnAnyDevice)
{
    for (const auto &device : test::kSoundDevices) {
        SCOPED_TRACE(device.plugin);
        write_for(device, test::tones(device.rate));
        microphone input{"test"};
        test::sound heard;
        while (static_cast<double>(heard.size()) < input.rate())
            for (const int16_t sample : input.read(1000))
                heard.push_back(static_cast<float>(sample) / 32768.0f);
        test::expect_tones(heard, device.rate);
        EXPECT_EQ(input.take_lost(), 0);
        EXPECT_EQ(input.warning(), "");
    }
}

// The bursts wander from one side to the other, one of them while it lasts.
TEST(Microphone, HearsTheLouderOfTwoChannels)
{
    constexpr std::size_t kPitch = 30000, kBursts = 9;
    test::sound sides[2];
    for (std::size_t i = 0; i < kBursts; ++i) {
        auto burst = test::burst_of(0x12673CA5);
        test::mix(sides[i % 2], burst, i * kPitch, 0.25f);
        if (i < kBursts - 1) continue;
        std::fill_n(burst.begin(), burst.size() / 2, 0.0f);
        test::mix(sides[1], burst, i * kPitch, 1.0f);
    }
    std::vector<int16_t> frames;
    for (std::size_t n = 0; n < sides[1].size() + kPitch; ++n)
        for (const auto &side : sides)
            frames.push_back(static_cast<int16_t>(n < side.size() ? side[n] * 32000 : 0));

    loudest_channel<int16_t> whole{2, kAudioRate}, cut{2, kAudioRate};
    std::vector<int16_t> other = frames;
    const auto heard = whole.put(other);
    std::vector<int16_t> heard_in_parts;
    for (auto rest = std::span{frames}; !rest.empty();) {
        const auto part = rest.first(std::min<std::size_t>(2 * 777, rest.size()));
        std::ranges::copy(cut.put(part), std::back_inserter(heard_in_parts));
        rest = rest.subspan(part.size());
    }
    EXPECT_TRUE(std::ranges::equal(heard, heard_in_parts));
    burst_receiver receiver{kAudioRate, {}};
    receiver.put(heard);
    receiver.finish();
    std::size_t bursts = 0;
    while (receiver.take()) ++bursts;
    EXPECT_EQ(bursts, kBursts);
}

// For more than a second: times are those of the room, before the gap and behind it.
TEST(Microphone, ListenTellsOfWhatWasLost)
{
    constexpr std::size_t kFirstBurst = 10000, kSecondBurst = 200000;
    constexpr std::ptrdiff_t kOverrun = kAudioRate; // what was heard of a burst is not settled yet
    test::sound sound;
    for (const std::size_t at : {kFirstBurst, kSecondBurst})
        test::mix(sound, test::burst_of(static_cast<uint32_t>(at)), at, 0.5f);
    sound.resize(300000);
    for (const int rate : {kAudioRate, 48000}) {
        SCOPED_TRACE(rate);
        test::set_device(folder, "type card file \"/dev/null\" format S16_LE channels 1 rate " +
                                     std::to_string(rate));
        room = rate == kAudioRate ? sound : test::resampled(sound, rate);
        position = 0;
        overrun = kOverrun * rate / kAudioRate;
        has_overrun = false;
        CLI::App program;
        int status = kFailed;
        add_listen_command(program, status);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        program.parse("listen --input alsa:test --json --count 2");
        const std::string said = testing::internal::GetCapturedStderr();
        std::istringstream told{testing::internal::GetCapturedStdout()};
        room.clear();

        std::string line;
        std::getline(told, line);
        const double lost = nlohmann::json::parse(line).at("lost_samples");
        const std::chrono::duration<double> gap = behind_overrun - before_overrun;
        EXPECT_GE(lost, rate * kStandstill.count() / 1000);
        EXPECT_LE(lost, rate * gap.count());
        EXPECT_TRUE(said.starts_with("tonelink listen: lost " + std::to_string(std::lround(lost)) +
                                     " samples, "))
            << said;
        const auto seconds = [](double samples) { return samples / kAudioRate; };
        for (const double time :
             {seconds(kOverrun), seconds(kFirstBurst), seconds(kSecondBurst) + lost / rate}) {
            EXPECT_NEAR(nlohmann::json::parse(line).at("time"), time, 0.02);
            std::getline(told, line);
        }
        EXPECT_TRUE(told.eof());
    }
}

// Where the loudspeaker or the microphone does not open, whoever wanted it.
TEST(Microphone, SaysWhatStandsBehindAFailure)
{
    for (const auto &[error, hint] :
         {std::pair{EBUSY, "another program has it, mostly the sound server"},
          {EACCES, "this user may not use it: be in the group audio"},
          {EPERM, "this user may not use it: be in the group audio"},
          {ECONNREFUSED, "no sound server runs for this user"},
          {EIO, "--list-devices shows what there is"}}) {
        test::set_device(folder, "type card error " + std::to_string(error));
        const std::string reason = std::string{snd_strerror(error)} + "; " + hint;
        const auto expect_told = [&](const std::exception &told, const char *what) {
            EXPECT_TRUE(std::string{told.what()}.starts_with(
                std::string{"cannot "} + what + " the ALSA device \"test\": " + reason))
                << told.what();
        };
        try {
            const microphone input{"test"};
            FAIL() << "it opens";
        } catch (const device_failure &told) {
            expect_told(told, "listen to");
        }
        using reasons = path_reason;
        for (const auto &[devices, side, what] :
             {std::tuple{check_devices{.output = "test", .input = {}}, reasons::no_output,
                         "play to"},
              {check_devices{.output = {}, .input = "test"}, reasons::no_input, "listen to"}})
            try {
                play_and_hear(devices, -6, 1, [](double) {});
                FAIL() << "it opens";
            } catch (const unusable_device &told) {
                EXPECT_EQ(told.reason, side);
                expect_told(told, what);
            }
    }
}

TEST(Microphone, ListenRefusesARateThatNoReceiverTakes)
{
    test::set_device(folder, "type card file \"/dev/null\" format S16_LE channels 1 rate 32000");
    CLI::App program;
    int status = kFailed;
    add_listen_command(program, status);
    try {
        program.parse("listen --input alsa:test");
        FAIL() << "it listens";
    } catch (const failure &error) {
        EXPECT_STREQ(error.what(),
                     "cannot listen to the ALSA device \"test\": it runs at 32000 Hz; "
                     "42000 to 384000 Hz is right");
    }
}

} // namespace tonelink::tool
