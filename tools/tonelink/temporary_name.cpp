#include "temporary_name.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include <unistd.h>

namespace tonelink::tool {
namespace {

constexpr std::array kEnding{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kMostNames = 1000;

std::atomic<const char *> doomed{nullptr}; // what goes when a signal comes
static_assert(std::atomic<const char *>::is_always_lock_free);
std::array<struct sigaction, kEnding.size()> before;

/// Removes the file and lets the signal do what it does.
extern "C" void remove_and_end(int signal)
{
    if (const char *const name = doomed) unlink(name);
    raise(signal); // comes when this returns, with its default again
}

/// From now on `name` is removed by the signals, but for those that do not end the program.
void doom(const char *name)
{
    assert(!doomed);
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

temporary_name::temporary_name(const std::string &folder,
                               const std::function<bool(const char *)> &make)
{
    const std::filesystem::path start =
        std::filesystem::path{folder} / (".tonelink." + std::to_string(getpid()) + '.');
    for (int i = 0; i < kMostNames; ++i) {
        name_ = start.string() + std::to_string(i);
        doom(name_.c_str()); // before it is there, so that it is never there without
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
    unlink(name_.c_str());
    spare();
}

bool temporary_name::move_to(const std::string &place)
{
    if (std::rename(name_.c_str(), place.c_str()) != 0) return false;
    spare();
    is_made_ = false;
    return true;
}

} // namespace tonelink::tool
