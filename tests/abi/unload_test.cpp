// A program that loads the library itself, and lets go of it while it plays: its code stays.
#include <cstdint>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "support/fake_platform.h"

namespace tonelink::test {

namespace {

int32_t call(void *library, const char *name)
{
    auto *const function = reinterpret_cast<int32_t (*)()>(dlsym(library, name));
    return function != nullptr ? function() : INT32_MIN;
}

} // namespace

TEST(Unloading, LeavesWhatPlaysAlone)
{
    platform.reset();
    platform.device_plays = true;
    for (const char *start : {"start_audio_transmitting", "start_audio_transmitting_async"}) {
        void *library = dlopen(TONELINK_LIBRARY, RTLD_NOW);
        ASSERT_NE(library, nullptr) << dlerror();
        ASSERT_EQ(call(library, start), 1);
        platform.wait_for_writes(1);
        EXPECT_EQ(dlclose(library), 0);
        platform.forget();
        platform.wait_for_writes(3);

        library = dlopen(TONELINK_LIBRARY, RTLD_NOW);
        EXPECT_EQ(call(library, "stop_audio_transmitting"), 1); // the one that plays
        EXPECT_EQ(dlclose(library), 0);
    }
    EXPECT_EQ(platform.left_over(), "");
}

} // namespace tonelink::test
