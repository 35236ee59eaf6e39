// A test that starts from a library as it was loaded, on a platform as it was switched on, and that
// fails when it leaves anything behind.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "audioapi/volume_policy.h"
#include "common/common.h"
#include "common/format_msg.h"
#include "support/fake_platform.h"
#include "support/signals.h"

namespace tonelink::test {

class library_test : public ::testing::Test {
protected:
    void SetUp() override
    {
        platform.reset();
        std::ranges::fill(pin_array, uint8_t{0});
        m_pin_Type = kRandomPin;
    }

    void TearDown() override
    {
        EXPECT_EQ(platform.left_over(), "");
        EXPECT_EQ(noti_reset_volume, 0);
        EXPECT_EQ(is_ultra_volume_changed, 0);
    }
};

} // namespace tonelink::test
