// A line on a terminal that stays up to date.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace tonelink::tool {

class live_line {
public:
    /// @param stream  standard output or standard error
    explicit live_line(std::FILE *stream);
    /// Leaves the cursor on a line of its own.
    ~live_line();
    live_line(const live_line &) = delete;
    live_line &operator=(const live_line &) = delete;

    /// Whether the stream is a terminal, and not one in whose background this program is; nothing
    /// is shown elsewhere.
    bool is_there() const;

    /// Writes over what was shown before, as wide as the terminal at most.
    void show(const std::string &line) { show_fitting({line}); }

    /// The same with the first of several forms of a line that the terminal is wide enough for:
    /// longer ones come first, and the last one has what matters most in front.
    void show_fitting(const std::vector<std::string> &forms);

    /// Shows how far a work is that is called so: "decoding [###...] 50 %".
    void show_share(const std::string &work, double share);

    /// Takes it away, so that something else can be printed there.
    void clear();

private:
    void print(const std::string &text);

    std::FILE *stream_;
    bool is_terminal_;
    std::size_t length_ = 0; ///< of what is shown, in columns
};

} // namespace tonelink::tool
