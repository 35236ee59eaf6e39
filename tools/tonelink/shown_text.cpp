#include "shown_text.h"

#include <optional>
#include <utility>

#include <glib.h>

#include "report_text.h"

namespace tonelink::tool {
namespace {

bool is_printable(gunichar character)
{
    switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_FORMAT: // what turns the direction of writing is among these
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
    case G_UNICODE_PRIVATE_USE:
    case G_UNICODE_SURROGATE:
    case G_UNICODE_UNASSIGNED: return false;
    default: return true;
    }
}

std::string escape_of(gunichar character)
{
    switch (character) {
    case '\n': return "\\n";
    case '\r': return "\\r";
    case '\t': return "\\t";
    default: break;
    }
    if (character < 0x80) return "\\x" + padded_hex(character, 2);
    return "\\u{" + padded_hex(character, 4) + "}";
}

std::string json_escape_of(gunichar character)
{
    if (character < 0x10000) return "\\u" + padded_hex(character, 4);
    const gunichar offset = character - 0x10000; // two surrogates
    return json_escape_of(0xD800 + (offset >> 10)) + json_escape_of(0xDC00 + (offset & 0x3FF));
}

/// The first character of a text and its bytes; none for a byte that begins none in UTF-8.
std::pair<std::optional<gunichar>, std::string_view> first_of(std::string_view text)
{
    const gunichar character =
        g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    if (g_unichar_validate(character) == FALSE) return {std::nullopt, text.substr(0, 1)};
    const char *const end = g_utf8_next_char(text.data());
    return {character, text.substr(0, static_cast<std::size_t>(end - text.data()))};
}

} // namespace

std::string shown(std::string_view text)
{
    std::string line;
    while (!text.empty()) {
        const auto [character, bytes] = first_of(text);
        if (!character)
            line += "\\x" + padded_hex(static_cast<unsigned char>(bytes.front()), 2);
        else
            line += is_printable(*character) ? std::string{bytes} : escape_of(*character);
        text.remove_prefix(bytes.size());
    }
    return line;
}

std::string shown_json(std::string_view json)
{
    std::string line;
    while (!json.empty()) {
        const auto [character, bytes] = first_of(json);
        if (character && !is_printable(*character))
            line += json_escape_of(*character);
        else
            line += bytes;
        json.remove_prefix(bytes.size());
    }
    return line;
}

bool is_printable(std::string_view text) { return shown(text) == text; }

} // namespace tonelink::tool
