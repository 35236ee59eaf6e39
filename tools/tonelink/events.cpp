#include "events.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

bool is_ignored(int signal)
{
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

termios modes_before; // of the terminal, while a keyboard has it
struct sigaction quit_before;

/// Ctrl-\ ends the program wherever it is, and the terminal is the shell's again.
extern "C" void give_back_and_quit(int signal)
{
    if (tcgetpgrp(STDIN_FILENO) == getpgrp()) tcsetattr(STDIN_FILENO, TCSANOW, &modes_before);
    raise(signal); // comes when this returns, with its default again
}

} // namespace

stop_signals::stop_signals()
{
    sigset_t taken;
    sigemptyset(&taken);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCONT})
        if (!is_ignored(signal)) sigaddset(&taken, signal);
    pthread_sigmask(SIG_BLOCK, &taken, &before_);
    descriptor_ = signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ >= 0) return;
    const int reason = errno;
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    throw failure{std::string{"cannot wait for signals: "} + std::strerror(reason)};
}

stop_signals::~stop_signals()
{
    // What has come is taken off, or it would end the program as soon as it is let through again.
    while (take() != 0) {
    }
    close(descriptor_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int stop_signals::take() const
{
    signalfd_siginfo taken{};
    if (read(descriptor_, &taken, sizeof taken) != sizeof taken) return 0;
    return static_cast<int>(taken.ssi_signo);
}

void end_by(int signal)
{
    sigset_t let_through;
    sigemptyset(&let_through);
    sigaddset(&let_through, signal);
    pthread_sigmask(SIG_UNBLOCK, &let_through, nullptr);
    raise(signal);
    _exit(128 + signal); // as a shell shows it
}

bool stop_wish::repeats()
{
    constexpr std::chrono::milliseconds kSameWish{300};
    const auto now = std::chrono::steady_clock::now();
    if (!first_) first_ = now;
    return now - *first_ > kSameWish;
}

stop_watch::stop_watch(const stop_signals &signals, std::function<void(int signal)> asked)
    : signals_{signals}, asked_{std::move(asked)}, end_{eventfd(0, EFD_CLOEXEC)}
{
    if (end_ < 0) throw failure{std::string{"cannot wait for signals: "} + std::strerror(errno)};
    thread_ = std::thread{[this] { watch(); }};
}

stop_watch::~stop_watch()
{
    eventfd_write(end_, 1);
    thread_.join();
    close(end_);
}

void stop_watch::watch()
{
    stop_wish stopping;
    pollfd sources[] = {{signals_.descriptor(), POLLIN, 0}, {end_, POLLIN, 0}};
    while (sources[1].revents == 0) {
        poll(sources, 2, -1);
        const int signal = sources[0].revents != 0 ? signals_.take() : 0;
        if (signal == 0 || signal == SIGCONT) continue;
        const bool is_first = !stopping.is_there();
        if (stopping.repeats()) end_by(signal);
        if (is_first) asked_(signal);
    }
}

keyboard::keyboard()
{
    is_terminal_ = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &modes_before) == 0;
    if (!is_terminal_) return;
    struct sigaction quitting {};
    quitting.sa_handler = give_back_and_quit;
    quitting.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGQUIT, nullptr, &quit_before);
    if (quit_before.sa_handler == SIG_DFL) sigaction(SIGQUIT, &quitting, nullptr);
    is_there();
}

keyboard::~keyboard() { let_go(); }

void keyboard::let_go()
{
    // Keys that came too late are not the shell's.
    if (is_there()) tcsetattr(STDIN_FILENO, TCSAFLUSH, &modes_before);
    if (is_terminal_) sigaction(SIGQUIT, &quit_before, nullptr);
    is_terminal_ = false;
}

bool keyboard::is_there()
{
    // A program in the background would be stopped for touching the terminal.
    const bool is_in_front = is_terminal_ && tcgetpgrp(STDIN_FILENO) == getpgrp();
    if (is_in_front && !has_terminal_) {
        termios keys = modes_before;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // Ctrl-C stays a signal
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    }
    has_terminal_ = is_in_front;
    return is_in_front;
}

request keyboard::next()
{
    char key = 0;
    const ssize_t count = read(STDIN_FILENO, &key, 1);
    if (count < 0 && errno == EINTR) return request::none;
    if (count <= 0) return request::quit;

    const escape before = std::exchange(escape_, escape::none);
    if (before == escape::arrow) {
        if (key == 'A' || key == 'C') return request::louder;
        if (key == 'B' || key == 'D') return request::softer;
        return request::none;
    }
    if (before == escape::begun && (key == '[' || key == 'O')) {
        escape_ = escape::arrow;
        return request::none;
    }
    switch (key) {
    case '\033': escape_ = escape::begun; return request::none;
    case '+':
    case '=': return request::louder;
    case '-':
    case '_': return request::softer;
    case 'q':
    case 'Q': return request::quit;
    default: return request::none;
    }
}

event wait_for_event(const stop_signals &signals, keyboard &keys, int milliseconds)
{
    // Of standard output, poll() tells without being asked when its reader has gone.
    pollfd sources[] = {
        {signals.descriptor(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(sources, keys.is_there() ? 3 : 2, milliseconds) <= 0) return {};
    if (sources[0].revents != 0) {
        const int signal = signals.take();
        if (signal != SIGCONT) return {request::stop, signal};
        keys.resumed();
        return {};
    }
    if ((sources[1].revents & POLLERR) != 0)
        throw file_failure{"nobody reads standard output any more"};
    return {sources[2].revents != 0 ? keys.next() : request::none};
}

} // namespace tonelink::tool
