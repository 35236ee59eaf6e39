#include "support/fake_platform.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <sstream>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <utility>

#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/bluetooth.h"
#include "tonelink_platform/log.h"
#include "tonelink_platform/system_info.h"

struct sound_stream_info_s {
    std::size_t id;
    bool alive = true;
};

struct audio_out_s {
    std::size_t id;
    bool alive = true;
    sound_stream_info_s *info = nullptr;
    audio_out_stream_cb callback = nullptr;
    void *user_data = nullptr;
    std::jthread device{};
};

namespace tonelink::test {

// Programs that know nothing of the fake get a device that plays.
#ifndef FAKE_DEVICE_PLAYS
#define FAKE_DEVICE_PLAYS false
#endif
fake_platform platform{.device_plays = FAKE_DEVICE_PLAYS};

namespace {

constexpr int kFailure = -99;     // of fail_any()
constexpr int kNoSuchVolume = 77; // what a read that fails stores

/// A call, which comes from no file, or a line of log.
struct entry {
    bool by_control;
    std::string text;
    std::string file{};
    std::string function{};
};

/// What reset() clears.
struct books {
    std::thread::id control{};
    std::vector<entry> entries{};
    std::map<std::string, std::pair<int, int>> failures{}; // how many to come, and their code
    std::map<std::string, std::function<void()>> hooks{};
    std::string misuse{};
    // Kept, so that the use of a dead one is seen.
    std::vector<std::unique_ptr<audio_out_s>> outputs{};
    std::vector<std::unique_ptr<sound_stream_info_s>> infos{};
    sound_manager_master_volume_changed_cb listener = nullptr;
    int listener_calls = 0; // under way
    int calls = 0;          // that can fail
    int own_calls = 0;      // those of the test's thread
    int failing_call = -1;
    std::pair<int, int> failing_own_calls{-1, -1};
    bool fails_for_good = false;
    std::string failed_call{};
    int write_count = 0;
};

std::mutex mutex; // of all that follows; never held while calling out
std::condition_variable written;
std::condition_variable listener_returned;
books now;
std::vector<pthread_t> threads; // of the library, that nobody has joined

using lock = std::unique_lock<std::mutex>;

bool is_by_control() { return std::this_thread::get_id() == now.control; }

std::string name_of(const audio_out_s *out)
{
    return out ? "out" + std::to_string(out->id) : "null";
}

std::string name_of(const sound_stream_info_s *info)
{
    return info ? "info" + std::to_string(info->id) : "null";
}

/// What the script has for a call or a line of log.
void run_hook(const std::string &name)
{
    std::function<void()> hook;
    {
        const lock held{mutex};
        if (const auto found = now.hooks.find(name); found != now.hooks.end()) hook = found->second;
    }
    if (hook) hook();
}

/// Records a call; its scripted result, 0 for success.
template <class... Arguments> int record(const char *name, Arguments... arguments)
{
    std::ostringstream call;
    [[maybe_unused]] const char *separator = "";
    call << name << '(';
    ((call << std::exchange(separator, ", ") << arguments), ...);
    call << ')';
    {
        const lock held{mutex};
        now.entries.push_back({is_by_control(), call.str()});
    }
    run_hook(name);
    const lock held{mutex};
    const int index = now.calls++;
    const int own_index = is_by_control() ? now.own_calls++ : -2;
    auto &[count, code] = now.failures[name];
    if (index == now.failing_call || own_index == now.failing_own_calls.first) {
        now.failed_call = name;
        if (now.fails_for_good) now.failures[name] = {INT_MAX, kFailure};
        return kFailure;
    }
    if (own_index == now.failing_own_calls.second) return kFailure;
    return count > 0 ? (--count, code) : 0;
}

/// record() for a call on an output, which must be alive.
template <class... Arguments>
int record_on(const char *name, const audio_out_s *out, Arguments... arguments)
{
    const int result = record(name, name_of(out), arguments...);
    if (out == nullptr) return -22;
    const lock held{mutex};
    if (out->alive) return result;
    now.misuse += std::string{name} + " on dead " + name_of(out) + "; ";
    return -22;
}

/// What a recorded call does if it succeeds; its result.
template <class Effect> int then(int result, Effect take_effect)
{
    const lock held{mutex};
    if (result == 0) take_effect();
    return result;
}

/// The entries for which `wanted` holds, as trace() says.
template <class Predicate> std::string rendered(Predicate wanted)
{
    std::string all;
    std::string file;
    for (const auto &e : now.entries) {
        if (!wanted(e)) continue;
        if (!e.file.empty() && e.file != file) all += '[' + (file = e.file) + "]\n";
        if (!e.file.empty()) all += e.function + ": ";
        for (const char c : e.text) all += c == '\n' ? "\\n" : std::string{c};
        all += '\n';
    }
    return all;
}

/// What a recorded call reads; its result.
int read(int result, int *to, const int &value)
{
    const lock held{mutex};
    *to = result == 0 ? value : kNoSuchVolume;
    return result;
}

/// Whether all text of a line stands in its format, where a log that keeps formats finds it: what
/// is filled in are numbers, names of errors, an address and a PIN.
bool is_literal(std::string_view format)
{
    format.remove_prefix(std::min(format.size(), std::size_t{2})); // the file
    for (std::size_t at = 0; (at = format.find("%s", at + 1)) != format.npos;)
        if (format.substr(0, at).find(']') != format.npos && !format.substr(0, at).ends_with('[') &&
            !format.substr(0, at).ends_with('=') && !format.substr(0, at).ends_with("= ") &&
            !format.substr(0, at).ends_with("failed "))
            return false;
    return true;
}

template <class Record> Record *make_in(std::vector<std::unique_ptr<Record>> &records)
{
    if (platform.reuses_handles)
        for (const auto &dead : records)
            if (!dead->alive) return dead->alive = true, dead.get();
    records.push_back(std::make_unique<Record>(Record{.id = records.size() + 1}));
    return records.back().get();
}

template <class Record>
std::string alive_in(const std::vector<std::unique_ptr<Record>> &records, const char *what)
{
    const auto count = std::ranges::count_if(records, [](const auto &r) { return r->alive; });
    return count != 0 ? std::to_string(count) + what : "";
}

} // namespace

void fake_platform::reset()
{
    now.outputs.clear(); // stops their devices
    *this = {};
    now = {.control = std::this_thread::get_id()};
}

void fake_platform::fail(const std::string &name, int code, int count)
{
    const lock held{mutex};
    now.failures[name] = {count, code};
}

void fake_platform::fail_any(int index)
{
    fail_two(-1, -1);
    const lock held{mutex};
    now.failing_call = index;
}

void fake_platform::fail_two(int first, int second)
{
    const lock held{mutex};
    now.calls = now.own_calls = 0;
    now.failing_call = -1;
    now.failing_own_calls = {first, second};
    now.fails_for_good = false;
}

void fake_platform::fail_for_good(int index)
{
    fail_any(index);
    const lock held{mutex};
    now.fails_for_good = true;
}

std::string fake_platform::failed() const
{
    const lock held{mutex};
    return now.failed_call;
}

int fake_platform::own_calls() const
{
    const lock held{mutex};
    return now.own_calls;
}

void fake_platform::on(const std::string &name, std::function<void()> hook)
{
    const lock held{mutex};
    now.hooks[name] = std::move(hook);
}

void fake_platform::run_callback()
{
    for (const auto &out : now.outputs)
        if (out->alive && out->callback)
            std::thread{out->callback, out.get(), 4096u, out->user_data}.join();
}

void fake_platform::turn_master_volume(unsigned to)
{
    sound_manager_master_volume_changed_cb heard_by = nullptr;
    {
        const lock held{mutex};
        master_volume = tv_master_volume = static_cast<int>(to);
        heard_by = now.listener;
        if (heard_by == nullptr) return;
        ++now.listener_calls;
    }
    std::thread{heard_by, to, nullptr}.join();
    const lock held{mutex};
    --now.listener_calls;
    listener_returned.notify_all();
}

void fake_platform::wait_for_writes(int count)
{
    lock held{mutex};
    written.wait(held, [count] { return now.write_count >= count; });
}

std::string fake_platform::trace(by whom) const
{
    const lock held{mutex};
    return rendered([whom](const entry &e) {
        return whom == by::all || e.by_control == (whom == by::control);
    });
}

std::string fake_platform::said(const std::string &by) const
{
    const lock held{mutex};
    return rendered([&by](const entry &e) { return e.function == by || e.file == by; });
}

int fake_platform::count(const std::string &text) const
{
    const lock held{mutex};
    return static_cast<int>(std::ranges::count(now.entries, text, &entry::text));
}

int fake_platform::writes_made() const
{
    const lock held{mutex};
    return now.write_count;
}

void fake_platform::forget()
{
    const lock held{mutex};
    now.entries = {}; // and their memory
    writes.clear();
    now.write_count = 0;
}

std::string fake_platform::left_over() const
{
    const lock held{mutex};
    return now.misuse + alive_in(now.outputs, " outputs; ") +
           alive_in(now.infos, " stream infos; ") + (now.listener ? "listener; " : "") +
           (threads.empty() ? "" : std::to_string(threads.size()) + " threads; ");
}

} // namespace tonelink::test

using namespace tonelink::test;

extern "C" {

int audio_out_create_new(int rate, int channel, int sample_type, audio_out_h *out)
{
    return then(record(__func__, rate, channel, sample_type), [out] {
        *out = make_in(now.outputs);
        now.write_count = 0;
    });
}

int audio_out_set_sound_stream_info(audio_out_h out, sound_stream_info_h info)
{
    return then(record_on(__func__, out, name_of(info)), [=] { out->info = info; });
}

int audio_out_prepare(audio_out_h out)
{
    return then(record_on(__func__, out), [out] {
        if (!platform.device_plays || !out->callback || out->device.joinable()) return;
        out->device = std::jthread{[out](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                out->callback(out, 4096, out->user_data);
                std::this_thread::sleep_for(std::chrono::microseconds{100});
            }
        }};
    });
}

int audio_out_unprepare(audio_out_h out)
{
    const int result = record_on(__func__, out);
    if (result == 0) out->device = {}; // waits for its callback
    return result;
}

int audio_out_destroy(audio_out_h out)
{
    const int result = record_on(__func__, out);
    if (result == 0) out->device = {};
    return then(result, [out] {
        out->alive = false;
        if (platform.reuses_handles) out->info->alive = false;
    });
}

int audio_out_write(audio_out_h out, const void *buffer, unsigned int bytes)
{
    const int result = record_on(__func__, out, bytes);
    const lock held{mutex};
    ++now.write_count;
    written.notify_all();
    if (result != 0) return result;
    const auto *samples = static_cast<const int16_t *>(buffer);
    if (platform.keeps_samples) platform.writes.emplace_back(samples, samples + bytes / 2);
    return static_cast<int>(bytes);
}

int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback, void *user_data)
{
    return then(record_on(__func__, out), [=] {
        out->callback = callback;
        out->user_data = user_data;
    });
}

int audio_out_unset_stream_cb(audio_out_h out)
{
    const int result = record_on(__func__, out);
    if (result == 0) out->device = {};
    return then(result, [out] { out->callback = nullptr; });
}

int sound_manager_create_stream_information(int type, void *, void *, sound_stream_info_h *info)
{
    return then(record(__func__, type), [info] {
        if (platform.has_stream_info) *info = make_in(now.infos);
    });
}

int sound_manager_destroy_stream_information(sound_stream_info_h info)
{
    return then(record(__func__, name_of(info)), [info] {
        if (info == nullptr) return;
        if (!info->alive) now.misuse += "dead stream info destroyed; ";
        for (const auto &out : now.outputs)
            if (out->alive && out->info == info)
                now.misuse += "stream info of a live output destroyed; ";
        info->alive = false;
    });
}

int sound_manager_get_volume(int type, int *value)
{
    return read(record(__func__, type), value, platform.volume);
}

int sound_manager_set_volume(int type, int value)
{
    return then(record(__func__, type, value), [=] { platform.volume = value; });
}

int sound_manager_get_max_volume(int type, int *value)
{
    return read(record(__func__, type), value, platform.max_volume);
}

int sound_manager_get_master_volume(int *value)
{
    return read(record(__func__), value, platform.master_volume);
}

int sound_manager_set_master_volume(int value)
{
    return then(record(__func__, value), [=] { platform.master_volume = value; });
}

int sound_manager_get_tv_master_volume(int *value)
{
    return read(record(__func__), value, platform.tv_master_volume);
}

int sound_manager_set_ultrasound_volume_min(int value)
{
    return then(record(__func__, value), [=] { platform.floor = value; });
}

int sound_manager_unset_ultrasound_volume_min(void)
{
    return then(record(__func__), [] { platform.floor = 0; });
}

int sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb callback,
                                               void *user_data)
{
    return then(record(__func__, user_data ? "data" : "null"), [=] { now.listener = callback; });
}

int sound_manager_unset_master_volume_changed_cb(void)
{
    const int result = record(__func__);
    lock held{mutex};
    if (result != 0) return result;
    now.listener = nullptr;
    listener_returned.wait(held, [] { return now.listener_calls == 0; });
    return 0;
}

int bt_adapter_get_address(char **address)
{
    return then(record(__func__), [address] {
        if (!platform.address.empty()) *address = strdup(platform.address.c_str());
    });
}

int system_info_get_custom_bool(const char *key, bool *value)
{
    if (const int result = record(__func__, key)) return result;
    if (!platform.av_product) return -1;
    *value = *platform.av_product;
    return 0;
}

int __dlog_print(int log_id, int priority, const char *tag, const char *format, ...)
{
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);

    if (!is_literal(format)) {
        const lock held{mutex};
        now.misuse += std::string{"text that is not in its format: "} + format + "; ";
    }
    // "file: function(line) > [function:line] text"
    char file[64], function[64], function_again[64];
    int at = 0, at_again = 0, length = 0;
    std::sscanf(line, "%63[^:]: %63[^(](%d) > [%63[^:]:%d]%n", file, function, &at, function_again,
                &at_again, &length);
    if (log_id != 0 || priority != 4 || std::strcmp(tag, "TONE_LINK_LOG") != 0 || length == 0 ||
        std::strcmp(function, function_again) != 0 || at != at_again || line[length] != ' ') {
        const lock held{mutex};
        now.misuse += std::string{"bad line of log: "} + line + "; ";
        return -1;
    }
    const std::string text = line + length + 1;
    run_hook(text);
    const lock held{mutex};
    now.entries.push_back({is_by_control(), text, file, function});
    return 0;
}

int __wrap_usleep(useconds_t duration);
int __wrap_usleep(useconds_t duration)
{
    if (!platform.has_pauses) return 0;
    record("usleep", duration);
    std::this_thread::sleep_for(std::chrono::microseconds{100});
    return 0;
}

int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument)
{
    if (record("pthread_create") != 0) return EAGAIN;
    return then(__real_pthread_create(thread, attributes, body, argument),
                [=] { threads.push_back(*thread); });
}

int __real_pthread_join(pthread_t, void **);
int __wrap_pthread_join(pthread_t thread, void **result);
int __wrap_pthread_join(pthread_t thread, void **result)
{
    record("pthread_join");
    {
        const lock held{mutex};
        if (std::erase(threads, thread) == 0) {
            now.misuse += "no such thread to be joined; ";
            return ESRCH;
        }
    }
    return __real_pthread_join(thread, result);
}
}
