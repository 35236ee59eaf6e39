// What a person or another program does while a command runs: signals that ask it to stop, and
// keys.
#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <thread>

namespace tonelink::tool {

/// Takes the signals that ask a program to stop (SIGINT, SIGTERM, SIGHUP) as events for as long as
/// it lives, but for those that were ignored before. Made before any thread is started, so that
/// none is interrupted.
class stop_signals {
public:
    stop_signals();
    ~stop_signals();
    stop_signals(const stop_signals &) = delete;
    stop_signals &operator=(const stop_signals &) = delete;

    int descriptor() const { return descriptor_; }

    /// The signal that has come, SIGCONT included, or 0.
    int take() const;

private:
    sigset_t before_{};
    int descriptor_ = -1;
};

/// Ends the program by a signal, as it would have without stop_signals.
[[noreturn]] void end_by(int signal);

/// Somebody's wish that the program stops, which takes its time. Whoever asks once more does not
/// want to wait; but what comes at once is the same wish: timeout(1) and others send a signal
/// twice.
class stop_wish {
public:
    /// Takes a request. Returns whether it is one more after the first.
    bool repeats();

    bool is_there() const { return first_.has_value(); }

private:
    std::optional<std::chrono::steady_clock::time_point> first_;
};

/// Takes the signals while the program may be held up: by a device that does not open, or a reader
/// that does not read. The first asks it to stop; one more ends it.
class stop_watch {
public:
    /// @param signals  outlives this, and is read by nobody else
    /// @param asked    called once, from another thread, with the first signal; must not throw
    stop_watch(const stop_signals &signals, std::function<void(int signal)> asked);
    ~stop_watch();
    stop_watch(const stop_watch &) = delete;
    stop_watch &operator=(const stop_watch &) = delete;

private:
    void watch();

    const stop_signals &signals_;
    std::function<void(int signal)> asked_;
    int end_; ///< an eventfd
    std::thread thread_;
};

enum class request { none, stop, quit, louder, softer };

struct event {
    request what = request::none;
    int signal = 0; ///< which one asks to stop
};

/// Takes keys one by one, without showing them, while standard input is a terminal and this program
/// in its foreground. The terminal is given back also when SIGQUIT (Ctrl-\) ends the program. One
/// at a time in a program.
class keyboard {
public:
    keyboard();
    ~keyboard();
    keyboard(const keyboard &) = delete;
    keyboard &operator=(const keyboard &) = delete;

    /// Gives the terminal back as it was, for good.
    void let_go();

    /// Whether keys can be read now. Makes the terminal give single keys if a shell has had it.
    bool is_there();

    /// To be told when the program goes on after it was stopped, as a shell does on Ctrl-Z.
    void resumed() { has_terminal_ = false; }

    /// What the next byte asks for: + = and the arrows up and right for louder, - _ and the other
    /// arrows for softer, q to quit, as does a terminal that is gone. An arrow is three bytes, of
    /// which the last one counts.
    request next();

private:
    enum class escape { none, begun, arrow };

    bool is_terminal_ = false;
    bool has_terminal_ = false; ///< set for single keys, as far as is known
    escape escape_ = escape::none;
};

/// The next event, or none after `milliseconds` at most. Throws failure when standard output is a
/// pipe whose reader has gone.
event wait_for_event(const stop_signals &signals, keyboard &keys, int milliseconds);

} // namespace tonelink::tool
