// A transmission to a sound card, on a machine without one.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/sound_server.h"
#include "transmission/pairing_bursts.h"

// The sound server's client library is not built for the thread sanitizer, which therefore does not
// see its locks.
extern "C" const char *__tsan_default_suppressions();
const char *__tsan_default_suppressions() { return "race:libpulse"; }

namespace tonelink::test {

TEST(AlsaTransmission, ReachesAFileOverNothing)
{
    const scratch_folder folder;
    const auto raw = folder.file("sound.raw");
    const auto configuration =
        folder.write("asoundrc", "pcm.test {\n type file\n slave.pcm { type null }\n file \"" +
                                     raw + "\"\n format raw\n}\n");
    setenv("ALSA_CONFIG_PATH", configuration.c_str(), 1);
    ASSERT_EQ(tonelink_host_set_audio("alsa:test"), 0);
    prepare_pairing();
    for (const auto &f : families()) {
        SCOPED_TRACE(f.name);
        std::filesystem::remove(raw);
        transmit(f, 2);
        const auto bytes = bytes_of(raw);
        sample_row samples(bytes.size() / 2);
        std::memcpy(samples.data(), bytes.data(), bytes.size());
        ASSERT_GE(samples.size(), 2 * kWrite);
        EXPECT_EQ(samples.size() % kWrite, 0u);
        EXPECT_EQ(hash_of_burst(samples),
                  f.start == families()[0].start ? kFirstBurst : kSecondBurst);
        EXPECT_TRUE(std::equal(samples.begin() + kBurst, samples.end(), samples.begin()));
    }
}

TEST(AlsaTransmission, IsHeardThroughASoundServer)
{
    // The first transmission tells what to listen for.
    const scratch_folder folder;
    ASSERT_EQ(tonelink_host_set_audio(("wav:" + folder.file("first.wav")).c_str()), 0);
    prepare_pairing();
    transmit(families()[0], 1);
    const auto first = recorded(folder.file("first.wav"));
    constexpr std::ptrdiff_t kMark = 1000; // behind it, the filter has forgotten its past
    const auto mark = std::span{first}.subspan(std::size_t{kMark}, 100);

    sound_server server;
    ASSERT_FALSE(HasFailure());
    server.record();
    ASSERT_EQ(families()[1].start(2), 1) << last_error();
    // The beginning may be lost to the monitor, and a machine that is too busy puts silence between
    // the samples: of the copies that come, one is whole, to the bit.
    const auto hears_a_copy = [&] {
        const auto heard = server.heard();
        auto from = std::next(heard.begin(), std::min<std::ptrdiff_t>(std::ssize(heard), kMark));
        while ((from = std::search(from, heard.end(), mark.begin(), mark.end())) != heard.end()) {
            const auto copy = std::span{from - kMark, heard.end()};
            if (copy.size() >= kBurst && hash_of_burst(copy) == kSecondBurst) return true;
            ++from;
        }
        return false;
    };
    EXPECT_TRUE(server.wait_until(hears_a_copy));
    EXPECT_EQ(families()[1].stop(), 1);
    int volume = -1;
    EXPECT_EQ(sound_manager_get_volume(1, &volume), 0);
    EXPECT_EQ(volume, 9);
}

} // namespace tonelink::test
