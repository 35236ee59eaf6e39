// Signals that wait while something is done that they must not cut in two.
#pragma once

#include <csignal>

namespace tonelink::tool {

/// Holds back from this thread what asks a program to end (SIGINT, SIGTERM, SIGHUP, SIGQUIT) for as
/// long as it lives.
class held_signals {
public:
    held_signals();
    ~held_signals();
    held_signals(const held_signals &) = delete;
    held_signals &operator=(const held_signals &) = delete;

private:
    sigset_t before_{};
};

} // namespace tonelink::tool
