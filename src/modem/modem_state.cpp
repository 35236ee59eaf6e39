// Opens, closes, resets and reads modem states. The two band shifters belong to the process: each
// open starts them afresh, and they are released with the last state.
#include "modem/modem_state.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <pthread.h>

#include "modem/band_shift.h"
#include "modem/burst_format.h"
#include "toolkit/containers.h"
#include "toolkit/scoped_vector.h"

BandShiftInfo sInfoTx;
BandShiftInfo sInfoRx;

namespace tonelink {

namespace {

pthread_mutex_t shifters_mutex = PTHREAD_MUTEX_INITIALIZER;
int32_t open_states = 0; // of open_snfc(), which share the band shifters

/// What open_snfc() leaves in the padding behind `agc_gain`, so that the record has its documented
/// fields and no others: a byte and its complement. Whoever makes a record by hand does not count
/// among its states; so the mark goes before its memory does, which such a record may get next.
using state_mark = std::array<uint8_t, 2>;
constexpr state_mark kOpened = {0x5A, 0xA5};
constexpr std::size_t kMarkOffset = offsetof(snfc_state, agc_gain) + sizeof(snfc_state::agc_gain);

constexpr bool kIs64Bit = sizeof(void *) == 8;
static_assert(kMarkOffset + sizeof(state_mark) <= offsetof(snfc_state, results));
static_assert(offsetof(snfc_state, results) == (kIs64Bit ? 184 : 104));
static_assert(sizeof(snfc_state) == (kIs64Bit ? 200 : 112));

void set_mark(snfc_state &state, const state_mark &mark)
{
    std::memcpy(reinterpret_cast<std::byte *>(&state) + kMarkOffset, &mark, sizeof mark);
}

bool is_opened(const snfc_state &state)
{
    const auto *const mark = reinterpret_cast<const std::byte *>(&state) + kMarkOffset;
    return std::memcmp(mark, &kOpened, sizeof kOpened) == 0;
}

/// Gives `v` an array of `n` zeros unless it has one of that length. Without memory it stays as it
/// is.
template <class Vector> bool restore(Vector &v, std::size_t n)
{
    if (v.data != nullptr && v.length == static_cast<int32_t>(n)) return true;
    scoped_vector<Vector> zeros;
    if (!make_room<Vector>(zeros, static_cast<int64_t>(n))) return false;
    std::fill_n(zeros.data, n, element_of<Vector>{});
    std::swap<Vector>(v, zeros);
    return true;
}

/// Starts both process-wide shifters afresh, for one more state. Without memory they stay as they
/// are.
bool reopen_shifters()
{
    const shifters_lock lock;
    BandShiftInfo transmit;
    BandShiftInfo receive;
    openBandShift(&transmit, -kBandShiftHz);
    openBandShift(&receive, kBandShiftHz);
    if (!is_open(transmit) || !is_open(receive)) {
        closeBandShift(&transmit);
        closeBandShift(&receive);
        return false;
    }
    closeBandShift(&sInfoTx);
    closeBandShift(&sInfoRx);
    sInfoTx = transmit;
    sInfoRx = receive;
    ++open_states;
    return true;
}

/// They go with the last state that has them.
void leave_shifters(const snfc_state &state)
{
    const shifters_lock lock;
    if (is_opened(state) && open_states > 0) --open_states;
    if (open_states > 0) return;
    closeBandShift(&sInfoTx);
    closeBandShift(&sInfoRx);
}

void release(snfc_state *state)
{
    // The next record of this memory may be one that a caller makes by hand.
    set_mark(*state, {});
    bvec_free(&state->last_message);
    bvec_free(&state->msg_bytes);
    bvec_free(&state->msg_bits);
    bvec_free(&state->prev_msg_bytes);
    vec32_free(&state->results);
    vec16_free(&state->burst_samples);
    cvec16_free(&state->spectrum_history);
    vec16_free(&state->exponent_history);
    vec16_free(&state->fft_input);
    vec16_free(&state->dns_delay);
    ac_free_memory(state);
}

} // namespace

shifters_lock::shifters_lock() { pthread_mutex_lock(&shifters_mutex); }

shifters_lock::~shifters_lock() { pthread_mutex_unlock(&shifters_mutex); }

bool restore_receive_buffers(snfc_state &state)
{
    return restore(state.spectrum_history, kFrameHistory * kSubcarriers) &&
           restore(state.exponent_history, kFrameHistory) &&
           restore(state.fft_input, kBodySamples) && restore(state.dns_delay, kDecimationTaps);
}

} // namespace tonelink

int32_t open_snfc(snfc_state **state)
{
    using namespace tonelink;
    if (*state != nullptr) return modem_result::no_state;
    auto *const opened = static_cast<snfc_state *>(ac_allocate_memory(sizeof(snfc_state)));
    if (opened == nullptr) return modem_result::no_memory;

    *opened = snfc_state{}; // empty containers, zero scalars but for these:
    opened->spectral_inversion = 1;
    opened->rx_status = -1;
    opened->agc_gain = 256; // unity
    if (!restore_receive_buffers(*opened) || !reopen_shifters()) {
        release(opened);
        return modem_result::no_memory;
    }
    set_mark(*opened, kOpened);
    *state = opened;
    return modem_result::success;
}

int32_t close_snfc(snfc_state **state)
{
    using namespace tonelink;
    if (*state == nullptr) return modem_result::no_state;
    leave_shifters(**state);
    release(*state);
    *state = nullptr;
    return modem_result::success;
}

int32_t reset_snfc(snfc_state **state)
{
    using namespace tonelink;
    if (*state == nullptr) return modem_result::no_state;
    snfc_state &modem = **state;
    modem.rx_status = -1;
    modem.fft_fill = 0;
    modem.decim_phase = 0;
    modem.repeat_count = 0;
    cvec16_clear(&modem.spectrum_history);
    vec16_clear(&modem.exponent_history);
    vec16_clear(&modem.dns_delay);
    bvec_set_length(&modem.prev_msg_bytes, 0);
    bvec_set_length(&modem.msg_bytes, 0);
    return modem_result::success;
}

int32_t check_snfc(snfc_state **state, uint8_t **bits_out, int32_t *length_out)
{
    if (*state == nullptr || (*state)->msg_bits.length == 0) return -1;
    *bits_out = (*state)->msg_bits.data;
    *length_out = (*state)->msg_bits.length;
    return (*state)->rx_status;
}
