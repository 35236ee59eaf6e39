// A modem state and a band shifter that are open as long as they live.
#pragma once

#include "support/signals.h"
#include "tonelink/modem.h"

namespace tonelink::test {

class open_modem {
public:
    open_modem() { open_snfc(&state_); }
    open_modem &operator=(open_modem &&) = delete; // nor copied
    ~open_modem() { close_snfc(&state_); }

    snfc_state **operator&() { return &state_; }
    snfc_state *operator->() { return state_; }

    /// The burst of a text of 0 and 1; empty when it could not be made.
    std::vector<int16_t> burst(const std::string &message)
    {
        const auto bits = bits_of(message);
        int16_t *samples = nullptr;
        int32_t *length = nullptr;
        if (get_burst_snfc(&state_, bits.data(), static_cast<int32_t>(bits.size()), &samples,
                           &length) != 1)
            return {};
        return {samples, samples + *length};
    }

private:
    snfc_state *state_ = nullptr;
};

struct open_shifter : BandShiftInfo {
    explicit open_shifter(int32_t hertz) { openBandShift(this, hertz); }
    open_shifter &operator=(open_shifter &&) = delete; // nor copied
    ~open_shifter() { closeBandShift(this); }

    /// All that it takes from one block to the next.
    std::vector<int32_t> memory() const
    {
        std::vector<int32_t> all = {phase, half};
        all.insert(all.end(), delay.data, delay.data + delay.length);
        all.insert(all.end(), history.data, history.data + history.length);
        return all;
    }
};

} // namespace tonelink::test
