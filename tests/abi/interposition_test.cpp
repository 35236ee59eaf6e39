// A program that has functions and variables of its own under the library's names, as any program
// may by accident. The shared library must go on with its own. What the program itself calls under
// these names is its own, so nothing else here calls them.

#include "modem/known_bursts.h"
#include "support/modem_guard.h"
#include "support/signals.h"
#include "tonelink/modem.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {
int calls = 0; // of the program's own functions, which none but this program should call
} // namespace

const int16_t Sinewave[6144] = {};
BandShiftInfo sInfoTx = {};
BandShiftInfo sInfoRx = {};

void *ac_allocate_memory(uint32_t) { return ++calls, nullptr; }
void ac_free_memory(void *) { ++calls; }
int32_t vec16_set_length(vec16 *, int32_t) { return ++calls, 0; }
int32_t fix_ifft(int16_t *, int16_t *, int16_t) { return ++calls, 0; }
int32_t fix_fft(int16_t *, int16_t *, int16_t, int16_t) { return ++calls, 0; }
void openBandShift(BandShiftInfo *, int32_t) { ++calls; }
void makeBandShift(int16_t *, int32_t, BandShiftInfo *) { ++calls; }

namespace {

using namespace tonelink::test;

TEST(Interposition, IsThere)
{
    // The loader would bind the library to this program's definitions, if it had any binding to do.
    for (const char *const name : {"ac_allocate_memory", "fix_ifft", "openBandShift", "sInfoTx"}) {
        void *const first = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(first, nullptr) << name;
        EXPECT_NE(first, dlsym(RTLD_NEXT, name)) << name << " is not the program's own";
    }
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "sInfoTx"), &sInfoTx);
}

TEST(Interposition, ChangesNothingInsideTheLibrary)
{
    calls = 0;
    int16_t values[] = {1, -2, 3};
    const vec16 src{values, 3};
    vec16 dst{};
    EXPECT_EQ(vec16_copy(&src, &dst), 1);
    ASSERT_EQ(dst.length, 3);
    EXPECT_EQ(vec16_get_value(&dst, 2), 3);
    EXPECT_EQ(vec16_free(&dst), 1);

    {
        open_modem modem;
        EXPECT_EQ(hash16(modem.burst(kKnownBursts[0].bits)), kKnownBursts[0].burst);
    }
    EXPECT_EQ(sInfoTx.ntaps, 0) << "the program's variable was taken for the library's";
    EXPECT_EQ(calls, 0) << "the program's functions were called by the library";
}

} // namespace
