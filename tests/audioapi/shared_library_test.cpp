// The whole road through the shared library itself, in a program with names of its own.
#include <gtest/gtest.h>

#include <span>

#include "support/fake_platform.h"
#include "support/signals.h"
#include "tonelink/payload.h"
#include "tonelink/service.h"
#include "tonelink/transmit.h"

namespace tonelink {

using test::platform;

TEST(SharedLibrary, IsNotDisturbedByAProgramsOwnNames)
{
    platform.reset();
    platform.keeps_samples = true;
    ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
    ASSERT_EQ(start_audio_transmitting_async_type(2), 1);
    platform.run_callback();
    EXPECT_EQ(stop_audio_transmitting_async(), 1);
    ASSERT_EQ(platform.writes.size(), 1u);
    EXPECT_EQ(test::hash16(std::span{platform.writes[0]}.first(23170)), "b27af8e51b359866");

    platform.forget();
    ASSERT_EQ(GenerateMessage(0x12673CA5, 1), 1);
    ASSERT_EQ(StartTransmitting(0, 22050), 1);
    platform.wait_for_writes(1);
    EXPECT_EQ(StopTransmitting(), 1);
    EXPECT_EQ(test::hash16(platform.writes[0]), "af644da02492bc77");
    EXPECT_EQ(m_samplerate, 22050); // the library's own, not a copy
    EXPECT_EQ(buf_length, 23170);
    EXPECT_EQ(platform.left_over(), "");
}

} // namespace tonelink
