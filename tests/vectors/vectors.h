// The two files of vectors in docs/vectors, and the messages that both speak of.
#pragma once

#include <ostream>

namespace tonelink::test {

/// The pairings whose samples bursts.json has in full: receptions are made of them.
inline constexpr const char *kPairing32 = "pairing-32";
inline constexpr const char *kPairing48 = "pairing-48";

void write_bursts(std::ostream &file);
void write_receptions(std::ostream &file);

} // namespace tonelink::test
