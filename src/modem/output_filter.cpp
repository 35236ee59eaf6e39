// The filter is a chain, in which each output waits for the one before. So a block of samples is
// cut into parts that are filtered side by side. Each part but the first starts some samples early,
// from rest: by its own first sample the outputs have come so near to the true ones that they round
// to them. Whether they have is compared with the end of the part before; if not, the chain is gone
// through from there.
#include "modem/output_filter.h"

#include <algorithm>
#include <array>
#include <bit>

#include "modem/lanes/output_filter.h"

float xv[3];
float yv[3];

namespace tonelink {

namespace {

constexpr std::size_t kParts = kFilterParts;
constexpr std::size_t kLongestPart = 512;
constexpr std::size_t kRunUp = 64; // samples; the outputs' error falls to 0.6 of it with each
constexpr std::size_t kTile = 8;   // samples of every part that are filtered at a time

/// The samples of a part's end, or of the filter as the process left it.
struct chain_state {
    float older_input, newer_input, older_output, newer_output;
};

struct tile {
    filter_row rows[kTile]; // a row for each sample
};

chain_state state_of(const filter_histories &h, std::size_t part)
{
    return {h.older_input[part], h.newer_input[part], static_cast<float>(h.older_output[part]),
            static_cast<float>(h.newer_output[part])};
}

void set_state(filter_histories &h, std::size_t part, const chain_state &state)
{
    h.older_input[part] = state.older_input;
    h.newer_input[part] = state.newer_input;
    h.older_output[part] = static_cast<double>(state.older_output);
    h.newer_output[part] = static_cast<double>(state.newer_output);
}

/// To the bit: zeros of either sign differ.
bool is_same(const chain_state &a, const chain_state &b)
{
    using bits = std::array<uint32_t, sizeof(chain_state) / sizeof(uint32_t)>;
    return std::bit_cast<bits>(a) == std::bit_cast<bits>(b);
}

// ---- Between parts, which lie one behind the other, and rows of a tile ----

typedef int16_t eight __attribute__((vector_size(16)));

/// Eight samples, from and to any place. The C library's own function may ask at run time for the
/// room that is known here.
void move_eight(void *to, const void *from) { __builtin_memcpy(to, from, sizeof(eight)); }

/// Rows become columns.
void transpose(std::array<eight, kTile> &rows)
{
    for (int round = 0; round < 3; ++round) { // each a perfect shuffle of the rows and in them
        std::array<eight, kTile> shuffled;
        for (std::size_t i = 0; i < kTile / 2; ++i) {
            shuffled[2 * i] =
                __builtin_shufflevector(rows[i], rows[i + 4], 0, 8, 1, 9, 2, 10, 3, 11);
            shuffled[2 * i + 1] =
                __builtin_shufflevector(rows[i], rows[i + 4], 4, 12, 5, 13, 6, 14, 7, 15);
        }
        rows = shuffled;
    }
}

tile read_tile(const int16_t *first_part, std::size_t stride)
{
    tile t;
    for (std::size_t p = 0; p < kParts; p += kTile) {
        std::array<eight, kTile> rows;
        for (std::size_t i = 0; i < kTile; ++i) move_eight(&rows[i], first_part + (p + i) * stride);
        transpose(rows);
        for (std::size_t i = 0; i < kTile; ++i) move_eight(&t.rows[i][p], &rows[i]);
    }
    return t;
}

void write_tile(const tile &t, int16_t *first_part, std::size_t stride)
{
    for (std::size_t p = 0; p < kParts; p += kTile) {
        std::array<eight, kTile> rows;
        for (std::size_t i = 0; i < kTile; ++i) move_eight(&rows[i], &t.rows[i][p]);
        transpose(rows);
        for (std::size_t i = 0; i < kTile; ++i) move_eight(first_part + (p + i) * stride, &rows[i]);
    }
}

/// One sample after the other, from `state` on, which moves on.
void filter_chain(std::span<int16_t> samples, chain_state &state)
{
    filter_histories h{};
    set_state(h, 0, state);
    for (int16_t &sample : samples) sample = lanes4::output_filter::next_output(sample, h, 0);
    state = state_of(h, 0);
}

/// All parts of a block, from `state` on, which moves on.
void filter_parts(std::span<int16_t> block, std::size_t part, chain_state &state,
                  const vector_stages &stages)
{
    std::array<int16_t, kRunUp + kParts * kLongestPart> original; // behind nothing
    std::fill_n(original.begin(), kRunUp, int16_t{0});
    std::copy(block.begin(), block.end(), original.begin() + kRunUp);

    filter_histories h{};
    for (std::size_t i = 0; i < kRunUp; i += kTile) {
        tile t = read_tile(&original[i], part);
        stages.filter_rows(t.rows, kTile, h);
    }
    set_state(h, 0, state);
    const filter_histories starts = h;
    for (std::size_t i = 0; i < part; i += kTile) {
        tile t = read_tile(&block[i], part);
        stages.filter_rows(t.rows, kTile, h);
        write_tile(t, &block[i], part);
    }

    state = state_of(h, 0);
    for (std::size_t p = 1; p < kParts; ++p) {
        if (is_same(state_of(starts, p), state)) {
            state = state_of(h, p);
            continue;
        }
        const auto samples = block.subspan(p * part, part);
        std::copy_n(original.begin() + static_cast<std::ptrdiff_t>(kRunUp + p * part), part,
                    samples.begin());
        filter_chain(samples, state);
    }
}

} // namespace

void filter_output(std::span<int16_t> samples, const vector_stages &stages)
{
    chain_state state{xv[1], xv[2], yv[1], yv[2]};
    while (samples.size() > 2 * kParts * kRunUp) {
        // Leaves one sample at least.
        const std::size_t whole_tiles = (samples.size() - 1) / kParts / kTile * kTile;
        const std::size_t part = std::min(whole_tiles, kLongestPart);
        filter_parts(samples.first(kParts * part), part, state, stages);
        samples = samples.subspan(kParts * part);
    }
    // The histories hold one sample more than the filter looks back on.
    for (int16_t &sample : samples) {
        xv[0] = state.older_input;
        yv[0] = state.older_output;
        filter_chain({&sample, 1}, state);
    }
    xv[1] = state.older_input;
    xv[2] = state.newer_input;
    yv[1] = state.older_output;
    yv[2] = state.newer_output;
}

} // namespace tonelink
