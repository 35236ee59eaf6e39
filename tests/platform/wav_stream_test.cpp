// What standard output holds of the sound of several outputs.

#include <fcntl.h>
#include <unistd.h>

#include "support/signals.h"
#include "test_output.h"

namespace tonelink::test {

TEST(WavStream, HoldsOneSoundAfterTheOtherBehindOneHeader)
{
    const scratch_folder folder;
    const auto path = folder.write("sound.wav", "");
    const int terminal = dup(STDOUT_FILENO), file = open(path.c_str(), O_WRONLY);
    dup2(file, STDOUT_FILENO);
    const auto sound = noise(kRate / 10, /*seed=*/1);
    EXPECT_EQ(tonelink_host_set_audio("wav:-"), 0);
    EXPECT_EQ(sound_manager_set_volume(1, 15), 0);
    play(sound);
    {
        const test_output second;
        EXPECT_EQ(audio_out_prepare(second), 0);
        EXPECT_EQ(audio_out_prepare(test_output{}), -26214398);
        EXPECT_EQ(last_error(), "standard output is being written by another output");
        EXPECT_EQ(second.write(sound), static_cast<int>(2 * sound.size()));
    }
    EXPECT_EQ(audio_out_prepare(test_output{48000}), kNotOpened);
    EXPECT_EQ(last_error(), "cannot append to standard output: its sound is not at 48000 Hz");
    dup2(terminal, STDOUT_FILENO);
    close(terminal);
    close(file);

    auto twice = sound;
    twice.insert(twice.end(), sound.begin(), sound.end());
    EXPECT_EQ(recorded(path), twice);
    EXPECT_EQ(bytes_of(path).size(), 44 + 2 * twice.size());
}

} // namespace tonelink::test
