// The client library is the user's who has a server: it is loaded when one is in use, not before.
#include "sound/sound_server.h"

#include <memory>

#include <dlfcn.h>
#include <pulse/pulseaudio.h>
#include <sys/time.h>

namespace tonelink::sound {

namespace {

/// The functions of the client library, of which one is missing when it is false.
class client_library {
public:
    client_library() : library_{dlopen("libpulse.so.0", RTLD_NOW | RTLD_LOCAL)}
    {
        complete_ = library_ != nullptr;
        load(mainloop_new, "pa_mainloop_new");
        load(mainloop_free, "pa_mainloop_free");
        load(mainloop_get_api, "pa_mainloop_get_api");
        load(mainloop_iterate, "pa_mainloop_iterate");
        load(context_new, "pa_context_new");
        load(context_unref, "pa_context_unref");
        load(context_connect, "pa_context_connect");
        load(context_disconnect, "pa_context_disconnect");
        load(context_get_state, "pa_context_get_state");
        load(get_sink_info, "pa_context_get_sink_info_by_name");
        load(get_source_info, "pa_context_get_source_info_by_name");
        load(operation_get_state, "pa_operation_get_state");
        load(operation_unref, "pa_operation_unref");
    }

    explicit operator bool() const { return complete_; }

    decltype(&pa_mainloop_new) mainloop_new;
    decltype(&pa_mainloop_free) mainloop_free;
    decltype(&pa_mainloop_get_api) mainloop_get_api;
    decltype(&pa_mainloop_iterate) mainloop_iterate;
    decltype(&pa_context_new) context_new;
    decltype(&pa_context_unref) context_unref;
    decltype(&pa_context_connect) context_connect;
    decltype(&pa_context_disconnect) context_disconnect;
    decltype(&pa_context_get_state) context_get_state;
    decltype(&pa_context_get_sink_info_by_name) get_sink_info;
    decltype(&pa_context_get_source_info_by_name) get_source_info;
    decltype(&pa_operation_get_state) operation_get_state;
    decltype(&pa_operation_unref) operation_unref;

private:
    template <class Function> void load(Function &function, const char *name)
    {
        function = library_ ? reinterpret_cast<Function>(dlsym(library_, name)) : nullptr;
        complete_ = complete_ && function != nullptr;
    }

    void *library_; // stays for the life of the process, as the ALSA plug-in's own does
    bool complete_;
};

template <class Info> void keep_rate(pa_context *, const Info *info, int, void *rate)
{
    if (info != nullptr) *static_cast<unsigned int *>(rate) = info->sample_spec.rate;
}

constexpr int kPatienceSeconds = 2; // a server that is well answers within milliseconds

/// Ends the turns of a loop once the server has had its time.
void limit_time(pa_mainloop_api *loop)
{
    timeval end{};
    gettimeofday(&end, nullptr);
    end.tv_sec += kPatienceSeconds;
    loop->time_new(
        loop, &end,
        [](pa_mainloop_api *late, pa_time_event *, const timeval *, void *) {
            late->quit(late, 0);
        },
        nullptr);
}

/// Turns the loop until the connection stands; false when it does not come about.
bool wait_for_connection(const client_library &pulse, pa_mainloop *loop, pa_context *context)
{
    for (;;) {
        const pa_context_state_t state = pulse.context_get_state(context);
        if (state == PA_CONTEXT_READY) return true;
        if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED) return false;
        if (pulse.mainloop_iterate(loop, 1, nullptr) < 0) return false;
    }
}

} // namespace

std::optional<unsigned int> sound_server_rate(server_side side)
{
    static const client_library pulse;
    if (!pulse) return std::nullopt;
    const std::unique_ptr<pa_mainloop, decltype(pulse.mainloop_free)> loop{pulse.mainloop_new(),
                                                                           pulse.mainloop_free};
    if (!loop) return std::nullopt;
    limit_time(pulse.mainloop_get_api(loop.get()));
    const std::unique_ptr<pa_context, decltype(pulse.context_unref)> context{
        pulse.context_new(pulse.mainloop_get_api(loop.get()), "Tone Link"), pulse.context_unref};
    if (!context ||
        pulse.context_connect(context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        !wait_for_connection(pulse, loop.get(), context.get()))
        return std::nullopt;

    unsigned int rate = 0;
    pa_operation *const question =
        side == server_side::sink
            ? pulse.get_sink_info(context.get(), "@DEFAULT_SINK@", keep_rate<pa_sink_info>, &rate)
            : pulse.get_source_info(context.get(), "@DEFAULT_SOURCE@", keep_rate<pa_source_info>,
                                    &rate);
    if (question != nullptr) {
        while (pulse.operation_get_state(question) == PA_OPERATION_RUNNING &&
               pulse.mainloop_iterate(loop.get(), 1, nullptr) >= 0) {
        }
        pulse.operation_unref(question);
    }
    pulse.context_disconnect(context.get());
    return rate > 0 ? std::optional{rate} : std::nullopt;
}

} // namespace tonelink::sound
