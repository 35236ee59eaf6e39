// A line on a terminal that stays up to date.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

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
    void show(std::string line);

    /// Takes it away, so that something else can be printed there.
    void clear();

private:
    void print(const std::string &text);

    std::FILE *stream_;
    bool is_terminal_;
    std::size_t length_ = 0; ///< of what is shown
};

} // namespace tonelink::tool
