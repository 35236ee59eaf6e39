// The text that commands print.
#pragma once

#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace tonelink::tool {

/// For a person, or for a program: an object of JSON a line.
enum class report_form { text, json };

/// The values one after the other, numbers with a fraction at `decimals` places.
template <class... Values> std::string joined(int decimals, const Values &...values)
{
    std::ostringstream line;
    line << std::fixed << std::setprecision(decimals);
    (line << ... << values);
    return line.str();
}

/// A number with zeros in front, `width` digits at least; in hexadecimal with capitals.
std::string padded(uint64_t number, int width);
std::string padded_hex(uint64_t number, int width);

/// A share of 0 to 1 as a bar so many characters wide: "[###.....]". Less is 0, more is 1.
std::string bar_of(double share, std::size_t width);

/// An object of JSON whose members stand in the order in which they were put.
using json_object = nlohmann::ordered_json;

/// It as a line. Bytes that are no UTF-8 become U+FFFD; what is not printable, an escape.
std::string line_of(const json_object &object);

/// Seconds to the millisecond, and other values to a tenth, for an object.
double to_milliseconds(double seconds);
double to_tenths(double value);

/// Writes to standard output at once. Throws failure when it takes no more.
void print(const std::string &text);

/// Throws failure when standard output is a pipe whose reader has gone.
void require_reader();

/// Says something in a line on standard error, with whatever text, as shown() makes it safe.
/// @param who  the command that says it: "tonelink decode"
void say(const std::string &who, const std::string &what);

} // namespace tonelink::tool
