// What `tonelink decode` and `tonelink listen` print of messages: a line for a person, or an object
// of JSON for a program.
#pragma once

#include <cstdint>
#include <string>

#include "decode/heard_bursts.h"
#include "decode/heard_messages.h"
#include "report_text.h"

namespace tonelink::tool {

/// "0:01.234" or "1:02:03.456" of a sample's place in the sound.
std::string time_text(int64_t sample);

/// A message and how often it was heard.
/// @param file  the name of its file, or empty where that need not be said
std::string line_of(const message_summary &heard, const std::string &file, report_form form);

/// A burst as it has just been heard.
std::string line_of_burst(const heard_burst &burst, report_form form);

/// Samples that are missing from a place in the sound on, for a program.
std::string line_of_gap(int64_t sample, int64_t missing);

/// One acceptance: a message at a single position.
std::string line_of_acceptance(const message_bits &message, int64_t sample, const std::string &file,
                               report_form form);

} // namespace tonelink::tool
