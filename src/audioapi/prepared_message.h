// The message that the type-taking starts send next, for any number of threads: it is taken and
// replaced as a whole.
#pragma once

#include <cstdint>

#include "common/format_msg.h"

namespace tonelink {

struct prepared_message {
    int32_t pin_type = kRandomPin; ///< kRandomPin: what `bits` say is not sent
    message_row bits{};
};

/// What has been prepared last: `m_pin_Type` and `pin_array`.
prepared_message prepared();

void prepare(const prepared_message &message);

/// Prepares the type alone.
void prepare_type(int32_t pin_type);

} // namespace tonelink
