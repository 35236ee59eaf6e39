#include "send/transmission.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <tonelink/payload.h>
#include <tonelink/service.h>
#include <tonelink/transmit.h>
#include <tonelink_platform/host.h>

#include "arguments.h"
#include "burst_shape.h"

namespace tonelink::tool {
namespace {

constexpr int kSoundType = 1;
constexpr int kLoudest = 100;

std::string line_of_host(size_t (*get)(char *text, size_t size))
{
    std::array<char, 512> line{};
    get(line.data(), line.size());
    return line.data();
}

/// What the host platform last could not do, or nothing.
std::string last_error() { return line_of_host(tonelink_host_get_last_error); }

/// `what` went wrong, with the host platform's reason where it has given one since `error_before`.
failure failed(const std::string &what, const std::string &error_before, exit_status becomes)
{
    const std::string reason = last_error();
    return failure{reason == error_before ? what : what + ": " + reason, becomes};
}

uint64_t copies_a_write(player by) { return by == player::standalone ? 1 : 5; }

/// Makes a message the one that the service sends: its first 32 bits lie where a PIN does, the
/// others where the last two octets of an address do.
void prepare(const message_bits &message)
{
    std::array<char, 16> address{};
    const bool is_long = message.size() > 32;
    std::snprintf(address.data(), address.size(), "0:0:0:0:%X:%X",
                  is_long ? field_of(message, 32, 8) : 0u, is_long ? field_of(message, 40, 8) : 0u);
    set_pin_in_ultrasound(static_cast<int32_t>(field_of(message, 0, 32)), address.data());
}

} // namespace

bluetooth_address own_address()
{
    const std::string error_before = last_error();
    const std::unique_ptr<char, decltype(&std::free)> text{Get_TV_BD_Addr(), std::free};
    if (!text)
        throw failed("--address is needed, as this machine does not tell one of its own",
                     error_before, kDeviceError);
    return parse_address(text.get());
}

volumes read_volumes()
{
    volumes now{};
    sound_manager_get_master_volume(&now.master);
    sound_manager_get_volume(kSoundType, &now.sound);
    now.floor = tonelink_host_get_ultrasound_floor();
    now.heard = tonelink_host_get_heard_level();
    return now;
}

std::string last_warning() { return line_of_host(tonelink_host_get_last_warning); }

void turn_master_volume(int step)
{
    int volume = 0;
    sound_manager_get_master_volume(&volume);
    sound_manager_set_master_volume(std::clamp(volume + step, 0, kLoudest));
}

void put_volumes_back(const volumes &before)
{
    sound_manager_unset_master_volume_changed_cb(); // or it would set the sound's anew
    if (before.floor < 0) sound_manager_unset_ultrasound_volume_min();
    sound_manager_set_volume(kSoundType, before.sound);
}

transmission::transmission(const transmission_plan &plan)
    : plan_{plan}, samples_before_{tonelink_host_get_samples_played()}, error_before_{last_error()}
{
    if (plan.by == player::standalone)
        start_standalone();
    else
        start_service();
    running_ = true;
}

void transmission::start_service()
{
    set_tx_sample_rate(plan_.rate);
    prepare(plan_.message);
    const int32_t packet_type = plan_.message.size() == 32 ? 1 : 2;
    const int32_t started = plan_.by == player::thread
                                ? start_audio_transmitting_type(packet_type)
                                : start_audio_transmitting_async_type(packet_type);
    if (started == 1) return;
    if (started == -1 && get_tv_volume() == 0)
        throw device_failure{"the start was refused (-1): nothing is sent at a master volume of 0; "
                             "--master-volume 1 to 100 is right"};
    if (started == -1) throw failed("no message could be made (-1)", error_before_, kFailed);
    throw failed("the player did not start (" + std::to_string(started) + ")", error_before_,
                 plan_.failed_output);
}

void transmission::start_standalone()
{
    const uint32_t value = plan_.message.size() == 32 ? field_of(plan_.message, 0, 32) : UINT32_MAX;
    if (value > INT32_MAX)
        throw wrong_usage{"--player standalone sends 32 bits of which the first is 0; "
                          "thread or callback is right for this message"};
    if (GenerateMessage(static_cast<int32_t>(value), 1) != 1)
        throw failure{"no burst could be made (0)"};
    // It returns 1 also when it has no output; what the platform says tells.
    StartTransmitting(static_cast<int32_t>(plan_.copies), plan_.rate);
    if (last_error() == error_before_) return;
    StopTransmitting();
    throw failed("the player did not start", error_before_, plan_.failed_output);
}

transmission::~transmission()
{
    try {
        stop();
    } catch (const failure &) { // on the way out for another reason, which is the one to tell
    }
}

uint64_t transmission::samples_played() const
{
    return tonelink_host_get_samples_played() - samples_before_;
}

uint64_t transmission::copies_played() const { return samples_played() / kBurstSamples; }

bool transmission::is_at_last_write() const
{
    return plan_.copies > 0 &&
           samples_played() > samples_before_last_write(plan_.copies, copies_a_write(plan_.by));
}

void transmission::check_output() const
{
    if (last_error() != error_before_)
        throw failed("the output failed", error_before_, plan_.failed_output);
}

void transmission::stop()
{
    if (!running_) return;
    running_ = false;
    if (plan_.by == player::standalone) {
        StopTransmitting(); // 0 as well when a counted run has ended by itself
        return;
    }
    const int32_t stopped =
        plan_.by == player::thread ? stop_audio_transmitting() : stop_audio_transmitting_async();
    if (stopped != 1)
        throw failed("the transmission did not stop as it should (" + std::to_string(stopped) + ")",
                     error_before_, plan_.failed_output);
}

uint64_t samples_before_last_write(uint64_t copies, uint64_t copies_a_write)
{
    return (copies - 1) / copies_a_write * copies_a_write * kBurstSamples;
}

} // namespace tonelink::tool
