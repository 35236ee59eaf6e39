// A program that has functions of its own under the library's names, as any program may by
// accident. The shared library must go on with its own. What the program itself calls under these
// names is its own, so nothing else here calls them.

#include "modem/known_bursts.h"
#include "support/fake_platform.h"
#include "support/modem_guard.h"
#include "support/open_receiver.h"
#include "support/signals.h"
#include "tonelink/payload.h"
#include "tonelink/service.h"
#include "tonelink/transmit.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {
int calls = 0; // of the program's own functions, which none but this program should call
} // namespace

void put(uint8_t *, uint32_t, int32_t, int32_t) { ++calls; }
void Start(audio_out_h) { ++calls; }
void Stop(audio_out_h) { ++calls; }
void Initialize(int32_t, audio_out_h *) { ++calls; }
int32_t audio_create(int32_t, audio_out_h *) { return ++calls, 0; }
void SubmitAudioBuffer(const int16_t *, int32_t, audio_out_h) { ++calls; }
void *repeat_thread_func(void *) { return ++calls, nullptr; }
void _audio_io_stream_write_async_cb(audio_out_h, size_t, void *) { ++calls; }
int32_t tonelink_tx_start(tonelink_tx_h *) { return ++calls, 0; }
void *ac_allocate_memory(uint32_t) { return ++calls, nullptr; }
void ac_free_memory(void *) { ++calls; }
int32_t vec16_set_length(vec16 *, int32_t) { return ++calls, 0; }
int32_t fix_ifft(int16_t *, int16_t *, int16_t) { return ++calls, 0; }
int32_t fix_fft(int16_t *, int16_t *, int16_t, int16_t) { return ++calls, 0; }
void openBandShift(BandShiftInfo *, int32_t) { ++calls; }
void makeBandShift(int16_t *, int32_t, BandShiftInfo *) { ++calls; }

namespace {

using namespace tonelink::test;

class Interposition : public testing::Test {
protected:
    void SetUp() override
    {
        platform.reset();
        calls = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(calls, 0) << "the program's functions were called by the library";
        EXPECT_EQ(platform.left_over(), "");
    }
};

TEST_F(Interposition, IsThere)
{
    // The loader would bind the library to this program's functions, if it had any binding to do.
    for (const char *const name : {"put", "Start", "ac_allocate_memory", "openBandShift"}) {
        void *const first = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(first, nullptr) << name;
        EXPECT_NE(first, dlsym(RTLD_NEXT, name)) << name << " is not the program's own";
    }
}

TEST_F(Interposition, LeavesContainersAndBurstsAsTheyAre)
{
    int16_t values[] = {1, -2, 3};
    const vec16 src{values, 3};
    vec16 dst{};
    EXPECT_EQ(vec16_copy(&src, &dst), 1);
    ASSERT_EQ(dst.length, 3);
    EXPECT_EQ(vec16_get_value(&dst, 2), 3);
    EXPECT_EQ(vec16_free(&dst), 1);

    open_modem modem;
    EXPECT_EQ(hash16(modem.burst(kKnownBursts[0].bits)), kKnownBursts[0].burst);
}

TEST_F(Interposition, LeavesTheReceiverBesideTheOtherLibraryAsItIs)
{
    open_modem modem;
    const auto burst = modem.burst(kKnownBursts[2].bits);
    open_receiver receiver;
    receiver.push(std::span{burst});
    tonelink_receiver_flush(receiver);
    const auto heard = receiver.heard();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(message_of(heard[0]), kKnownBursts[2].bits);
}

TEST_F(Interposition, LeavesTransmissionsAsTheyAre)
{
    set_pin_in_ultrasound(4711, "11:22:33:44:AB:CD");
    for (const bool by_callback : {false, true}) {
        const auto start =
            by_callback ? start_audio_transmitting_async_type : start_audio_transmitting_type;
        ASSERT_EQ(start(2), 1);
        if (by_callback) platform.run_callback();
        platform.wait_for_writes(1);
        ASSERT_EQ(by_callback ? stop_audio_transmitting_async() : stop_audio_transmitting(), 1);
    }

    ASSERT_EQ(GenerateMessage(4711, 1), 1);
    ASSERT_EQ(StartTransmitting(0, 44100), 1);
    platform.wait_for_writes(1);
    ASSERT_EQ(StopTransmitting(), 1);
}

} // namespace
