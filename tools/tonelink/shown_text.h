// Text from outside, such as the name of a file, made safe to show on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace tonelink::tool {

/// The text in one line of printable characters: what is none stands as an escape that says what it
/// was, "\n" or "\u{202E}", and bytes that are no UTF-8 as "\xFF". So no text can move the cursor,
/// begin a line, or turn the order of what stands beside it.
std::string shown(std::string_view text);

/// A line of JSON whose texts hold printable characters alone: others stand as JSON's own escapes,
/// "\u202E".
std::string shown_json(std::string_view json);

/// Whether shown() leaves it as it is.
bool is_printable(std::string_view text);

} // namespace tonelink::tool
