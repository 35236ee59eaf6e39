// What fuzzers make of their bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

namespace tonelink::fuzz {

/// Reads bytes until there are none, then zeros.
class input {
public:
    input(const uint8_t *data, std::size_t size) : bytes_{data, size} {}

    bool empty() const { return bytes_.empty(); }

    uint8_t byte()
    {
        if (bytes_.empty()) return 0;
        const uint8_t first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }
    int16_t half() { return static_cast<int16_t>(byte() | byte() << 8); }
    std::size_t below(std::size_t limit) { return static_cast<uint16_t>(half()) % limit; }

private:
    std::span<const uint8_t> bytes_;
};

/// Sound as the input describes it, at most `longest` samples: one piece after the other of noise,
/// of known bursts, of a level, or sample by sample.
std::vector<int16_t> make_sound(input &from, std::size_t longest);

} // namespace tonelink::fuzz

/// Ends the run, as a fuzzer wants it, when a property does not hold.
#define REQUIRE(condition)                                                                         \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                   \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);
