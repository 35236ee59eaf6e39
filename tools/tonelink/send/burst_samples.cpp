#include "send/burst_samples.h"

#include <memory>
#include <new>

#include <tonelink/modem.h>
#include <tonelink/transmit.h>

namespace tonelink::tool {
namespace {

struct close_modem {
    void operator()(snfc_state *modem) const { close_snfc(&modem); }
};

} // namespace

std::vector<int16_t> modem_burst(const message_bits &message)
{
    snfc_state *opened = nullptr;
    if (open_snfc(&opened) != 1) throw std::bad_alloc{};
    const std::unique_ptr<snfc_state, close_modem> modem{opened};
    int16_t *samples = nullptr;
    int32_t *length = nullptr;
    if (get_burst_snfc(&opened, message.data(), static_cast<int32_t>(message.size()), &samples,
                       &length) != 1)
        throw std::bad_alloc{};
    return {samples, samples + *length};
}

std::vector<int16_t> transmitted_burst(const message_bits &message)
{
    tonelink_tx_h record{};
    tonelink_tx_h *handle = &record;
    if (tonelink_tx_open(&handle) != 0) throw std::bad_alloc{};
    const auto close = [](tonelink_tx_h *opened) { tonelink_tx_close(&opened); };
    const std::unique_ptr<tonelink_tx_h, decltype(close)> closer{handle};
    tonelink_tx_put_bin(handle, message.data(), static_cast<uint32_t>(message.size()));
    if (tonelink_tx_generate(handle, static_cast<int32_t>(message.size())) != 0)
        throw std::bad_alloc{};
    return {record.burst, record.burst + *record.burst_length};
}

} // namespace tonelink::tool
