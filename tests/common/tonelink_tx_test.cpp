#include "common/tonelink_tx.h"

#include <cstring>
#include <latch>
#include <thread>

#include "common/AudioOutput.h"
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

/// What the library starts with.
const int32_t kVolumeSavedAtFirst = vol_aud_write;

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
    EXPECT_EQ(handle->is_running + handle->keep_writing + b_audio_write_, 0);
    EXPECT_EQ(tonelink_tx_stop(handle), 3);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 3);
}

/// Fills the record with one byte; or where that names no player with the byte and its complement,
/// as the library's own note in there is.
void fill(tonelink_tx_h &record, unsigned byte)
{
    const bool names_none = (byte & 7u) > static_cast<unsigned>(tonelink::player::halted);
    const auto pair = static_cast<uint16_t>(byte | ((names_none ? ~byte : byte) & 0xFFu) << 8);
    for (std::size_t at = 0; at < sizeof record; at += sizeof pair)
        std::memcpy(reinterpret_cast<char *>(&record) + at, &pair, sizeof pair);
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
    tx_sampleRate = 8000; // of handles to come
    EXPECT_EQ(
        loaded_handle {} -> sample_rate, 8000);
    tx_sampleRate = 44100;
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
    EXPECT_TRUE(handle->burst == nullptr && handle->burst_length == nullptr);
    EXPECT_EQ(tonelink_tx_generate(handle, 32), 6);
    EXPECT_EQ(tonelink_tx_start(handle), 7);
    EXPECT_EQ(tonelink_tx_start_async(handle), 7);
    EXPECT_EQ(platform.trace().find("audio_out"), std::string::npos);
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
        EXPECT_EQ(record.is_running + record.keep_writing, 0);
        EXPECT_EQ(text_of(record.message), std::string(48, '0'));
        EXPECT_EQ(record.burst, nullptr);
        EXPECT_EQ(record.burst_length, nullptr);
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
        player by;
        const char *failing;
        int32_t result;
        uint8_t keep_writing; // which is 7 before
    } cases[] = {
        {kWriter, "audio_out_create_new", 8, 7},    {kWriter, "audio_out_prepare", 8, 7},
        {kWriter, "pthread_create", 9, 0},          {kStream, "audio_out_create_new", 8, 7},
        {kStream, "audio_out_set_stream_cb", 8, 7}, {kStream, "audio_out_prepare", 8, 7}};
    for (const auto &c : cases) {
        loaded_handle handle;
        handle->keep_writing = 7;
        platform.fail(c.failing, -1);
        platform.forget();
        EXPECT_EQ(c.by.start(handle), c.result);
        EXPECT_EQ(platform.trace().find("audio_out_unprepare") != std::string::npos, c.result == 9);
        EXPECT_EQ(platform.left_over(), "");
        EXPECT_EQ(handle->keep_writing, c.keep_writing);
        EXPECT_EQ(c.by.start(handle), 0); // and is taken down by the close
        EXPECT_EQ(handle->keep_writing, c.by.start == tonelink_tx_start);
    }
}

/// A callback may come before a start fails, and the output stay that it came from.
TEST_F(TransmitterHandle, DisarmsWhatDoesNotStart)
{
    for (const bool has_memory : {true, false})
        for (const bool is_destroyed : {true, false}) {
            platform.reset();
            loaded_handle handle;
            platform.on("audio_out_prepare", [has_memory] {
                const failing_allocation failing{has_memory ? SIZE_MAX / 2 : 0};
                platform.run_callback();
            });
            platform.fail("audio_out_prepare", -1);
            platform.fail("audio_out_destroy", -1, is_destroyed ? 0 : 1);
            EXPECT_EQ(tonelink_tx_start_async(handle), 8);
            EXPECT_EQ(platform.count("sound_manager_set_volume(1, 5)"), has_memory);
            EXPECT_EQ(platform.volume, 9);
            expect_stopped(handle);
            EXPECT_EQ(platform.left_over(), is_destroyed ? "" : "1 outputs; 1 stream infos; ");
            platform.on("audio_out_prepare", nullptr);
            kStream.play(handle);
            EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
            EXPECT_EQ(platform.left_over(), "");
        }
}

TEST_F(TransmitterHandle, StopsWhateverFails)
{
    const std::string destroy =
        "audio_out_destroy(out1)\nsound_manager_destroy_stream_information(info1)\n";
    const std::string unprepare = "audio_out_unprepare(out1)\n" + destroy;
    const std::string unset = "audio_out_unset_stream_cb(out1)\n" + unprepare;
    const struct {
        player by;
        const char *failing;
        std::string left; // to a close or the next start
    } cases[] = {{kWriter, "audio_out_unprepare", unprepare},
                 {kWriter, "audio_out_destroy", destroy},
                 {kStream, "audio_out_unset_stream_cb", unset},
                 {kStream, "audio_out_unprepare", unprepare},
                 {kStream, "audio_out_destroy", destroy}};
    for (const auto &[by, failing, left] : cases)
        for (const bool restarts : {false, true}) {
            platform.reset();
            loaded_handle handle;
            by.play(handle);
            EXPECT_EQ(platform.volume, 5);
            platform.fail(failing, -1);
            EXPECT_EQ(by.stop(handle), 8);
            EXPECT_EQ(platform.volume, by.stop == tonelink_tx_stop ? 9 : 5); // not restored
            platform.run_callback(); // one that is still registered does nothing
            expect_stopped(handle);
            EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
            platform.forget();
            EXPECT_EQ(restarts ? by.start(handle) : by.close(&handle), 0);
            EXPECT_NE(platform.trace().find(left), std::string::npos) << platform.trace();
            EXPECT_EQ(platform.count("audio_out_unprepare(out1)"), left != destroy);
        }
}

TEST_F(TransmitterHandle, StaysMutedWhileThePlatformKeepsItsCallback)
{
    loaded_handle handle;
    kStream.play(handle);
    platform.fail("audio_out_unset_stream_cb", -1, 5);
    platform.fail("audio_out_destroy", -1, 4);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 8);
    EXPECT_EQ(tonelink_tx_start(handle), 8); // there would be two outputs
    EXPECT_EQ(tonelink_tx_start_async(handle), 8);
    EXPECT_EQ(platform.count("audio_out_create_new(44100, 128, 113)"), 1);
    // Nor is it closed: a callback under way may still read what it has.
    EXPECT_EQ(tonelink_tx_close_async(&handle), 3);
    EXPECT_EQ(tonelink_tx_close(&handle), 3);
    EXPECT_NE(handle->modem, nullptr);
    platform.run_callback();
    expect_stopped(handle);
}

TEST_F(TransmitterHandle, StartsAnewBesideAnOutputThatCannotPlay)
{
    loaded_handle handle;
    kStream.play(handle);
    platform.fail("audio_out_unprepare", -1, 2);
    platform.fail("audio_out_destroy", -1);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 8);
    EXPECT_EQ(tonelink_tx_start(handle), 0);
    EXPECT_EQ(tonelink_tx_stop(handle), 0);
    EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
    destroy_left_outputs();
}

TEST_F(TransmitterHandle, IsTakenDownUnderTheStopsMutex)
{
    for (const auto &by : {kWriter, kStream}) {
        SetUp();
        bool is_stopping = true;
        loaded_handle handle;
        by.play(handle);
        for (const auto *call : {"pthread_join", "audio_out_unset_stream_cb", "audio_out_unprepare",
                                 "audio_out_destroy"})
            platform.on(call, [call, &handle, &is_stopping] {
                if (!is_stopping) return;
                EXPECT_TRUE(is_held(audio_stop_mutex)) << call;
                EXPECT_EQ(handle->is_running, *call == 'p') << call;
                EXPECT_EQ(b_audio_write_, 0) << call;
                EXPECT_EQ(handle->keep_writing, 0);
            });
        platform.on("Resetting USED_SOUND_TYPE to 9\n",
                    [] { EXPECT_FALSE(is_held(audio_stop_mutex)); });
        handle->keep_writing = 7; // whatever it holds
        const pthread_t thread = handle->thread;
        EXPECT_EQ(by.stop(handle), 0);
        is_stopping = false;
        EXPECT_TRUE(pthread_equal(handle->thread, thread));
        handle->is_running = 1; // by a caller's hand: there is no thread to be joined any more
        EXPECT_EQ(by.stop(handle), 8);
        EXPECT_LE(platform.count("pthread_join()"), 1);
    }
    platform.reset(); // outputs were used that were gone
}

TEST_F(TransmitterHandle, SavesTheVolumeOnceForAllThatPlay)
{
    for (const bool plays_on : {false, true}) {
        SetUp();
        loaded_handle first, second;
        kStream.play(first);
        ASSERT_EQ(tonelink_tx_start_async(second), 0);
        EXPECT_EQ(b_audio_write_, 1);
        platform.run_callback();
        EXPECT_EQ(platform.count("sound_manager_get_volume(1)"), 1);
        EXPECT_EQ(tonelink_tx_stop_async(first), 0);
        EXPECT_EQ(platform.volume, 9);
        if (plays_on) platform.run_callback();
        EXPECT_EQ(platform.volume, plays_on ? 5 : 9);
        EXPECT_EQ(tonelink_tx_stop_async(second), 0);
        EXPECT_EQ(platform.volume, 9);
    }
    loaded_handle handle; // a volume that cannot be read is the one saved last
    vol_aud_write = 3;
    platform.fail("sound_manager_get_volume", -1);
    kStream.play(handle);
    EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
    EXPECT_EQ(platform.volume, 3);
    for (const auto *unread : {"sound_manager_get_tv_master_volume", "sound_manager_get_volume",
                               "sound_manager_get_max_volume"})
        platform.fail(unread, -1, 2);
    kWriter.play(handle);
    EXPECT_EQ(tonelink_tx_stop(handle), 0);
    EXPECT_EQ(platform.said("tx_function"), documented_trace("unread_volumes"));
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
    handle->is_running = 0;
    expect_taken(handle);
    platform.run_callback(); // marks it as running like the first
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

    // A stop puts back the volume that was saved last, or silence.
    for (const auto &[saved, put_back] : {std::pair{kVolumeSavedAtFirst, 0}, {1, 1}}) {
        loaded_handle handle;
        vol_aud_write = saved;
        platform.reset();
        ASSERT_EQ(tonelink_tx_start_async(handle), 0);
        {
            const failing_allocation failing{0};
            platform.run_callback();
        }
        EXPECT_EQ(platform.trace(by::others), R"([tonelink_tx.cpp]
_audio_io_stream_write_async_cb: _audio_io_stream_write_async_cb Entry\n
_audio_io_stream_write_async_cb: Buffer length is 3 23170\n
)");
        EXPECT_EQ(handle->is_running, 1);
        EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
        EXPECT_EQ(platform.volume, put_back);
    }

    loaded_handle handle;
    platform.forget();
    for (const bool has_burst : {true, false}) {
        if (!has_burst) platform.on("pthread_create", [&handle] { handle->burst = nullptr; });
        const failing_allocation failing{1}; // behind the output's
        ASSERT_EQ(tonelink_tx_start(handle), 0);
        EXPECT_EQ(tonelink_tx_stop(handle), 0);
        EXPECT_EQ(platform.trace(by::others), "");
    }
}

TEST_F(TransmitterHandle, WritesWhatIsLeftOfABurst)
{
    // A caller who clears or shortens a burst while it is played.
    platform.keeps_samples = true;
    for (const int32_t left : {0, 2}) {
        loaded_handle handle;
        ASSERT_EQ(tonelink_tx_start_async(handle), 0);
        int32_t &length = *handle->burst_length;
        platform.on("Buffer length is 3 23170\n", [&length, left] { length = left; });
        platform.run_callback();
        ASSERT_EQ(platform.writes.size(), left == 0 ? 0u : 1u);
        if (left != 0) {
            EXPECT_EQ(platform.writes.front().size(), 5u * 2);
        }
        EXPECT_EQ(tonelink_tx_stop_async(handle), 0);
        EXPECT_EQ(tonelink_tx_start(handle), left == 0 ? 7 : 0);
        EXPECT_EQ(tonelink_tx_stop(handle), left == 0 ? 3 : 0);
        handle->burst_length = nullptr;
        EXPECT_EQ(tonelink_tx_start(handle), 7);
        length = 23170; // by which the modem frees it
        platform.reset();
        platform.keeps_samples = true;
    }
}

TEST_F(TransmitterHandle, SavesNoVolumeOnceAStopHasComeFirst)
{
    loaded_handle handle;
    playing_state{*handle}.set_player(tonelink::player::halted);
    EXPECT_FALSE(takes_volume(*handle, callback_turn::later));
    EXPECT_EQ(b_audio_write_, 0);
    EXPECT_TRUE(takes_volume(*handle, callback_turn::first)); // which disarm() puts back
    EXPECT_FALSE(takes_volume(*handle, callback_turn::first));
    EXPECT_EQ(std::exchange(b_audio_write_, 0), 1);
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
    // Whatever lies between the fields that a caller has filled.
    int16_t samples[] = {1, -2, 3};
    int32_t length = 3;
    for (int filling = 0; filling < 256; ++filling) {
        platform.reset();
        tonelink_tx_h record;
        tonelink_tx_h *handle = &record;
        fill(record, static_cast<unsigned>(filling));
        record.thread = pthread_t{};
        record.is_running = 0;
        record.modem = nullptr;
        record.burst = samples;
        record.burst_length = &length;
        ASSERT_EQ(audio_create(44100, &record.audio_out), 0);
        platform.keeps_samples = true;
        _audio_io_stream_write_async_cb(nullptr, 7, handle); // writes to the handle's output
        ASSERT_EQ(platform.writes, (std::vector<std::vector<int16_t>>{
                                       {1, -2, 3, 1, -2, 3, 1, -2, 3, 1, -2, 3, 1, -2, 3}}))
            << filling;
        ASSERT_EQ(tonelink_tx_start_async(handle), 3) << filling;
        ASSERT_EQ(tonelink_tx_stop_async(handle), 0) << filling;
        record.audio_out = nullptr;
        _audio_io_stream_write_async_cb(nullptr, 7, handle);
        ASSERT_EQ(record.is_running, 1);
        ASSERT_EQ(tonelink_tx_stop_async(handle), 8); // there is no output
        record.is_running = 1;
        ASSERT_EQ(tonelink_tx_stop(handle), 8);
        ASSERT_EQ(platform.count("pthread_join()"), 0); // nor a thread
        ASSERT_EQ(tonelink_tx_close(&handle), 0);
        ASSERT_EQ(platform.left_over(), "");
    }
}

} // namespace tonelink::test
