// A test that starts from a library as it was loaded, on a platform as it was switched on, and that
// fails when it leaves anything behind.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "audioapi/SoundMgr.h"
#include "audioapi/volume_policy.h"
#include "common/common.h"
#include "common/format_msg.h"
#include "common/playing.h"
#include "common/tonelink_tx.h"
#include "modem/output_filter.h"
#include "support/documented_trace.h"
#include "support/fake_platform.h"
#include "support/signals.h"

namespace tonelink::test {

class library_test : public ::testing::Test {
protected:
    void SetUp() override
    {
        platform.reset();
        std::ranges::fill(xv, 0.0f);
        std::ranges::fill(yv, 0.0f);
        std::ranges::fill(pin_array, uint8_t{0});
        m_pin_Type = kRandomPin;
        vol_aud_write = 0;
    }

    void TearDown() override
    {
        EXPECT_EQ(platform.left_over(), "");
        EXPECT_EQ(tx_handler, nullptr);
        EXPECT_EQ(sInfoTx.delay.data, nullptr) << "a modem is open";
        EXPECT_EQ(b_audio_write_, 0);
        EXPECT_EQ(noti_reset_volume, 0);
        EXPECT_EQ(is_ultra_volume_changed, 0);
    }
};

/// What a function's lines of log look like in a trace.
inline std::string log_of(const std::string &file, const std::string &function,
                          const std::vector<std::string> &lines)
{
    std::string trace = lines.empty() ? "" : "[" + file + "]\n";
    for (const auto &line : lines) trace += function + ": " + line + "\n";
    return trace;
}

inline bool is_held(pthread_mutex_t &mutex)
{
    if (pthread_mutex_trylock(&mutex) != 0) return true;
    pthread_mutex_unlock(&mutex);
    return false;
}

/// A handle that holds the burst of a message, closed and released at the end of its scope.
class loaded_handle {
public:
    explicit loaded_handle(const std::string &bits = "11011110101011011011111011101111")
    {
        tonelink_tx_open(&address_);
        EXPECT_EQ(load(bits), 0);
    }
    loaded_handle(const loaded_handle &) = delete;
    loaded_handle &operator=(const loaded_handle &) = delete;
    ~loaded_handle() { EXPECT_EQ(tonelink_tx_close(&address_), 0); }

    int32_t load(const std::string &bits)
    {
        const auto row = bits_of(bits);
        tonelink_tx_put_bin(&record_, row.data(), static_cast<uint32_t>(row.size()));
        return tonelink_tx_generate(&record_, static_cast<int32_t>(row.size()));
    }

    operator tonelink_tx_h *() { return &record_; }
    tonelink_tx_h *operator->() { return &record_; }
    tonelink_tx_h **operator&() { return &address_; }
    std::vector<int16_t> burst() const
    {
        return {record_.burst, record_.burst + *record_.burst_length};
    }

private:
    tonelink_tx_h record_{};
    tonelink_tx_h *address_ = &record_;
};

} // namespace tonelink::test
