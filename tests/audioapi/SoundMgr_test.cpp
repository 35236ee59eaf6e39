#include "audioapi/SoundMgr.h"

#include <bitset>
#include <climits>
#include <latch>
#include <span>
#include <thread>

#include "support/failing_memory.h"
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

    /// A message that takes neither PIN nor address, and a volume that takes the floor.
    static void prepare_at_low_volume()
    {
        ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
        platform.master_volume = platform.tv_master_volume = 5;
        platform.keeps_samples = true;
        platform.forget();
    }

    /// That message's burst, filtered, five times a write. From an independent model.
    static void expect_copies()
    {
        for (const auto &samples : platform.writes) {
            ASSERT_EQ(samples.size(), 5u * 23170);
            EXPECT_EQ(hash16(std::span{samples}.first(23170)), "b27af8e51b359866");
            EXPECT_TRUE(std::equal(samples.begin() + 23170, samples.end(), samples.begin()));
        }
    }

    static std::string message_bits(std::size_t count)
    {
        return text_of(std::span{tx_handler->message}.first(count));
    }
};

const struct {
    const char *name;
    int32_t (*start)(int32_t);
    bool is_async;
} kFamilies[] = {
    {"start_audio_transmitting_type", start_audio_transmitting_type, false},
    {"start_audio_transmitting_async_type", start_audio_transmitting_async_type, true}};

} // namespace

TEST_F(TransmissionControl, GoesTheDocumentedWayByWriterThread)
{
    prepare_at_low_volume();
    ASSERT_EQ(start_audio_transmitting_type(2), 1);
    EXPECT_EQ(reset_volume, 5);
    platform.wait_for_writes(2);
    ASSERT_EQ(stop_audio_transmitting(), 1);
    EXPECT_EQ(reset_volume, 0);
    expect_copies();
    expect_documented("writer_thread", "audio_out_write(out1, 231700)\nusleep(100000)\n");
}

TEST_F(TransmissionControl, GoesTheDocumentedWayByStreamCallback)
{
    prepare_at_low_volume();
    ASSERT_EQ(start_audio_transmitting_async_type(2), 1);
    platform.run_callback();
    stop_stream();
    expect_copies();
    expect_documented("stream_callback");
}

TEST_F(TransmissionControl, SendsWhatWasPrepared)
{
    const uint8_t data[] = {0xDE, 0xAD, 0xBE, 0xEF, 0x80, 0x01};
    ASSERT_EQ(start_audiodata_transmission(data, 6, 2), 1);
    EXPECT_EQ(m_pin_Type, 2);
    EXPECT_EQ(message_bits(48), std::bitset<48>(0xDEADBEEF8001).to_string());
    stop_stream();
    EXPECT_EQ(platform.said("start_audiodata_transmission"),
              log_of("SoundMgr.cpp", "start_audiodata_transmission", {R"(ENTER\n)", R"(EXIT\n)"}));
    EXPECT_EQ(start_audiodata_transmission(data, 6, 3), -1);
    EXPECT_EQ(text_of(pin_array), std::string(255, '0'));

    // Either stop ends either family's transmission.
    const std::pair<int32_t (*)(), int32_t (*)()> families[] = {
        {start_audio_transmitting, stop_audio_transmitting_async},
        {start_audio_transmitting_async, stop_audio_transmitting}};
    for (const auto &[start, other_stop] : families) {
        set_pin_in_ultrasound(5000, "0:0:0:0:12:34");
        ASSERT_EQ(start(), 1); // a random PIN and the machine's address all the same
        EXPECT_EQ(m_pin_Type, 1);
        const auto pin = static_cast<uint32_t>(get_audio_pin());
        EXPECT_EQ(message_bits(32), std::bitset<32>(pin << 16 | 0xABCD).to_string());
        platform.run_callback();
        EXPECT_EQ(other_stop(), 1);
    }
    EXPECT_EQ(platform.said("start_audio_transmitting"),
              "[SoundMgr.cpp]\nstart_audio_transmitting: ENTER\\n\n");
    EXPECT_EQ(platform.said("start_audio_transmitting_async"), "");

    set_pin_in_ultrasound(5000, "0:0:0:0:AB:CD");
    platform.address.clear(); // not needed
    const auto pin48 = std::bitset<48>(0x1388ABCD).to_string();
    for (const int32_t pin_type : {2, 0, -1, 7}) {
        m_pin_Type = pin_type;
        ASSERT_EQ(start_audio_transmitting_type(2), 1);
        EXPECT_EQ(message_bits(48), pin48);
        stop_audio_transmitting();
    }
    ASSERT_EQ(start_audio_transmitting_async_type(1), 1);
    EXPECT_EQ(message_bits(48), pin48.substr(0, 32) + std::string(16, '0'));
    stop_stream();
    EXPECT_EQ(m_pin_Type, 7);
}

TEST_F(TransmissionControl, RefusesStarts)
{
    const struct {
        int32_t packet_type;
        int master;
        const char *failing;
        bool runs;
        int32_t result;
    } cases[] = {{3, 0, "", true, -1},
                 {0, 50, "", false, -1},
                 {1, 0, "", true, -1},
                 {1, 50, "", true, 0},
                 {1, 50, "bt_adapter_get_address", false, -1},
                 {2, 50, "audio_out_create_new", false, 0}};
    std::string said;
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
            said += platform.said(family.name);
            EXPECT_EQ(tx_handler, running);
            // The packet type is looked at before anything else.
            EXPECT_EQ(platform.count("sound_manager_get_master_volume()") == 0,
                      c.packet_type % 3 == 0);
            EXPECT_EQ(stop_audio_transmitting(), c.runs);
            noti_reset_volume = 0; // kept by a start whose engine failed
        }
    EXPECT_EQ(said, documented_trace("refused_starts"));
}

TEST_F(TransmissionControl, ForgetsAMessageThatCannotBeMade)
{
    EXPECT_EQ(generate_message(32, prepared()), 0);
    platform.forget();
    EXPECT_EQ(generate_message(32, prepared()), 2); // which draws a PIN first
    EXPECT_EQ(platform.said("Generate_Random_PIN").empty(), false);
    EXPECT_EQ(platform.trace().find("tonelink_tx.cpp"), std::string::npos);
    EXPECT_EQ(stop_audio_transmitting(), 0); // there is one, but nothing plays it
    platform.forget();
    platform.fail("bt_adapter_get_address", -1);
    EXPECT_EQ(generate_message(48, prepared()), -1);
    EXPECT_EQ(platform.said("generate_message"),
              "[SoundMgr.cpp]\ngenerate_message: Failed to get BD Address\n");
    EXPECT_EQ(tx_handler, nullptr);

    std::vector<std::string> said;
    for (std::size_t index = 0; said.empty() || said.back() != R"(\n GenerateMessage Success \n\n)";
         ++index) {
        platform.forget();
        m_pin_Type = kPreparedPin;
        const failing_allocation failing{index};
        const int32_t result = generate_message(48, prepared());
        const auto text = platform.said("generate_message");
        const auto line = text.substr(text.find(": ") + 2, text.size() - text.find(": ") - 3);
        if (said.empty() || said.back() != line) said.push_back(line);
        EXPECT_EQ(result, failing.happened() ? -1 : 0);
        EXPECT_EQ(tx_handler != nullptr, result == 0);
    }
    EXPECT_EQ(said, (std::vector<std::string>{
                        "Failed to allocate memory", "Failed to open Tone Link",
                        R"(\n GenerateMessage Fail \n\n)", R"(\n GenerateMessage Success \n\n)"}));
    stop_audio_transmitting();
}

TEST_F(TransmissionControl, ComposesUnderTheStartsMutex)
{
    set_pin_in_ultrasound(5000, "0:0:0:0:AB:CD");
    int checks = 0;
    const auto expect_mutex = [&checks](const char *moment, bool held) {
        platform.on(moment, [=, &checks] {
            EXPECT_EQ(is_held(audio_start_mutex), held) << moment;
            ++checks;
        });
    };
    expect_mutex(" TV volume is [50]", false);
    expect_mutex("\n GenerateMessage Success \n\n", true);
    expect_mutex("Transmission is already started", true);
    expect_mutex("Failed to Generate Message ", true);
    expect_mutex("get_set_tv_volume noti_reset_volume 9 ", false);
    ASSERT_EQ(start_audio_transmitting_async_type(1), 1);
    EXPECT_EQ(start_audio_transmitting_async_type(1), 0);
    stop_stream();
    platform.fail("bt_adapter_get_address", -1);
    EXPECT_EQ(start_audio_transmitting_async(), -1);
    EXPECT_EQ(checks, 7);
}

TEST_F(TransmissionControl, RefusesStopsWhenNothingPlays)
{
    EXPECT_EQ(stop_audio_transmitting(), 0);
    EXPECT_EQ(stop_audio_transmitting_async(), 0);
    EXPECT_EQ(platform.trace(), documented_trace("stops_of_nothing"));
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
    // One that the platform does not give up is tried once more by the close.
    platform.reset();
    ASSERT_EQ(start_audio_transmitting(), 1);
    platform.fail("audio_out_destroy", -1);
    EXPECT_EQ(stop_audio_transmitting(), 0);
    EXPECT_EQ(platform.count("audio_out_destroy(out1)"), 2);
    EXPECT_EQ(platform.left_over(), "listener; ");
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
    EXPECT_EQ(platform.trace(), "");
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

TEST_F(TransmissionControl, KeepsARecordThatThePlatformMayCall)
{
    const auto refuse = [](int count) {
        for (const auto *call :
             {"audio_out_unset_stream_cb", "audio_out_unprepare", "audio_out_destroy"})
            platform.fail(call, -1, count);
    };
    for (const auto release : {start_audio_transmitting, stop_audio_transmitting_async}) {
        ASSERT_EQ(start_audio_transmitting_async(), 1);
        platform.run_callback();
        platform.forget();
        refuse(INT_MAX);
        EXPECT_EQ(stop_audio_transmitting_async(), 0);
        EXPECT_EQ(platform.volume, 9);
        EXPECT_EQ(tx_handler, nullptr);
        platform.run_callback(); // which still comes, and does nothing
        EXPECT_EQ(start_audio_transmitting(), 1);
        platform.wait_for_writes(1);
        platform.run_callback();
        EXPECT_EQ(platform.count("audio_out_write(out1, 231700)"), 0);
        platform.volume = 3; // which a first callback would set
        platform.run_callback();
        EXPECT_EQ(platform.volume, 3);
        EXPECT_EQ(stop_audio_transmitting(), 0);
        EXPECT_EQ(platform.left_over(), "2 outputs; 2 stream infos; listener; ");

        refuse(0);
        release(); // tries again, and is refused nothing
        EXPECT_EQ(platform.count("audio_out_unset_stream_cb(out1)"), 5);
        stop_audio_transmitting();
        ASSERT_EQ(start_audio_transmitting(), 1);
        EXPECT_EQ(stop_audio_transmitting(), 1);
        EXPECT_EQ(platform.left_over(), "");
        platform.reset();
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
        EXPECT_EQ(generate_message(32, prepared()), 2);
        stop_stream();
    }
}

TEST_F(TransmissionControl, SaysThatAnotherStartIsUnderWay)
{
    for (auto *const start : {start_audio_transmitting_type, start_audio_transmitting_async_type}) {
        int32_t result = -1;
        platform.on("audio_out_create_new", [&result, start] {
            std::thread{[&result, start] { result = start(1); }}.join();
        });
        EXPECT_EQ(start(1), 1);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(platform.count("Transmission is already started"), 1);
        if (start == start_audio_transmitting_type) {
            EXPECT_EQ(stop_audio_transmitting(), 1);
        } else {
            stop_stream();
        }
        platform.reset();
    }
}

} // namespace tonelink::test
