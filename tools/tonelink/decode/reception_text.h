// Why nothing was heard, in words that help, and as an object for programs.
#pragma once

#include <string>

#include <tonelink/receiver.h>

#include "decode/burst_receiver.h"
#include "report_text.h"

namespace tonelink::tool {

/// What stands in the way and what to do about it, as part of a sentence: "sound up to 15.9 kHz
/// only: ...". Empty where a message was heard.
std::string advice_on(const tonelink_reception &reception, const listening &wanted);

/// The same in two or three words, for a line that goes on.
std::string word_for(int32_t reason);

/// The reason for the whole sound, and its figures.
json_object object_of(const tonelink_reception &reception);

} // namespace tonelink::tool
