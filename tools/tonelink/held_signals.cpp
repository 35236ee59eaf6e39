#include "held_signals.h"

#include <initializer_list>

namespace tonelink::tool {

held_signals::held_signals()
{
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
}

held_signals::~held_signals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

} // namespace tonelink::tool
