#include "common/tonelink_tx.h"

#include <latch>
#include <thread>

#include "support/failing_memory.h"
#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

using TransmitterHandle = library_test;

/// One of the two that play a handle's burst.
struct player {
    int32_t (*start)(tonelink_tx_h *);
    int32_t (*stop)(tonelink_tx_h *);
    int32_t (*close)(tonelink_tx_h **);

    void play(tonelink_tx_h *handle) const
    {
        ASSERT_EQ(start(handle), 0);
        platform.run_callback(); // if it has one
        platform.wait_for_writes(1);
    }
};

const player kWriter{tonelink_tx_start, tonelink_tx_stop, tonelink_tx_close};
const player kStream{tonelink_tx_start_async, tonelink_tx_stop_async, tonelink_tx_close_async};

/// What a handle refuses while it is armed or plays.
void expect_taken(tonelink_tx_h *handle)
{
    EXPECT_EQ(tonelink_tx_start(handle), 3);
    EXPECT_EQ(tonelink_tx_start_async(handle), 3);
    EXPECT_EQ(tonelink_tx_generate(handle, 32), 3);
    EXPECT_NE(handle->modem, nullptr);
}

void expect_stopped(tonelink_tx_h *handle)
{
    EXPECT_EQ(tonelink_tx_stop(handle), 3);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
}

} // namespace

TEST_F(TransmitterHandle, GeneratesKnownBursts)
{
    // From an independent model: every generate filters, the second of a message its burst once
    // more.
    const std::string pair32 = "00010010011001110011110010100101";
    loaded_handle handle{pair32};
    EXPECT_EQ(hash16(handle.burst()), "de2661b91f00701c");
    EXPECT_EQ(handle.load(pair32), 0);
    EXPECT_EQ(hash16(handle.burst()), "856007da0e9707f5");
    EXPECT_EQ(handle.load("11011110101011011011111011101111"), 0);
    EXPECT_EQ(hash16(handle.burst()), "b77ba1ce25281751");
}

TEST_F(TransmitterHandle, RefusesWhatItCannotDo)
{
    tonelink_tx_h *none = nullptr;
    const uint8_t bits[49] = {};
    EXPECT_EQ(tonelink_tx_open(nullptr), 4);
    EXPECT_EQ(tonelink_tx_open(&none), 10);
    EXPECT_EQ(tonelink_tx_put_bin(nullptr, bits, 1), 1);
    EXPECT_EQ(tonelink_tx_set_samplerate(nullptr, 1), 1);
    EXPECT_EQ(tonelink_tx_generate(nullptr, 32), 10);
    for (const auto close : {tonelink_tx_close, tonelink_tx_close_async}) {
        EXPECT_EQ(close(nullptr), 4);
        EXPECT_EQ(close(&none), 1);
    }
    for (const auto play :
         {tonelink_tx_start, tonelink_tx_stop, tonelink_tx_start_async, tonelink_tx_stop_async})
        EXPECT_EQ(play(nullptr), 10);

    loaded_handle handle;
    EXPECT_EQ(tonelink_tx_put_bin(handle, nullptr, 1), 4);
    EXPECT_EQ(tonelink_tx_put_bin(handle, bits, 49), 4);
    EXPECT_EQ(tonelink_tx_put_bin(handle, bits, 0), 0);
    EXPECT_EQ(handle->message[0], 1); // untouched so far
    EXPECT_EQ(tonelink_tx_set_samplerate(handle, 0), 4);
    EXPECT_EQ(handle->sample_rate, 44100);
    EXPECT_EQ(tonelink_tx_set_samplerate(handle, 48000), 0);
    EXPECT_EQ(handle->sample_rate, 48000);
    expect_stopped(handle);

    const auto burst = handle.burst();
    const float history = yv[2];
    for (const int32_t nbits : {0, 31, 40, 64}) EXPECT_EQ(tonelink_tx_generate(handle, nbits), 6);
    EXPECT_EQ(handle.burst(), burst);
    EXPECT_EQ(yv[2], history);

    EXPECT_EQ(tonelink_tx_close(&handle), 0);
    EXPECT_EQ(tonelink_tx_close(&handle), 0);
    EXPECT_EQ(tonelink_tx_generate(handle, 32), 6);
    EXPECT_EQ(tonelink_tx_start(handle), 7);
    EXPECT_EQ(tonelink_tx_start_async(handle), 7);
    EXPECT_EQ(platform.calls(), "");
}

TEST_F(TransmitterHandle, OpensAndGeneratesOrSaysWhyNot)
{
    bool failed = true;
    for (std::size_t index = 0; failed; ++index) {
        tonelink_tx_h record;
        std::fill_n(reinterpret_cast<uint8_t *>(&record), sizeof record, uint8_t{0x5A});
        tonelink_tx_h *handle = &record; // filled as malloc's may be
        const failing_allocation failing{index};
        const int32_t opened = tonelink_tx_open(&handle);
        const int32_t made = opened == 0 ? tonelink_tx_generate(handle, 32) : 6;
        failed = failing.happened();
        EXPECT_EQ(made, failed ? 6 : 0);
        EXPECT_TRUE(opened == 0 || opened == 5);
        EXPECT_EQ(yv[2] == 0.0f, failed);
        EXPECT_EQ(tonelink_tx_close(&handle), 0);
        EXPECT_EQ(record.modem, nullptr);
    }
}

TEST_F(TransmitterHandle, StartsOrSaysWhyNot)
{
    const struct {
        int32_t (*start)(tonelink_tx_h *);
        const char *failing;
        int32_t result;
    } cases[] = {{tonelink_tx_start, "audio_out_create_new", 8},
                 {tonelink_tx_start, "audio_out_prepare", 8},
                 {tonelink_tx_start, "pthread_create", 9},
                 {tonelink_tx_start_async, "audio_out_create_new", 8},
                 {tonelink_tx_start_async, "audio_out_set_stream_cb", 8},
                 {tonelink_tx_start_async, "audio_out_prepare", 8}};
    for (const auto &c : cases) {
        loaded_handle handle;
        platform.fail(c.failing, -1);
        EXPECT_EQ(c.start(handle), c.result);
        EXPECT_EQ(platform.left_over(), "");
        EXPECT_EQ(handle->keep_writing, 0);
        expect_stopped(handle);
        EXPECT_EQ(c.start(handle), 0); // and is taken down by the close
    }
}

TEST_F(TransmitterHandle, StopsWhateverFails)
{
    const struct {
        player by;
        const char *failing;
    } cases[] = {{kWriter, "audio_out_unprepare"},
                 {kWriter, "audio_out_destroy"},
                 {kStream, "audio_out_unset_stream_cb"},
                 {kStream, "audio_out_unprepare"},
                 {kStream, "audio_out_destroy"}};
    for (const auto &[by, failing] : cases)
        for (const bool restarts : {false, true}) {
            platform.reset();
            loaded_handle handle;
            by.play(handle);
            EXPECT_EQ(platform.volume, 5);
            platform.fail(failing, -1);
            EXPECT_EQ(by.stop(handle), 8);
            EXPECT_EQ(platform.volume, by.stop == tonelink_tx_stop ? 9 : 5); // not restored
            platform.run_callback(); // one that is still registered does nothing
            EXPECT_EQ(handle->is_running + b_audio_write_, 0);
            expect_stopped(handle);
            EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
            if (restarts) by.play(handle); // takes it down first
            EXPECT_EQ(restarts ? by.stop(handle) : by.close(&handle), 0);
            EXPECT_GE(platform.count("audio_out_unprepare(out1)"), 1);
            EXPECT_EQ(platform.left_over(), "");
        }
}

TEST_F(TransmitterHandle, IsNotDisturbedWhileItsThreadWrites)
{
    loaded_handle handle;
    ASSERT_EQ(tonelink_tx_start(handle), 0);
    EXPECT_EQ(handle->is_running, 1);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
    EXPECT_EQ(tonelink_tx_close_async(&handle), 3);
    expect_taken(handle);
    EXPECT_EQ(tonelink_tx_close(&handle), 0); // stops it
    EXPECT_EQ(handle->modem, nullptr);
}

TEST_F(TransmitterHandle, IsNotDisturbedWhileItsCallbackIsSet)
{
    loaded_handle handle;
    ASSERT_EQ(tonelink_tx_start_async(handle), 0);
    EXPECT_EQ(handle->is_running, 0);
    expect_stopped(handle);
    expect_taken(handle);
    platform.run_callback();
    EXPECT_EQ(handle->is_running, 1);
    expect_taken(handle);
    EXPECT_EQ(tonelink_tx_stop(handle), 3);
    EXPECT_EQ(tonelink_tx_close(&handle), 3);
    EXPECT_EQ(tonelink_tx_close_async(&handle), 3);
    EXPECT_NE(handle->modem, nullptr);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);

    for (const auto close : {tonelink_tx_close, tonelink_tx_close_async}) {
        loaded_handle armed;
        ASSERT_EQ(tonelink_tx_start_async(armed), 0);
        EXPECT_EQ(close(&armed), 0); // takes it down
        EXPECT_EQ(platform.left_over(), "");
    }
}

TEST_F(TransmitterHandle, WritesNothingWithoutBurstOrMemory)
{
    _audio_io_stream_write_async_cb(nullptr, 1, nullptr);
    tonelink_tx_h empty{};
    _audio_io_stream_write_async_cb(nullptr, 1, &empty);
    EXPECT_EQ(empty.is_running, 1);

    loaded_handle handle;
    vol_aud_write = 1; // of some earlier time
    {
        ASSERT_EQ(tonelink_tx_start_async(handle), 0);
        const failing_allocation failing{0};
        platform.run_callback();
    }
    EXPECT_EQ(platform.calls(by::others), "");
    EXPECT_EQ(handle->is_running, 1);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
    EXPECT_EQ(platform.volume, 9); // no volume was saved, none is restored
}

TEST_F(TransmitterHandle, WaitsForACallbackThatIsUnderWay)
{
    // A callback that is under way when a start fails or a stop begins neither marks the handle as
    // running nor takes the transmission's volume for the user's.
    for (const bool starts : {false, true}) {
        loaded_handle handle;
        std::thread device;
        std::latch under_way{1};
        std::latch removal{1};
        const auto begin_callback = [&] {
            device = std::thread{[] { platform.run_callback(); }};
            under_way.wait();
        };
        if (starts) kStream.play(handle);
        platform.on("Buffer length is 3 23170\n", [&] { under_way.count_down(), removal.wait(); });
        platform.on("audio_out_unset_stream_cb", [&] { removal.count_down(), device.join(); });
        if (starts) {
            begin_callback();
            EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
        } else {
            platform.on("audio_out_prepare", begin_callback);
            platform.fail("audio_out_prepare", -1);
            EXPECT_EQ(tonelink_tx_start_async(handle), 8);
        }
        ASSERT_FALSE(device.joinable());
        EXPECT_EQ(platform.volume, 9);
        EXPECT_EQ(handle->is_running + b_audio_write_, 0);
        platform.reset();
    }
}

TEST_F(TransmitterHandle, TakesHandFilledRecords)
{
    // What a caller may do with a zeroed record: the private fields mean nothing special.
    int16_t samples[] = {1, -2, 3};
    int32_t length = 3;
    tonelink_tx_h record{};
    tonelink_tx_h *handle = &record;
    record.burst = samples;
    record.burst_length = &length;
    ASSERT_EQ(audio_create(44100, &record.audio_out), 0);
    platform.keeps_samples = true;
    _audio_io_stream_write_async_cb(record.audio_out, 7, &record);
    EXPECT_EQ(platform.writes, (std::vector<std::vector<int16_t>>{
                                   {1, -2, 3, 1, -2, 3, 1, -2, 3, 1, -2, 3, 1, -2, 3}}));
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
    EXPECT_EQ(tonelink_tx_close(&handle), 0);
}

} // namespace tonelink::test
