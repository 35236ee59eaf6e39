#include "audioapi/SoundMgr.h"

#include <bitset>
#include <latch>
#include <span>
#include <thread>

#include "support/library_fixture.h"

namespace tonelink {

using test::by;
using test::platform;

namespace {

class TransmissionControl : public test::library_test {
protected:
    /// Prepares the PIN 4711 with the octets 3C and A5.
    static void prepare_pin(int32_t packet_type)
    {
        ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", packet_type, 2, 6, 1), 0);
    }

    static void stop_stream()
    {
        platform.run_callback();
        EXPECT_EQ(stop_audio_transmitting_async(), 1);
    }

    static std::string message_bits(std::size_t count)
    {
        return test::text_of(std::span{tx_handler->message}.first(count));
    }
};

const std::string kFile = "SoundMgr.cpp|";
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
    ASSERT_EQ(start_audio_transmitting(), 1);
    platform.wait_for_writes(2);
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

    EXPECT_EQ(platform.said("start_audio_transmitting"), kFile + "ENTER\n");
    EXPECT_EQ(platform.said("start_audio_transmitting_type"),
              kFile + "ENTER\n|get_set_tv_volume noti_reset_volume 9 "
                      "|\n StartTransmitting Success \n\n|EXIT\n");
    EXPECT_EQ(platform.said("generate_message"), kFile + "\n GenerateMessage Success \n\n");
    EXPECT_EQ(platform.said("stop_audio_transmitting"),
              kFile + "ENTER\n|\n StopTransmitting Success \n\n"
                      "|sound_manager_unset_ultrasound_volume_min successuful"
                      "|\n Reset USED_SOUND_TYPE volume to 9 \n\n|EXIT\n");
    const std::string file = "tonelink_tx.cpp|";
    EXPECT_EQ(platform.said("tonelink_tx_open"),
              file + "Creating handler with sample rate : [44100] \n");
    EXPECT_EQ(platform.said("tonelink_tx_generate"),
              file + "Buffer length is 1 23170\n|high-pass filter success\n");
    EXPECT_EQ(platform.said("tonelink_tx_start"), file + "ENTER\n|EXIT\n");
    EXPECT_EQ(platform.said("tonelink_tx_stop"), file + "ENTER\n|EXIT\n");
    EXPECT_EQ(platform.said("tx_function"),
              file + "TONE_LINK USED_SOUND_TYPE get_volume[9] get_max_volume[15] "
                     "get_master_volume [5]\n\n|BLEAPP USED_SOUND_TYPE set vol[15] \n\n"
                     "|BLEAPP USED_SOUND_TYPE get_volume[15] get_max_volume[15] Thread Writing\n\n"
                     "|BLEAPP USED_SOUND_TYPE revert vol[9] and audio_out_write complete \n\n");
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
    EXPECT_EQ(platform.said("start_audio_transmitting_async_type"),
              kFile + "ENTER\n|get_set_tv_volume noti_reset_volume 9 "
                      "|\n StartTransmitting Async Success \n\n|EXIT\n");
    EXPECT_EQ(platform.said("stop_audio_transmitting_async"),
              kFile + "ENTER\n|\n StopTransmitting Success \n\n"
                      "|\n Reset USED_SOUND_TYPE volume to 9 \n\n"
                      "|sound_manager_unset_ultrasound_volume_min successuful|EXIT\n");
    const std::string file = "tonelink_tx.cpp|";
    EXPECT_EQ(platform.said("tonelink_tx_start_async"),
              file + "ENTER\n|ASYNC AUDIO START\n|Buffer length is 2  23170\n|EXIT\n");
    const std::string enter = "_audio_io_stream_write_async_cb Entry\n|Buffer length is 3 23170\n|";
    const std::string exit = "BLEAPP USED_SOUND_TYPE audio_out_write complete vol is 9\n\n"
                             "|_audio_io_stream_write_async_cb Exit\n";
    EXPECT_EQ(platform.said("_audio_io_stream_write_async_cb"),
              file + enter +
                  "TONE_LINK USED_SOUND_TYPE get_volume[9] get_max_volume[15] "
                  "get_master_volume [5]\n\n|BLEAPP USED_SOUND_TYPE set vol[15] \n\n"
                  "|BLEAPP USED_SOUND_TYPE get_volume[15] get_max_volume[15] Async Writing\n\n|" +
                  exit + "|" + enter + exit);
    EXPECT_EQ(platform.said("tonelink_tx_stop_async"),
              file + "ENTER\n|ASYNC audio_out_unset_stream_cb and audio_out_unprepare\n"
                     "|ASYNC audio_out_unprepare called\n|ASYNC audio_out_destroy called\n"
                     "|Resetting USED_SOUND_TYPE to 9\n|EXIT\n");
}

TEST_F(TransmissionControl, PlaysKnownSamples)
{
    // From an independent model: the filter's histories outlive the first transmission. Both
    // families play the same: five copies a write.
    platform.keeps_samples = true;
    prepare_pin(2);
    for (const bool by_callback : {false, true}) {
        std::ranges::fill(xv, 0.0f);
        std::ranges::fill(yv, 0.0f);
        for (const auto *hash : {"b27af8e51b359866", "54aa138f946fa3ef"}) {
            platform.forget();
            if (by_callback) {
                ASSERT_EQ(start_audio_transmitting_async_type(2), 1);
                platform.run_callback();
                stop_stream();
            } else {
                ASSERT_EQ(start_audio_transmitting_type(2), 1);
                platform.wait_for_writes(2);
                ASSERT_EQ(stop_audio_transmitting(), 1);
            }
            for (const auto &samples : platform.writes) {
                ASSERT_EQ(samples.size(), 5u * 23170);
                EXPECT_EQ(test::hash16(std::span{samples}.first(23170)), hash);
                EXPECT_TRUE(std::equal(samples.begin() + 23170, samples.end(), samples.begin()));
            }
        }
    }
}

TEST_F(TransmissionControl, SendsWhatWasPrepared)
{
    const std::string octets = "1010101111001101"; // AB CD
    prepare_pin(2);
    ASSERT_EQ(start_audio_transmitting(), 1); // a random PIN all the same
    const auto pin = std::bitset<16>(static_cast<uint16_t>(get_audio_pin())).to_string();
    EXPECT_EQ(message_bits(32), pin + octets);
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
    EXPECT_EQ(message_bits(48), "110111101010110110111110111011111000000000000001");
    stop_stream();
    EXPECT_EQ(platform.said("start_audiodata_transmission"), kFile + "ENTER\n|EXIT\n");
    EXPECT_EQ(start_audiodata_transmission(data, 6, 3), -1);
    EXPECT_EQ(m_pin_Type, 2);
    EXPECT_EQ(test::text_of(pin_array), std::string(255, '0'));

    m_pin_Type = 1;
    EXPECT_EQ(start_audio_transmitting_type(1), -1); // no address for a random PIN
    EXPECT_EQ(platform.count("Failed to get BD Address"), 1);
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
        for (const bool is_async : {false, true}) {
            platform.reset();
            m_pin_Type = 1;
            if (c.runs) {
                ASSERT_EQ(start_audio_transmitting(), 1);
                platform.wait_for_writes(1);
            }
            tonelink_tx_h *const running = tx_handler;
            platform.forget();
            platform.master_volume = c.master;
            platform.volume = 5;
            platform.fail(c.failing, -1);
            const auto start =
                is_async ? start_audio_transmitting_async_type : start_audio_transmitting_type;
            EXPECT_EQ(start(c.packet_type), c.result);
            const bool exits = is_async || c.writer_exits;
            EXPECT_EQ(platform.said(is_async ? "start_audio_transmitting_async_type"
                                             : "start_audio_transmitting_type"),
                      kFile + "ENTER\n|" + c.text + (exits ? "|EXIT\n" : ""));
            EXPECT_EQ(tx_handler, running);
            if (c.packet_type == 3) {
                EXPECT_EQ(platform.calls(by::control), "");
            }
            if (c.runs) {
                EXPECT_EQ(stop_audio_transmitting(), 1);
            }
            noti_reset_volume = 0; // kept by a start whose engine failed
        }
}

TEST_F(TransmissionControl, EitherStopEndsEitherFamily)
{
    EXPECT_EQ(stop_audio_transmitting(), 0);
    EXPECT_EQ(stop_audio_transmitting_async(), 0);
    EXPECT_EQ(platform.calls(), "");
    for (const auto *function : {"stop_audio_transmitting", "stop_audio_transmitting_async"})
        EXPECT_EQ(platform.said(function), kFile + "ENTER\n|Transmitted not started|EXIT\n");

    ASSERT_EQ(start_audio_transmitting(), 1);
    EXPECT_EQ(stop_audio_transmitting_async(), 1);
    ASSERT_EQ(start_audio_transmitting_async(), 1);
    platform.run_callback();
    EXPECT_EQ(stop_audio_transmitting(), 1);
    EXPECT_EQ(platform.volume, 9);
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
            EXPECT_EQ(platform.volume, 9);
            EXPECT_EQ(platform.count("\n StopTransmitting Fail \n\n"), 1);
        }
    // With a device that is on its way to it.
    for (int round = 0; round < 100; ++round) {
        platform.reset();
        platform.device_plays = true;
        ASSERT_EQ(start_audio_transmitting_async(), 1);
        stop_audio_transmitting_async();
        EXPECT_EQ(platform.volume, 9);
    }
    ASSERT_EQ(start_audio_transmitting_async(), 1);
    platform.wait_for_writes(2);
    EXPECT_EQ(stop_audio_transmitting_async(), 1); // takes a listener left behind along
}

TEST_F(TransmissionControl, MutesAListenerLeftBehind)
{
    ASSERT_EQ(start_audio_transmitting(), 1);
    platform.wait_for_writes(1);

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
        ASSERT_EQ(start_audio_transmitting(), 1);
        platform.wait_for_writes(1);
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

TEST_F(TransmissionControl, TakesTheSampleRateOfTheNextStart)
{
    EXPECT_EQ(set_tx_sample_rate(8000), 1);
    ASSERT_EQ(start_audio_transmitting_async(), 1);
    EXPECT_EQ(set_tx_sample_rate(48000), 0);
    stop_stream();
    EXPECT_EQ(set_tx_sample_rate(48000), 1);
    ASSERT_EQ(start_audio_transmitting(), 1);
    stop_audio_transmitting();
    EXPECT_EQ(platform.count("audio_out_create_new(8000, 128, 113)"), 1);
    EXPECT_EQ(platform.count("audio_out_create_new(48000, 128, 113)"), 1);
    EXPECT_EQ(platform.said("set_tx_sample_rate"),
              kFile + "Setting sample rate to [8000]|Transmission has already started"
                      "|Setting sample rate to [48000]");
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

} // namespace tonelink
