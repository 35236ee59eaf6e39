// One pairing, started and stopped by every family of calls, and the samples that are to be heard.
#pragma once

#include <span>

#include "platform/test_output.h"

namespace tonelink::test {

constexpr std::size_t kBurst = 23170;
constexpr std::size_t kWrite = 5 * kBurst; // five copies

struct family {
    const char *name;
    int32_t (*start)(int32_t packet_type);
    int32_t (*stop)();
};

/// The two families of the service.
std::span<const family> families();

/// Prepares the PIN 4711 and a quiet television: sound type 1 at 9, the master volume at 5.
void prepare_pairing();

/// The hash of the PIN's filtered burst in 48 bits, as the first and the second transmission of a
/// process play it, from an independent model: the filter's histories run on.
extern const std::string kFirstBurst;
extern const std::string kSecondBurst;

/// The hash of what begins with a burst.
std::string hash_of_burst(std::span<const int16_t> samples);

/// Starts, plays `writes` writes at least, and stops.
void transmit(const family &f, std::size_t writes);

/// Waits until the device has taken so many samples of the process.
void wait_for_samples(uint64_t count);

} // namespace tonelink::test
