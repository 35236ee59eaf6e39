// The lines that `tonelink decode` prints of one sound.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "decode/heard_messages.h"
#include "decode/recent_messages.h"
#include "report_text.h"

namespace tonelink::tool {

/// A line for each message, at the end of the sound. Of a stream also when the message is heard
/// first, and when it is heard again after three seconds without it, with the counts until then; at
/// the end then, only where these have changed.
class sound_report {
public:
    using line_taker = std::function<void(const std::string &)>;

    /// @param file  as for line_of()
    sound_report(std::string file, report_form form, bool is_stream, line_taker take_line);

    void add(const tonelink_heard &heard);
    void finish();

private:
    std::string file_;
    report_form form_;
    bool is_stream_;
    line_taker take_line_;
    heard_messages messages_;
    recent_messages recent_;
    std::map<std::string, std::string> told_; ///< by hex_of() a message, what a person knows of it
};

} // namespace tonelink::tool
