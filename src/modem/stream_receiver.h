// The receiver of a stream of audio, without pauses and without a modem state: what receiver_snfc()
// and the command's decoding stand on.
#pragma once

#include "modem/plain/stream_receiver.h"

namespace tonelink {

using plain::stream_receiver;

} // namespace tonelink
