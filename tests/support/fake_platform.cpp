#include "support/fake_platform.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/bluetooth.h"
#include "tonelink_platform/log.h"
#include "tonelink_platform/system_info.h"

struct sound_stream_info_s {
    int id;
    bool alive = true;
};

struct audio_out_s {
    int id;
    bool alive = true;
    sound_stream_info_s *info = nullptr;
    audio_out_stream_cb callback = nullptr;
    void *user_data = nullptr;
    std::thread device;
    std::atomic<bool> device_stops = false;
};

namespace tonelink::test {

// Programs that know nothing of the fake get a device that plays.
#ifndef FAKE_DEVICE_PLAYS
#define FAKE_DEVICE_PLAYS false
#endif
fake_platform platform{.device_plays = FAKE_DEVICE_PLAYS};

namespace {

constexpr int kFailure = -99; // of fail_any()

struct entry {
    bool by_control;
    std::string call; // or, when empty, a line of log:
    std::string file{};
    std::string function{};
    std::string text{};
};

struct failing_calls {
    int count;
    int code;
};

std::mutex mutex; // of all that follows; never held while calling out
std::condition_variable written;
std::thread::id control;
std::vector<entry> entries;
std::map<std::string, failing_calls> failures;
std::map<std::string, std::function<void()>> hooks;
std::vector<std::string> misuse;
// Kept until reset(), so that the use of a dead one is seen.
std::vector<std::unique_ptr<audio_out_s>> outputs;
std::vector<std::unique_ptr<sound_stream_info_s>> infos;
sound_manager_master_volume_changed_cb listener = nullptr;
int until_failure = -1;
int threads = 0; // of the library, that nobody has joined
std::string failed_call;
int write_count = 0;

using lock = std::unique_lock<std::mutex>;

std::string name_of(const audio_out_s *out)
{
    return out ? "out" + std::to_string(out->id) : "null";
}

template <class... Arguments> std::string text_of_call(const char *name, Arguments... arguments)
{
    std::ostringstream text;
    [[maybe_unused]] const char *separator = "";
    text << name << '(';
    ((text << separator << arguments, separator = ", "), ...);
    text << ')';
    return text.str();
}

/// What the script has for a call or a line of log.
void run_hook(const std::string &name)
{
    std::function<void()> hook;
    {
        const lock held{mutex};
        if (const auto found = hooks.find(name); found != hooks.end()) hook = found->second;
    }
    if (hook) hook();
}

/// Records a call; its scripted result, 0 for success.
template <class... Arguments> int record(const char *name, Arguments... arguments)
{
    {
        const lock held{mutex};
        entries.push_back(
            {std::this_thread::get_id() == control, text_of_call(name, arguments...)});
    }
    run_hook(name);
    const lock held{mutex};
    if (until_failure >= 0 && until_failure-- == 0) {
        failed_call = name;
        return kFailure;
    }
    const auto found = failures.find(name);
    if (found == failures.end()) return 0;
    auto &[count, code] = found->second;
    return count > 0 ? (--count, code) : 0;
}

/// record() for a call on an output, which must be alive.
template <class... Arguments>
int record_on(const char *name, const audio_out_s *out, Arguments... arguments)
{
    const int result = record(name, name_of(out), arguments...);
    if (out == nullptr) return -22;
    const lock held{mutex};
    if (!out->alive) misuse.push_back(std::string{name} + " on dead " + name_of(out));
    return out->alive ? result : -22;
}

void stop_device(audio_out_s &out)
{
    out.device_stops = true;
    if (out.device.joinable()) out.device.join();
    out.device_stops = false;
}

void start_device(audio_out_s &out)
{
    if (!platform.device_plays || out.device.joinable()) return;
    out.device = std::thread{[&out, callback = out.callback, user_data = out.user_data] {
        while (!out.device_stops) {
            callback(&out, 4096, user_data);
            std::this_thread::sleep_for(std::chrono::microseconds{100});
        }
    }};
}

template <class Record> auto alive_in(const std::vector<std::unique_ptr<Record>> &records)
{
    return std::ranges::count_if(records, [](const auto &record) { return record->alive; });
}

int set(int &value, int result, int to)
{
    const lock held{mutex};
    if (result == 0) value = to;
    return result;
}

int get(const int &value, int result, int *to)
{
    const lock held{mutex};
    if (result == 0) *to = value;
    return result;
}

} // namespace

void fake_platform::reset()
{
    for (const auto &out : outputs) stop_device(*out);
    outputs.clear();
    infos.clear();
    failures.clear();
    hooks.clear();
    misuse.clear();
    listener = nullptr;
    until_failure = -1;
    failed_call.clear();
    control = std::this_thread::get_id();
    *this = {};
    forget();
}

void fake_platform::fail(const std::string &name, int code, int count)
{
    const lock held{mutex};
    failures[name] = {count, code};
}

void fake_platform::fail_any(int index)
{
    const lock held{mutex};
    until_failure = index;
}

std::string fake_platform::failed() const
{
    const lock held{mutex};
    return failed_call;
}

void fake_platform::on(const std::string &name, std::function<void()> hook)
{
    const lock held{mutex};
    hooks[name] = std::move(hook);
}

void fake_platform::run_callback()
{
    for (const auto &out : outputs)
        if (out->alive && out->callback)
            std::thread{out->callback, out.get(), 4096u, out->user_data}.join();
}

void fake_platform::turn_master_volume(unsigned to)
{
    sound_manager_master_volume_changed_cb heard_by = nullptr;
    {
        const lock held{mutex};
        master_volume = tv_master_volume = static_cast<int>(to);
        heard_by = listener;
    }
    if (heard_by) std::thread{heard_by, to, nullptr}.join();
}

void fake_platform::wait_for_writes(int count)
{
    lock held{mutex};
    written.wait(held, [count] { return write_count >= count; });
}

std::string fake_platform::calls(by whom) const
{
    const lock held{mutex};
    std::string all;
    for (const auto &e : entries)
        if (!e.call.empty() && (whom == by::all || e.by_control == (whom == by::control)))
            all += (all.empty() ? "" : " ") + e.call;
    return all;
}

int fake_platform::count(const std::string &call) const
{
    const lock held{mutex};
    return static_cast<int>(std::ranges::count(entries, call, &entry::call));
}

std::string fake_platform::said(const std::string &function) const
{
    const lock held{mutex};
    std::string all;
    for (const auto &e : entries) {
        if (e.function != function) continue;
        if (all.empty()) all = e.file;
        all += (all.starts_with(e.file) ? "|" : "|in another file: ") + e.text;
    }
    return all;
}

int fake_platform::count_lines(const std::string &text) const
{
    const lock held{mutex};
    return static_cast<int>(std::ranges::count(entries, text, &entry::text));
}

void fake_platform::forget()
{
    const lock held{mutex};
    std::vector<entry>{}.swap(entries); // its memory, too: tests count that
    writes.clear();
    write_count = 0;
}

std::string fake_platform::left_over() const
{
    const lock held{mutex};
    std::string text;
    for (const auto &what : misuse) text += what + "; ";
    if (const auto count = alive_in(outputs)) text += std::to_string(count) + " outputs; ";
    if (const auto count = alive_in(infos)) text += std::to_string(count) + " stream infos; ";
    if (listener) text += "listener; ";
    if (threads != 0) text += std::to_string(threads) + " threads; ";
    return text;
}

} // namespace tonelink::test

using namespace tonelink::test;

extern "C" {

int audio_out_create_new(int rate, int channel, int sample_type, audio_out_h *out)
{
    if (const int result = record(__func__, rate, channel, sample_type)) return result;
    const lock held{mutex};
    outputs.push_back(std::make_unique<audio_out_s>());
    write_count = 0;
    *out = outputs.back().get();
    (*out)->id = static_cast<int>(outputs.size());
    return 0;
}

int audio_out_set_sound_stream_info(audio_out_h out, sound_stream_info_h info)
{
    if (const int result = record_on(__func__, out)) return result;
    out->info = info;
    return 0;
}

int audio_out_prepare(audio_out_h out)
{
    if (const int result = record_on(__func__, out)) return result;
    if (out->callback) start_device(*out);
    return 0;
}

int audio_out_unprepare(audio_out_h out)
{
    if (const int result = record_on(__func__, out)) return result;
    stop_device(*out);
    return 0;
}

int audio_out_destroy(audio_out_h out)
{
    if (const int result = record_on(__func__, out)) return result;
    stop_device(*out);
    const lock held{mutex};
    out->alive = false;
    return 0;
}

int audio_out_write(audio_out_h out, const void *buffer, unsigned int bytes)
{
    const int result = record_on(__func__, out, bytes);
    const lock held{mutex};
    ++write_count;
    written.notify_all();
    if (result != 0) return result;
    const auto *samples = static_cast<const int16_t *>(buffer);
    if (platform.keeps_samples) platform.writes.emplace_back(samples, samples + bytes / 2);
    return static_cast<int>(bytes);
}

int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback, void *user_data)
{
    if (const int result = record_on(__func__, out)) return result;
    out->callback = callback;
    out->user_data = user_data;
    return 0;
}

int audio_out_unset_stream_cb(audio_out_h out)
{
    if (const int result = record_on(__func__, out)) return result;
    stop_device(*out);
    out->callback = nullptr;
    return 0;
}

int sound_manager_create_stream_information(int type, void *, void *, sound_stream_info_h *info)
{
    if (const int result = record(__func__, type)) return result;
    const lock held{mutex};
    infos.push_back(std::make_unique<sound_stream_info_s>());
    *info = infos.back().get();
    (*info)->id = static_cast<int>(infos.size());
    return 0;
}

int sound_manager_destroy_stream_information(sound_stream_info_h info)
{
    if (const int result = record(__func__, "info" + std::to_string(info->id))) return result;
    const lock held{mutex};
    if (!info->alive) misuse.push_back("dead stream info destroyed");
    for (const auto &out : outputs)
        if (out->alive && out->info == info)
            misuse.push_back("stream info of a live output destroyed");
    info->alive = false;
    return 0;
}

int sound_manager_get_volume(int type, int *value)
{
    return get(platform.volume, record(__func__, type), value);
}

int sound_manager_set_volume(int type, int value)
{
    return set(platform.volume, record(__func__, type, value), value);
}

int sound_manager_get_max_volume(int type, int *value)
{
    return get(platform.max_volume, record(__func__, type), value);
}

int sound_manager_get_master_volume(int *value)
{
    return get(platform.master_volume, record(__func__), value);
}

int sound_manager_set_master_volume(int value)
{
    return set(platform.master_volume, record(__func__, value), value);
}

int sound_manager_get_tv_master_volume(int *value)
{
    return get(platform.tv_master_volume, record(__func__), value);
}

int sound_manager_set_ultrasound_volume_min(int value) { return record(__func__, value); }

int sound_manager_unset_ultrasound_volume_min(void) { return record(__func__); }

int sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb callback,
                                               void *user_data)
{
    if (const int result = record(__func__, user_data ? "data" : "null")) return result;
    const lock held{mutex};
    listener = callback;
    return 0;
}

int sound_manager_unset_master_volume_changed_cb(void)
{
    if (const int result = record(__func__)) return result;
    const lock held{mutex};
    listener = nullptr;
    return 0;
}

int bt_adapter_get_address(char **address)
{
    if (const int result = record(__func__)) return result;
    if (!platform.address.empty()) *address = strdup(platform.address.c_str());
    return 0;
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
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    // "file: function(line) > [function:line] text"
    char file[64] = "";
    char function[2][64] = {"", ""};
    int line[2] = {0, 0};
    int at = -1;
    std::sscanf(text, "%63[^:]: %63[^(](%d) > [%63[^:]:%d]%n", file, function[0], &line[0],
                function[1], &line[1], &at);
    if (at > 0) run_hook(text + at + 1);
    const lock held{mutex};
    if (at < 0 || text[at] != ' ' || std::strcmp(function[0], function[1]) != 0 ||
        line[0] != line[1] || log_id != 0 || priority != 4 ||
        std::strcmp(tag, "TONE_LINK_LOG") != 0) {
        misuse.push_back(std::string{"bad line of log: "} + text);
        return -1;
    }
    entries.push_back(
        {std::this_thread::get_id() == control, {}, file, function[0], text + at + 1});
    return 0;
}

int __wrap_usleep(useconds_t duration);
int __wrap_usleep(useconds_t duration)
{
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
    const int result = __real_pthread_create(thread, attributes, body, argument);
    const lock held{mutex};
    if (result == 0) ++threads;
    return result;
}

int __real_pthread_join(pthread_t, void **);
int __wrap_pthread_join(pthread_t thread, void **result);
int __wrap_pthread_join(pthread_t thread, void **result)
{
    const int failed = __real_pthread_join(thread, result);
    const lock held{mutex};
    if (failed == 0) --threads;
    return failed;
}
}
