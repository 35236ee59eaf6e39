// Why nothing was heard, in words that help, and as an object for programs.
#pragma once

#include <string>

#include <tonelink/receiver.h>

#include "report_text.h"

namespace tonelink::tool {

/// What stands in the way and what to do about it, as part of a sentence: "sound up to 15.9 kHz
/// only: ...". Empty where a message was heard.
/// @param reason  whose: the reception's of the whole sound, or its recent one
std::string advice_on(const tonelink_reception &reception, int32_t reason);

/// The same in two or three words, for a line that goes on.
std::string word_for(int32_t reason);

/// The reason for the whole sound, and its figures.
json_object object_of(const tonelink_reception &reception);

} // namespace tonelink::tool
