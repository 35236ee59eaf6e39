// What an output plays to. A sink is used by one thread at a time, and takes samples at the pace at
// which they are heard, with a small buffer between.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tonelink::host {

class sink {
public:
    virtual ~sink() = default;

    /// Takes the samples; returns when the buffer has room for more. Throws a failure when it
    /// cannot.
    virtual void play(std::span<const std::int16_t> samples) = 0;

    /// Returns when everything taken has been heard.
    virtual void drain() noexcept = 0;
};

/// The sinks; each opens for mono sound at `rate` samples a second, or throws a failure.
std::unique_ptr<sink> open_wav_sink(const std::string &path, int rate);
std::unique_ptr<sink> open_alsa_sink(const std::string &device, int rate);
std::unique_ptr<sink> open_null_sink(int rate);

/// The one that stands for the file "-".
std::unique_ptr<sink> open_wav_stream(int rate);

/// Opens the sink that the program or the environment has chosen.
std::unique_ptr<sink> open_chosen_sink(int rate);

} // namespace tonelink::host
