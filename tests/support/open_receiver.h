// A receiver behind its C interface that is open as long as it lives.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "tonelink/receiver.h"

namespace tonelink::test {

class open_receiver {
public:
    explicit open_receiver(int32_t rate = 0, uint32_t lengths = 0,
                           uint32_t methods = TONELINK_METHOD_EXACT)
    {
        const tonelink_receiver_settings settings = {sizeof settings, rate, lengths, methods};
        EXPECT_EQ(tonelink_receiver_open(&settings, &receiver_), TONELINK_RECEIVER_OK);
    }
    open_receiver &operator=(open_receiver &&) = delete; // nor copied
    ~open_receiver() { tonelink_receiver_close(receiver_); }

    operator tonelink_receiver *() const { return receiver_; }

    void push(std::span<const int16_t> samples)
    {
        tonelink_receiver_push_s16(receiver_, samples.data(), samples.size(), 1);
    }
    void push(std::span<const float> samples)
    {
        tonelink_receiver_push_f32(receiver_, samples.data(), samples.size(), 1);
    }

    /// All records that wait.
    std::vector<tonelink_heard> heard()
    {
        std::vector<tonelink_heard> all;
        tonelink_heard record = {};
        while (tonelink_receiver_next(receiver_, &record) == 1) all.push_back(record);
        return all;
    }

    tonelink_reception report() const
    {
        tonelink_reception reception = {};
        EXPECT_EQ(tonelink_receiver_report(receiver_, &reception), TONELINK_RECEIVER_OK);
        return reception;
    }

    /// Its reasons, as a program reads them: of the stream, and of its last seconds.
    std::string reasons() const
    {
        const auto now = report();
        return std::string{tonelink_receiver_reason(now.reason)} + ' ' +
               tonelink_receiver_reason(now.recent_reason);
    }

private:
    tonelink_receiver *receiver_ = nullptr;
};

/// A record's message as a text of 0 and 1.
inline std::string message_of(const tonelink_heard &heard)
{
    std::string text;
    for (int i = 0; i < heard.nbits; ++i)
        text += (heard.message[i / 8] >> (7 - i % 8) & 1) != 0 ? '1' : '0';
    return text;
}

} // namespace tonelink::test
