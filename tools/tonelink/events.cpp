#include "events.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

bool is_ignored(int signal)
{
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
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

keyboard::keyboard()
{
    is_terminal_ = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &before_) == 0;
    is_there();
}

keyboard::~keyboard()
{
    // Keys that came too late are not the shell's.
    if (is_there()) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
}

bool keyboard::is_there()
{
    // A program in the background would be stopped for touching the terminal.
    const bool is_in_front = is_terminal_ && tcgetpgrp(STDIN_FILENO) == getpgrp();
    if (is_in_front && !has_terminal_) {
        termios keys = before_;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // Ctrl-C stays a signal
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    }
    has_terminal_ = is_in_front;
    return is_in_front;
}

event keyboard::next()
{
    char key = 0;
    const ssize_t count = read(STDIN_FILENO, &key, 1);
    if (count < 0 && errno == EINTR) return event::none;
    if (count <= 0) return event::quit;

    const escape before = std::exchange(escape_, escape::none);
    if (before == escape::arrow) {
        if (key == 'A' || key == 'C') return event::louder;
        if (key == 'B' || key == 'D') return event::softer;
        return event::none;
    }
    if (before == escape::begun && (key == '[' || key == 'O')) {
        escape_ = escape::arrow;
        return event::none;
    }
    switch (key) {
    case '\033': escape_ = escape::begun; return event::none;
    case '+':
    case '=': return event::louder;
    case '-':
    case '_': return event::softer;
    case 'q':
    case 'Q': return event::quit;
    default: return event::none;
    }
}

event wait_for_event(const stop_signals &signals, keyboard &keys, int milliseconds)
{
    // Of standard output, poll() tells without being asked when its reader has gone.
    pollfd sources[] = {
        {signals.descriptor(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(sources, keys.is_there() ? 3 : 2, milliseconds) <= 0) return event::none;
    if (sources[0].revents != 0) {
        if (signals.take() != SIGCONT) return event::signal;
        keys.resumed();
        return event::none;
    }
    if ((sources[1].revents & POLLERR) != 0) throw failure{"nobody reads standard output any more"};
    return sources[2].revents != 0 ? keys.next() : event::none;
}

} // namespace tonelink::tool
