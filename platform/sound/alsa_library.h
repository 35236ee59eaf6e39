// The ALSA library, as its header must be included, and without the lines that it prints.
#pragma once

#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

// One of its declarations lies outside the extern "C" that it has of its own. What it includes must
// not come into this one: it is above.
extern "C" {
#include <alsa/asoundlib.h>
}

namespace tonelink::sound {

/// While it lives, the ALSA library prints nothing on this thread: who calls it tells what fails.
class alsa_message_filter {
public:
    alsa_message_filter() : before_{snd_lib_error_set_local(ignore)} {}
    alsa_message_filter(const alsa_message_filter &) = delete;
    alsa_message_filter &operator=(const alsa_message_filter &) = delete;
    ~alsa_message_filter() { snd_lib_error_set_local(before_); }

private:
    static void ignore(const char *, int, const char *, int, const char *, va_list) {}

    snd_local_error_handler_t before_;
};

} // namespace tonelink::sound
