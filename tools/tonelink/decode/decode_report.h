// What `tonelink decode` and `tonelink listen` print of messages: a line for a person, or an object
// of JSON for a program.
#pragma once

#include <cstdint>
#include <string>

#include <tonelink/receiver.h>

#include "decode/heard_messages.h"
#include "report_text.h"

namespace tonelink::tool {

/// "0:01.234" or "1:02:03.456" of a time in the sound.
std::string time_text(double seconds);

/// A message and how often it was heard.
/// @param file  the name of its file, or empty where that need not be said
std::string line_of(const message_summary &heard, const std::string &file, report_form form);

/// A burst as it has just been heard.
std::string line_of_burst(const tonelink_heard &heard, report_form form);

/// A burst with all that is known of it.
std::string line_of_figures(const tonelink_heard &heard, const std::string &file, report_form form);

/// Samples that are missing from a time in the sound on, for a program.
std::string line_of_gap(double seconds, int64_t missing);

/// Why nothing was heard in the whole sound, for a program.
std::string line_of_nothing(const tonelink_reception &reception, const std::string &file);

} // namespace tonelink::tool
