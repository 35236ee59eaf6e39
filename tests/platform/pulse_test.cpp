// The road to a desktop: ALSA's pulse plug-in, a sound server, and its sink that nobody hears,
// recorded from the sink's monitor. At equal rates not a bit may change on the way.

#include <algorithm>

#include "sound_server.h"

// The sound server's client library is not built for the thread sanitizer, which therefore does not
// see its locks.
extern "C" const char *__tsan_default_suppressions();
const char *__tsan_default_suppressions() { return "race:libpulse"; }

namespace tonelink::test {

namespace {

/// What the sink's monitor hears while the sound is played.
sample_row monitored(sound_server &server, const sample_row &sound)
{
    server.record();
    {
        const test_output out;
        EXPECT_EQ(audio_out_prepare(out), 0)
            << last_error() << " (is the package libasound2-plugins there?)";
        EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
    }
    // The recorder lags behind: it has all once it has heard the last samples.
    const auto end = sample_row(sound.end() - 50, sound.end());
    EXPECT_TRUE(server.wait_until([&] {
        const auto heard = server.heard();
        return std::search(heard.begin(), heard.end(), end.begin(), end.end()) != heard.end();
    })) << "the end of the sound was not heard";
    return server.heard();
}

} // namespace

TEST(Pulse, HearsWhatWasWritten)
{
    sound_server server;
    ASSERT_FALSE(HasFailure());
    ASSERT_EQ(sound_manager_set_volume(1, 15), 0);
    // The monitor has run ahead of the speaker: while they come together, the beginning of a sound
    // may be lost to it. What is compared starts behind that.
    const auto lead = sample_row(kRate / 2, 1);
    const auto sound = test_sound(kRate);
    auto played = lead;
    played.insert(played.end(), sound.begin(), sound.end());
    // On a machine that is too busy the server runs empty and puts silence in between: then, and
    // only then, it is played again. A sample that differs fails at once.
    for (int attempt = 1;; ++attempt) {
        auto heard = monitored(server, played);
        if (HasFailure()) return;
        if (std::search(heard.begin(), heard.end(), sound.begin(), sound.end()) != heard.end())
            return;
        heard.erase(std::remove(heard.begin(), heard.end(), 0), heard.end()); // none in the sound
        ASSERT_GE(heard.size(), sound.size());
        ASSERT_TRUE(std::equal(sound.rbegin(), sound.rend(), heard.rbegin()))
            << "a sample was changed, lost or heard twice";
        ASSERT_LT(attempt, 10) << "the sound was never heard without a gap";
    }
}

} // namespace tonelink::test
