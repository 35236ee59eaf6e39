#include "shown_text.h"

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

} // namespace

std::string shown(std::string_view text)
{
    std::string line;
    while (!text.empty()) {
        const gunichar character =
            g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
        const bool is_valid = g_unichar_validate(character) != FALSE;
        const char *const end = is_valid ? g_utf8_next_char(text.data()) : text.data() + 1;
        const auto size = static_cast<std::size_t>(end - text.data());
        if (!is_valid)
            line += "\\x" + padded_hex(static_cast<unsigned char>(text.front()), 2);
        else if (is_printable(character))
            line += text.substr(0, size);
        else
            line += escape_of(character);
        text.remove_prefix(size);
    }
    return line;
}

bool is_printable(std::string_view text) { return shown(text) == text; }

} // namespace tonelink::tool
