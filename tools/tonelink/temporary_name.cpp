#include "temporary_name.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace tonelink::tool {
namespace {

constexpr std::array kEnding{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kMostNames = 1000;

std::atomic<const char *> doomed{nullptr}; // what goes when a signal comes
std::atomic<int> folder_of_doomed{-1};
static_assert(std::atomic<const char *>::is_always_lock_free);
static_assert(std::atomic<int>::is_always_lock_free);
std::array<struct sigaction, kEnding.size()> before;

/// Removes the file and lets the signal do what it does.
extern "C" void remove_and_end(int signal)
{
    if (const char *const name = doomed) unlinkat(folder_of_doomed, name, 0);
    raise(signal); // comes when this returns, with its default again
}

/// From now on `name` is removed by the signals, but for those that do not end the program.
void doom(int folder, const char *name)
{
    assert(!doomed);
    folder_of_doomed = folder;
    doomed = name;
    struct sigaction removal {};
    removal.sa_handler = remove_and_end;
    removal.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < kEnding.size(); ++i) {
        sigaction(kEnding[i], nullptr, &before[i]);
        if (before[i].sa_handler == SIG_DFL) sigaction(kEnding[i], &removal, nullptr);
    }
}

void spare()
{
    for (std::size_t i = 0; i < kEnding.size(); ++i) sigaction(kEnding[i], &before[i], nullptr);
    doomed = nullptr;
}

} // namespace

temporary_name::temporary_name(int folder, const std::function<bool(const char *)> &make)
    : folder_{folder}
{
    const std::string start = ".tonelink." + std::to_string(getpid()) + '.';
    for (int i = 0; i < kMostNames; ++i) {
        name_ = start + std::to_string(i);
        doom(folder, name_.c_str()); // before it is there, so that it is never there without
        is_made_ = make(name_.c_str());
        if (is_made_) return;
        const int reason = errno;
        spare();
        errno = reason;
        if (reason != EEXIST) return;
    }
}

temporary_name::~temporary_name()
{
    if (!is_made_) return;
    unlinkat(folder_, name_.c_str(), 0);
    spare();
}

bool temporary_name::move_beside(const std::string &place)
{
    if (move_to(place, RENAME_NOREPLACE)) return true;
    return errno == EINVAL && move_over(place); // some file systems always replace
}

bool temporary_name::move_to(const std::string &place, unsigned int flags)
{
    if (renameat2(folder_, name_.c_str(), folder_, place.c_str(), flags) != 0) return false;
    spare();
    is_made_ = false;
    return true;
}

} // namespace tonelink::tool
