// Calls of the modem in any order, on two states: each answers as documented, and what it hands out
// is consistent with what the state holds.
#include <algorithm>
#include <array>

#include "fuzz/input.h"
#include "modem/modem_state.h"
#include "support/fake_platform.h"
#include "tonelink/modem.h"

namespace {

using namespace tonelink;

constexpr std::size_t kLongest = 50000; // samples in a run
constexpr int kMostCalls = 60;

void receive(snfc_state **state, fuzz::input &from, std::size_t &samples_left)
{
    const std::array<int32_t, 4> lengths = {32, 48, 33, 0};
    const uint8_t which = from.byte();
    const int32_t nbits = lengths[which % (which < 16 ? 4 : 2)];
    const auto sound = fuzz::make_sound(from, std::min(samples_left, from.below(30000)));
    samples_left -= sound.size();
    const auto count = static_cast<int32_t>(sound.size());
    const int32_t heard_before = *state != nullptr ? (*state)->decode_count : 0;

    int32_t *records = nullptr;
    int32_t *length = nullptr;
    const int32_t status = receiver_snfc(state, sound.data(), count, &records, &length, nbits);
    if (*state == nullptr || (nbits != 32 && nbits != 48)) {
        REQUIRE(status == (*state == nullptr ? -2 : -3));
        REQUIRE(records == nullptr && length == nullptr);
        return;
    }
    const snfc_state &modem = **state;
    REQUIRE(records == modem.results.data && length == &modem.results.length);
    int32_t expected = -1;
    for (int32_t i = 0; i < *length; i += 4) expected = std::max(expected, records[i]);
    REQUIRE(status == expected && modem.rx_status == status);
    REQUIRE(*length % 4 == 0 && modem.decode_count == heard_before + *length / 4);
    REQUIRE(*length == 0 ||
            (modem.msg_bits.length == nbits && modem.msg_bytes.length == nbits / 8));
}

void generate(snfc_state **state, fuzz::input &from)
{
    std::array<uint8_t, 48> bits{};
    for (uint8_t &bit : bits) bit = from.byte() % 2;
    const int32_t nbits = from.byte() % 2 == 0 ? 32 : 48;
    int16_t *samples = nullptr;
    int32_t *length = nullptr;
    const int32_t result = get_burst_snfc(state, bits.data(), nbits, &samples, &length);
    REQUIRE(result == (*state == nullptr ? -2 : 1));
    REQUIRE(result != 1 || (*length == 23170 && (*state)->last_message.length == nbits));
}

void check(snfc_state **state)
{
    uint8_t *bits = nullptr;
    int32_t length = 0;
    const int32_t status = check_snfc(state, &bits, &length);
    const bool has_message = *state != nullptr && (*state)->msg_bits.length != 0;
    REQUIRE(status == (has_message ? (*state)->rx_status : -1));
    REQUIRE(has_message ? length == 32 || length == 48 : bits == nullptr);
}

/// A caller replaces a buffer by a container call.
void replace(snfc_state *state, fuzz::input &from)
{
    if (state == nullptr) return;
    const auto length = static_cast<int32_t>(from.below(40));
    switch (from.byte() % 6) {
    case 0: cvec16_free(&state->spectrum_history); break;
    case 1: vec16_set_length(&state->dns_delay, length); break;
    case 2: vec16_free(&state->exponent_history); break;
    case 3: vec16_set_length(&state->fft_input, length); break;
    case 4: bvec_free(&state->msg_bytes); break;
    default: vec32_free(&state->results); break;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    test::platform.has_pauses = false;
    fuzz::input from{data, size};
    std::array<snfc_state *, 2> states = {nullptr, nullptr};
    std::size_t samples_left = kLongest;
    for (int call = 0; call < kMostCalls && !from.empty(); ++call) {
        const uint8_t what = from.byte();
        snfc_state **const state = &states[what / 16 % 2];
        const bool is_open = *state != nullptr;
        switch (what % 8) {
        case 0: REQUIRE(open_snfc(state) == (is_open ? -2 : 1)); break;
        case 1: REQUIRE(close_snfc(state) == (is_open ? 1 : -2)); break;
        case 2: REQUIRE(reset_snfc(state) == (is_open ? 1 : -2)); break;
        case 3: check(state); break;
        case 4: generate(state, from); break;
        case 5: replace(*state, from); break;
        default: receive(state, from, samples_left); break;
        }
    }
    for (snfc_state *&state : states)
        if (state != nullptr) REQUIRE(close_snfc(&state) == 1);
    return 0;
}
