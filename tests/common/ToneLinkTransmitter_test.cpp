#include <atomic>
#include <climits>
#include <sched.h>

#include "support/failing_memory.h"
#include "support/library_fixture.h"
#include "support/modem_guard.h"
#include "tonelink/transmit.h"

namespace tonelink::test {

namespace {

class StandaloneTransmitter : public library_test {
protected:
    void SetUp() override
    {
        library_test::SetUp();
        ASSERT_EQ(GenerateMessage(kMessage, 1), 1);
        platform.forget();
    }

    void TearDown() override
    {
        EXPECT_EQ(transmitting_stopped, 1);
        library_test::TearDown();
    }

    static std::vector<int16_t> row() { return {buf, buf + buf_length}; }

    static void play_to_the_end(int32_t count)
    {
        ASSERT_EQ(StartTransmitting(count, 22050), 1);
        while (std::atomic_ref{transmitting_stopped} == 0) sched_yield();
    }

    static constexpr int32_t kMessage = 0x12673CA5;
};

const std::string kStop = R"([ToneLinkTransmitter.cpp]
StopTransmitting: ### Enter : StopTransmitting\n\n
)";

} // namespace

TEST(StandaloneVariables, BeginIdle)
{
    EXPECT_TRUE(buf == nullptr && output == nullptr);
    EXPECT_EQ(buf_length + m_samplerate + transmit_count, 0);
    EXPECT_EQ(transmitting_stopped, 1);
}

TEST_F(StandaloneTransmitter, RepeatsTheUnfilteredBurst)
{
    open_modem modem;
    const auto burst = modem.burst("00010010011001110011110010100101"); // 0x12673CA5
    ASSERT_EQ(GenerateMessage(kMessage, 3), 1);
    ASSERT_EQ(buf_length, 3 * 23170);
    for (std::size_t i = 0; i < 3 * burst.size(); ++i) ASSERT_EQ(buf[i], burst[i % 23170]) << i;

    // A negative message has no digit that is 1.
    ASSERT_EQ(GenerateMessage(-3, 1), 1);
    const auto negative = row();
    platform.forget();
    ASSERT_EQ(GenerateMessage(0, 1), 1);
    EXPECT_EQ(row(), negative);
    EXPECT_EQ(platform.trace(), documented_trace("standalone_message"));

    // -2147483643 needs 31 digits; the others stay.
    std::array<int32_t, 33> digits;
    digits.fill(7);
    bitset(INT32_MIN + 5, digits.data());
    EXPECT_EQ(digits[0] + 4 * digits[1] + 16 * digits[3], -1 - 4 - 16);
    EXPECT_EQ(digits[31] + digits[32], 7 + 7);
}

TEST_F(StandaloneTransmitter, KeepsTheOldBurstWhenThereIsNoNewOne)
{
    int16_t *const old = buf;
    const std::pair<int32_t, int32_t> cases[] = {
        {0, 0}, {-2, -2 * 23170}, {INT32_MAX, 0}, {-200000, 0}, {92684, 0}};
    for (const auto &[repeat, length] : cases) {
        EXPECT_EQ(GenerateMessage(1, repeat), 0) << repeat;
        EXPECT_EQ(buf_length, length);
        EXPECT_EQ(buf, old);
    }
    EXPECT_EQ(platform.count("### exit : GenerateMessage\n\n"), 0);
    bool failed = true;
    for (std::size_t index = 0; failed; ++index) {
        const failing_allocation failing{index};
        const int32_t made = GenerateMessage(1, 2);
        failed = failing.happened();
        EXPECT_EQ(made, !failed);
        EXPECT_EQ(buf_length, failed ? 0 : 2 * 23170);
        EXPECT_EQ(buf == old, failed);
    }
}

TEST_F(StandaloneTransmitter, PlaysUntilItIsStopped)
{
    platform.keeps_samples = true;
    ASSERT_EQ(StartTransmitting(0, 22050), 1);
    platform.wait_for_writes(3);
    int16_t *const playing = buf;
    EXPECT_EQ(StartTransmitting(5, 8000), 0);
    EXPECT_EQ(GenerateMessage(1, 1), 0);
    EXPECT_EQ(m_samplerate + transmit_count, 22050);
    EXPECT_EQ(buf, playing);
    EXPECT_EQ(buf_length, 23170);
    EXPECT_EQ(StopTransmitting(), 1);
    EXPECT_EQ(StopTransmitting(), 0);
    EXPECT_EQ(output, nullptr);

    for (const auto &samples : platform.writes)
        EXPECT_EQ(hash16(samples), "af644da02492bc77"); // from an independent model
    expect_documented("standalone", R"(SubmitAudioBuffer: ### Enter : audio_out_write \n\n
audio_out_write(out1, 46340)
SubmitAudioBuffer: ### audio_out_write Success \n\n
SubmitAudioBuffer: ### Exit : audio_out_write\n\n
usleep(100000)
)");
}

TEST_F(StandaloneTransmitter, LeavesACountedRunToTheNextStart)
{
    play_to_the_end(2);
    EXPECT_EQ(platform.count("usleep(100000)"), 2);
    EXPECT_EQ(GenerateMessage(kMessage, 1), 1);
    platform.forget();
    EXPECT_EQ(StopTransmitting(), 0);
    EXPECT_EQ(platform.trace(), kStop);
    EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
    ASSERT_EQ(StartTransmitting(0, 22050), 1);
    EXPECT_EQ(platform.count("audio_out_unprepare(out1)"), 1);
    EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; 1 threads; "); // the new ones
    EXPECT_EQ(StopTransmitting(), 1);

    // Of a run without an output, or whose output the program has closed, there is none to close.
    for (const bool is_made : {false, true}) {
        platform.reset();
        if (!is_made) platform.fail("audio_out_set_sound_stream_info", -1);
        if (!is_made) platform.fail("audio_out_destroy", -1); // for the next start to try again
        play_to_the_end(1);
        if (is_made) Stop(output);
        EXPECT_EQ(output, nullptr);
        platform.forget();
        ASSERT_EQ(StartTransmitting(0, 22050), 1);
        EXPECT_EQ(platform.count("### Enter : Audio_Stop\n\n"), 0);
        EXPECT_EQ(platform.count("audio_out_destroy(out1)"), !is_made);
        EXPECT_EQ(StopTransmitting(), 1);
        // What the bind has refused stays.
        EXPECT_EQ(platform.left_over(), is_made ? "" : "1 stream infos; ");
    }
    platform.reset();
}

TEST_F(StandaloneTransmitter, TriesToDestroyARefusedOutputOnceMore)
{
    for (const int refusals : {1, 2}) {
        platform.reset();
        ASSERT_EQ(StartTransmitting(0, 22050), 1);
        platform.fail("audio_out_destroy", -1, refusals);
        EXPECT_EQ(StopTransmitting(), 1);
        EXPECT_EQ(output, nullptr);
        EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
        for (int start = 0; start < refusals; ++start) {
            ASSERT_EQ(StartTransmitting(0, 22050), 1);
            EXPECT_EQ(platform.count("audio_out_unprepare(out1)"), 1);
            EXPECT_EQ(platform.count("audio_out_destroy(out1)"), 2 + start);
            EXPECT_EQ(StopTransmitting(), 1);
        }
        EXPECT_EQ(platform.left_over(), "");
    }
}

TEST_F(StandaloneTransmitter, AsksForItsCountEachRound)
{
    int writes = 0;
    platform.on("audio_out_write", [&writes] {
        std::atomic_ref{transmit_count} = 3;
        if (++writes == 10) std::atomic_ref{transmitting_stopped} = 1;
    });
    play_to_the_end(0);
    EXPECT_EQ(writes, 3);
    platform.on("audio_out_write", nullptr);
    ASSERT_EQ(StartTransmitting(0, 22050), 1); // takes the run's output down
    EXPECT_EQ(StopTransmitting(), 1);
    EXPECT_EQ(transmit_count, 0);
}

TEST_F(StandaloneTransmitter, PlaysOnWithoutOutputOrSamples)
{
    platform.fail("audio_out_create_new", -1);
    ASSERT_EQ(StartTransmitting(0, 22050), 1);
    platform.wait_for_writes(2);
    EXPECT_EQ(StopTransmitting(), 1);
    EXPECT_GE(platform.count("audio_out_write(null, 46340)"), 2);
    EXPECT_EQ(platform.count("audio_out_unprepare(null)"), 1);
    EXPECT_EQ(platform.count("### audio_out_h output handle == NULL \n\n"), 1);
    EXPECT_EQ(platform.count("### repeat_thread_func audio_out_h output = NULL\n\n"), 1);

    EXPECT_EQ(GenerateMessage(1, -1), 0); // `buf_length` is below 0
    ASSERT_EQ(StartTransmitting(0, 22050), 1);
    platform.wait_for_writes(1);
    EXPECT_EQ(StopTransmitting(), 1);
    EXPECT_GE(platform.count("audio_out_write(out1, 0)"), 1);
}

} // namespace tonelink::test
