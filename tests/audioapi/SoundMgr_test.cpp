#include "audioapi/SoundMgr.h"

#include <bitset>
#include <latch>
#include <span>
#include <thread>

#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

class TransmissionControl : public library_test {
protected:
    /// Starts the writer thread's family and lets it play.
    static void start_writing()
    {
        ASSERT_EQ(start_audio_transmitting(), 1);
        platform.wait_for_writes(1);
    }

    static void stop_stream()
    {
        platform.run_callback();
        EXPECT_EQ(stop_audio_transmitting_async(), 1);
    }

    static std::string message_bits(std::size_t count)
    {
        return text_of(std::span{tx_handler->message}.first(count));
    }
};

const struct {
    const char *name;
    int32_t (*start)(int32_t);
    int32_t (*other_stop)();
    bool is_async;
} kFamilies[] = {{"start_audio_transmitting_type", start_audio_transmitting_type,
                  stop_audio_transmitting_async, false},
                 {"start_audio_transmitting_async_type", start_audio_transmitting_async_type,
                  stop_audio_transmitting, true}};

const std::string kFile = "SoundMgr.cpp";
const std::string kStarting =
    "sound_manager_get_master_volume() bt_adapter_get_address() sound_manager_get_volume(1) "
    "sound_manager_get_master_volume() sound_manager_set_ultrasound_volume_min(10) "
    "sound_manager_create_stream_information(3) audio_out_create_new(44100, 128, 113) "
    "audio_out_set_sound_stream_info(out1) ";
const std::string kClosing = "audio_out_unprepare(out1) audio_out_destroy(out1) "
                             "sound_manager_destroy_stream_information(info1) ";

} // namespace

TEST_F(TransmissionControl, GoesTheDocumentedWayByWriterThread)
{
    platform.master_volume = platform.tv_master_volume = 5;
    start_writing();
    ASSERT_EQ(stop_audio_transmitting(), 1);
    EXPECT_EQ(platform.calls(by::control),
              kStarting +
                  "audio_out_prepare(out1) pthread_create() "
                  "sound_manager_set_master_volume_changed_cb(null) " +
                  kClosing +
                  "sound_manager_unset_master_volume_changed_cb() "
                  "sound_manager_unset_ultrasound_volume_min() sound_manager_set_volume(1, 9)");
    std::string calls =
        "sound_manager_get_tv_master_volume() sound_manager_get_volume(1) "
        "sound_manager_get_max_volume(1) "
        "system_info_get_custom_bool(com.orvane/featureconf/tonelink.set_volume_av_type) "
        "sound_manager_set_volume(1, 15) sound_manager_get_max_volume(1) ";
    for (int writes = platform.count("audio_out_write(out1, 231700)"); writes > 0; --writes)
        calls += "audio_out_write(out1, 231700) usleep(100000) ";
    EXPECT_EQ(platform.calls(by::others), calls + "sound_manager_set_volume(1, 9)");

    expect_log(kFile,
               {{"start_audio_transmitting", "ENTER\n"},
                {"start_audio_transmitting_type", "ENTER\n|get_set_tv_volume noti_reset_volume 9 "
                                                  "|\n StartTransmitting Success \n\n|EXIT\n"},
                {"generate_message", "\n GenerateMessage Success \n\n"},
                {"stop_audio_transmitting", "ENTER\n|\n StopTransmitting Success \n\n"
                                            "|sound_manager_unset_ultrasound_volume_min successuful"
                                            "|\n Reset USED_SOUND_TYPE volume to 9 \n\n|EXIT\n"}});
    expect_log(
        "tonelink_tx.cpp",
        {{"tonelink_tx_open", "Creating handler with sample rate : [44100] \n"},
         {"tonelink_tx_generate", "Buffer length is 1 23170\n|high-pass filter success\n"},
         {"tonelink_tx_start", "ENTER\n|EXIT\n"},
         {"tonelink_tx_stop", "ENTER\n|EXIT\n"},
         {"tx_function",
          "TONE_LINK USED_SOUND_TYPE get_volume[9] get_max_volume[15] get_master_volume [5]\n\n"
          "|BLEAPP USED_SOUND_TYPE set vol[15] \n\n"
          "|BLEAPP USED_SOUND_TYPE get_volume[15] get_max_volume[15] Thread Writing\n\n"
          "|BLEAPP USED_SOUND_TYPE revert vol[9] and audio_out_write complete \n\n"}});
}

TEST_F(TransmissionControl, GoesTheDocumentedWayByStreamCallback)
{
    platform.master_volume = platform.tv_master_volume = 5;
    ASSERT_EQ(start_audio_transmitting_async(), 1);
    platform.run_callback();
    stop_stream();
    EXPECT_EQ(platform.calls(by::control),
              kStarting +
                  "audio_out_set_stream_cb(out1) audio_out_prepare(out1) "
                  "sound_manager_set_master_volume_changed_cb(null) "
                  "audio_out_unset_stream_cb(out1) " +
                  kClosing +
                  "sound_manager_set_volume(1, 9) sound_manager_unset_master_volume_changed_cb() "
                  "sound_manager_set_volume(1, 9) sound_manager_unset_ultrasound_volume_min()");
    EXPECT_EQ(platform.calls(by::others),
              "sound_manager_get_tv_master_volume() sound_manager_get_volume(1) "
              "sound_manager_get_max_volume(1) sound_manager_set_volume(1, 15) "
              "sound_manager_get_max_volume(1) audio_out_write(out1, 231700) "
              "audio_out_write(out1, 231700)");

    EXPECT_EQ(platform.said("start_audio_transmitting_async"), "");
    expect_log(kFile, {{"start_audio_transmitting_async_type",
                        "ENTER\n|get_set_tv_volume noti_reset_volume 9 "
                        "|\n StartTransmitting Async Success \n\n|EXIT\n"},
                       {"stop_audio_transmitting_async",
                        "ENTER\n|\n StopTransmitting Success \n\n"
                        "|\n Reset USED_SOUND_TYPE volume to 9 \n\n"
                        "|sound_manager_unset_ultrasound_volume_min successuful|EXIT\n"}});
    const std::string enter = "_audio_io_stream_write_async_cb Entry\n|Buffer length is 3 23170\n|";
    const std::string exit = "BLEAPP USED_SOUND_TYPE audio_out_write complete vol is 9\n\n"
                             "|_audio_io_stream_write_async_cb Exit\n";
    expect_log(
        "tonelink_tx.cpp",
        {{"tonelink_tx_start_async",
          "ENTER\n|ASYNC AUDIO START\n|Buffer length is 2  23170\n|EXIT\n"},
         {"_audio_io_stream_write_async_cb",
          enter +
              "TONE_LINK USED_SOUND_TYPE get_volume[9] get_max_volume[15] get_master_volume [5]\n\n"
              "|BLEAPP USED_SOUND_TYPE set vol[15] \n\n"
              "|BLEAPP USED_SOUND_TYPE get_volume[15] get_max_volume[15] Async Writing\n\n|" +
              exit + "|" + enter + exit},
         {"tonelink_tx_stop_async",
          "ENTER\n|ASYNC audio_out_unset_stream_cb and audio_out_unprepare\n"
          "|ASYNC audio_out_unprepare called\n|ASYNC audio_out_destroy called\n"
          "|Resetting USED_SOUND_TYPE to 9\n|EXIT\n"}});
}

TEST_F(TransmissionControl, PlaysKnownSamples)
{
    // From an independent model: the filter's histories outlive the first transmission. Both
    // families play the same: five copies a write.
    ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
    platform.keeps_samples = true;
    for (const auto &family : kFamilies) {
        std::ranges::fill(xv, 0.0f);
        std::ranges::fill(yv, 0.0f);
        for (const auto *hash : {"b27af8e51b359866", "54aa138f946fa3ef"}) {
            platform.forget();
            ASSERT_EQ(family.start(2), 1);
            if (family.is_async) platform.run_callback();
            platform.wait_for_writes(1);
            ASSERT_EQ(family.other_stop(), 1); // either stop ends either family
            for (const auto &samples : platform.writes) {
                ASSERT_EQ(samples.size(), 5u * 23170);
                EXPECT_EQ(hash16(std::span{samples}.first(23170)), hash);
                EXPECT_TRUE(std::equal(samples.begin() + 23170, samples.end(), samples.begin()));
            }
        }
    }
}

TEST_F(TransmissionControl, SendsWhatWasPrepared)
{
    set_pin_in_ultrasound(5000, "0:0:0:0:12:34");
    ASSERT_EQ(start_audio_transmitting(), 1); // a random PIN and the machine's address all the same
    const auto pin = static_cast<uint32_t>(get_audio_pin());
    EXPECT_EQ(message_bits(32), std::bitset<32>(pin << 16 | 0xABCD).to_string());
    stop_audio_transmitting();

    set_pin_in_ultrasound(5000, "0:0:0:0:AB:CD");
    platform.address.clear(); // not needed
    const auto pin48 = std::bitset<48>(0x1388ABCD).to_string();
    ASSERT_EQ(start_audio_transmitting_type(2), 1);
    EXPECT_EQ(message_bits(48), pin48);
    stop_audio_transmitting();
    ASSERT_EQ(start_audio_transmitting_async_type(1), 1);
    EXPECT_EQ(message_bits(32), pin48.substr(0, 32));
    stop_stream();

    const uint8_t data[] = {0xDE, 0xAD, 0xBE, 0xEF, 0x80, 0x01};
    ASSERT_EQ(start_audiodata_transmission(data, 6, 2), 1);
    EXPECT_EQ(message_bits(48), std::bitset<48>(0xDEADBEEF8001).to_string());
    stop_stream();
    expect_log(kFile, {{"start_audiodata_transmission", "ENTER\n|EXIT\n"}});
    EXPECT_EQ(start_audiodata_transmission(data, 6, 3), -1);
    EXPECT_EQ(m_pin_Type, 2);
    EXPECT_EQ(text_of(pin_array), std::string(255, '0'));
}

TEST_F(TransmissionControl, RefusesStarts)
{
    const struct {
        int32_t packet_type;
        int master;
        const char *failing;
        bool runs;
        int32_t result;
        std::string text;
        bool writer_exits; // the writer-thread family logs its leaving
    } cases[] = {
        {3, 0, "", true, -1, "Unsupported packet type", false},
        {0, 50, "", false, -1, "Unsupported packet type", false},
        {1, 0, "", true, -1, "No Ultra Sound as Tv volume is 0", false},
        {1, 50, "", true, 0, "Transmission is already started", true},
        {1, 50, "bt_adapter_get_address", false, -1, "Failed to Generate Message ", true},
        {2, 50, "audio_out_create_new", false, 0,
         "get_set_tv_volume noti_reset_volume 5 |\n StartTransmitting Fail \n\n", true},
    };
    for (const auto &c : cases)
        for (const auto &family : kFamilies) {
            SetUp();
            if (c.runs) start_writing();
            tonelink_tx_h *const running = tx_handler;
            platform.forget();
            platform.master_volume = c.master;
            platform.volume = 5;
            platform.fail(c.failing, -1);
            EXPECT_EQ(family.start(c.packet_type), c.result);
            const bool exits = family.is_async || c.writer_exits;
            expect_log(kFile, {{family.name, "ENTER\n|" + c.text + (exits ? "|EXIT\n" : "")}});
            EXPECT_EQ(tx_handler, running);
            EXPECT_EQ(platform.calls(by::control).empty(), c.text == "Unsupported packet type");
            EXPECT_EQ(stop_audio_transmitting(), c.runs);
            noti_reset_volume = 0; // kept by a start whose engine failed
        }
}

TEST_F(TransmissionControl, RefusesStopsWhenNothingPlays)
{
    EXPECT_EQ(stop_audio_transmitting(), 0);
    EXPECT_EQ(stop_audio_transmitting_async(), 0);
    EXPECT_EQ(platform.calls(), "");
    for (const auto *function : {"stop_audio_transmitting", "stop_audio_transmitting_async"})
        expect_log(kFile, {{function, "ENTER\n|Transmitted not started|EXIT\n"}});
}

TEST_F(TransmissionControl, StopsBeforeTheFirstCallback)
{
    // Which comes when the stop has found none, or never.
    for (const auto *moment : {"\n StopTransmitting Fail \n\n", "audio_out_unset_stream_cb", ""})
        for (const auto stop : {stop_audio_transmitting_async, stop_audio_transmitting}) {
            platform.reset();
            platform.on(moment, [] { platform.run_callback(); });
            ASSERT_EQ(start_audio_transmitting_async(), 1);
            EXPECT_EQ(stop(), 0);
            EXPECT_EQ(platform.left_over(), "listener; ");
            EXPECT_EQ(platform.count("sound_manager_set_volume(1, 5)"), *moment == '\n');
            EXPECT_EQ(platform.volume, 9);
            EXPECT_EQ(platform.count("\n StopTransmitting Fail \n\n"), 1);
        }
    // With a device that is on its way to it, or never rests.
    for (int round = 0; round < 100; ++round) {
        platform.reset();
        platform.device_plays = true;
        ASSERT_EQ(start_audio_transmitting_async(), 1);
        const bool plays = round % 2 == 1;
        if (plays) platform.wait_for_writes(2);
        const int32_t stopped = stop_audio_transmitting_async();
        EXPECT_GE(stopped, plays);
        EXPECT_EQ(platform.left_over(), stopped == 1 ? "" : "listener; ");
        EXPECT_EQ(platform.volume, 9);
    }
}

TEST_F(TransmissionControl, MutesAListenerLeftBehind)
{
    start_writing();

    // A failing stop waits for the listener's call that is under way.
    std::latch entered{1};
    std::latch stop_began{1};
    platform.on("sound_manager_get_max_volume", [&] { entered.count_down(), stop_began.wait(); });
    platform.on("audio_out_unprepare", [&] { stop_began.count_down(); });
    platform.fail("audio_out_unprepare", -1);
    std::thread user{[] { platform.turn_master_volume(20); }};
    entered.wait();
    platform.on("sound_manager_get_max_volume", nullptr);
    EXPECT_EQ(stop_audio_transmitting(), 0);
    EXPECT_EQ(platform.volume, 9);
    user.join();
    EXPECT_EQ(platform.volume, 9);

    platform.on("audio_out_unprepare", nullptr);
    EXPECT_EQ(platform.left_over(), "listener; ");
    platform.forget();
    platform.turn_master_volume(60);
    EXPECT_EQ(platform.calls(), "");
    for (const char *failing : {"", "sound_manager_unset_master_volume_changed_cb", ""}) {
        start_writing();
        platform.turn_master_volume(5);
        EXPECT_EQ(is_ultra_volume_changed, 1);
        platform.turn_master_volume(70);
        EXPECT_EQ(platform.volume, 1);
        platform.fail(failing, -1);
        EXPECT_EQ(stop_audio_transmitting(), 1);
        platform.turn_master_volume(60);
        EXPECT_EQ(platform.volume, 9);
    }
}

TEST_F(TransmissionControl, TakesOneOfTwoStartsAtOnce)
{
    for (int round = 0; round < 10; ++round) {
        int32_t results[2];
        std::thread first{[&] { results[0] = start_audio_transmitting_async_type(1); }};
        results[1] = start_audio_transmitting_async_type(1);
        first.join();
        EXPECT_EQ(results[0] + results[1], 1);
        EXPECT_EQ(generate_message(32), 2);
        stop_stream();
    }
}

} // namespace tonelink::test
