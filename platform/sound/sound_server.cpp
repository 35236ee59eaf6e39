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
        load(get_sink_list, "pa_context_get_sink_info_list");
        load(get_source_list, "pa_context_get_source_info_list");
        load(get_server_info, "pa_context_get_server_info");
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
    decltype(&pa_context_get_sink_info_list) get_sink_list;
    decltype(&pa_context_get_source_info_list) get_source_list;
    decltype(&pa_context_get_server_info) get_server_info;
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

/// A connection with the server, over which one question at a time is asked.
class connection {
public:
    explicit connection(const client_library &pulse)
        : pulse_{pulse}, loop_{pulse.mainloop_new(), pulse.mainloop_free}, context_{
                                                                               nullptr,
                                                                               pulse.context_unref}
    {
        if (!loop_) return;
        limit_time(pulse_.mainloop_get_api(loop_.get()));
        context_.reset(pulse_.context_new(pulse_.mainloop_get_api(loop_.get()), "Tone Link"));
        stands_ =
            context_ &&
            pulse_.context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0 &&
            wait_for_server();
    }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;
    ~connection()
    {
        if (stands_) pulse_.context_disconnect(context_.get());
    }

    /// Whether the server answers.
    explicit operator bool() const { return stands_; }

    /// Asks with one of the client library's functions, and waits for the answer.
    template <class Function, class... Arguments>
    void ask(Function question, Arguments... arguments)
    {
        pa_operation *const asked = question(context_.get(), arguments...);
        if (asked == nullptr) return;
        while (pulse_.operation_get_state(asked) == PA_OPERATION_RUNNING &&
               pulse_.mainloop_iterate(loop_.get(), 1, nullptr) >= 0) {
        }
        pulse_.operation_unref(asked);
    }

private:
    /// Turns the loop until the connection stands; false when it does not come about.
    bool wait_for_server()
    {
        for (;;) {
            const pa_context_state_t state = pulse_.context_get_state(context_.get());
            if (state == PA_CONTEXT_READY) return true;
            if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED) return false;
            if (pulse_.mainloop_iterate(loop_.get(), 1, nullptr) < 0) return false;
        }
    }

    const client_library &pulse_;
    std::unique_ptr<pa_mainloop, decltype(client_library::mainloop_free)> loop_;
    std::unique_ptr<pa_context, decltype(client_library::context_unref)> context_;
    bool stands_ = false;
};

/// Nothing where it is not on this machine.
const client_library *installed_library()
{
    static const client_library pulse;
    return pulse ? &pulse : nullptr;
}

using device_list = std::vector<server_device>;

constexpr server_side side_of(const pa_sink_info &) { return server_side::sink; }
constexpr server_side side_of(const pa_source_info &) { return server_side::source; }

std::string text_of(const char *text) { return text != nullptr ? text : ""; }

/// As both servers and their users name the modules that do so.
bool names_echo_canceller(const std::string &text)
{
    return text.find("echo-cancel") != std::string::npos ||
           text.find("echo_cancel") != std::string::npos ||
           text.find("echocancel") != std::string::npos;
}

template <class Info> void keep_device(pa_context *, const Info *info, int, void *devices)
{
    if (info == nullptr) return;
    const std::string name = text_of(info->name);
    static_cast<device_list *>(devices)->push_back(
        {name, text_of(info->description), side_of(*info), info->sample_spec.rate,
         info->sample_spec.channels, false,
         names_echo_canceller(name) || names_echo_canceller(text_of(info->driver))});
}

void mark_defaults(pa_context *, const pa_server_info *info, void *devices)
{
    if (info == nullptr) return;
    for (server_device &device : *static_cast<device_list *>(devices))
        device.is_default =
            device.name == text_of(device.side == server_side::sink ? info->default_sink_name
                                                                    : info->default_source_name);
}

} // namespace

std::optional<unsigned int> sound_server_rate(server_side side, const std::string &name)
{
    const client_library *const pulse = installed_library();
    if (pulse == nullptr) return std::nullopt;
    connection server{*pulse};
    if (!server) return std::nullopt;
    unsigned int rate = 0;
    if (side == server_side::sink)
        server.ask(pulse->get_sink_info, name.empty() ? "@DEFAULT_SINK@" : name.c_str(),
                   keep_rate<pa_sink_info>, &rate);
    else
        server.ask(pulse->get_source_info, name.empty() ? "@DEFAULT_SOURCE@" : name.c_str(),
                   keep_rate<pa_source_info>, &rate);
    return rate > 0 ? std::optional{rate} : std::nullopt;
}

std::vector<server_device> sound_server_devices()
{
    device_list devices;
    const client_library *const pulse = installed_library();
    if (pulse == nullptr) return devices;
    connection server{*pulse};
    if (!server) return devices;
    server.ask(pulse->get_sink_list, keep_device<pa_sink_info>, &devices);
    server.ask(pulse->get_source_list, keep_device<pa_source_info>, &devices);
    server.ask(pulse->get_server_info, mark_defaults, &devices);
    return devices;
}

} // namespace tonelink::sound
