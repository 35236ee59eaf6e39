// The text that commands print.
#pragma once

#include <cstdint>
#include <string>

namespace tonelink::tool {

/// For a person, or for a program: an object of JSON a line.
enum class report_form { text, json };

/// As printf() would print it, at most 199 characters.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char *format, ...);

/// A text as a string of JSON, with its quotes. Bytes that are no UTF-8 become U+FFFD.
std::string json_string(const std::string &text);

/// Writes to standard output at once. Throws failure when it takes no more.
void print(const std::string &text);

} // namespace tonelink::tool
