// A sink that writes a WAV file to standard output as it comes. A pipe cannot be gone back in, so
// the header says of both lengths that they are not known.

#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include "pacer.h"
#include "result.h"
#include "sink.h"

namespace tonelink::host {

namespace {

constexpr std::uint32_t kUnknown = 0xFFFFFFFF;

failure cannot(const std::string &what, const std::string &why)
{
    return {kDeviceNotOpened, "cannot " + what + " standard output: " + why};
}

void write_all(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) { // who shares it may have set it so
            pollfd room{STDOUT_FILENO, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            throw cannot("write the sound to", std::strerror(errno));
        }
    }
}

/// Mono, 16 bits.
std::array<std::byte, 44> header_for(int rate)
{
    std::array<std::byte, 44> header{};
    auto at = header.begin();
    const auto text = [&at](const char *four) {
        for (int i = 0; i < 4; ++i) *at++ = static_cast<std::byte>(four[i]);
    };
    const auto number = [&at](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) *at++ = static_cast<std::byte>(value >> 8 * i);
    };
    const auto samples = static_cast<std::uint32_t>(rate);
    text("RIFF");
    number(kUnknown, 4);
    text("WAVE");
    text("fmt ");
    number(16, 4);
    number(1, 2); // PCM
    number(1, 2); // channel
    number(samples, 4);
    number(2 * samples, 4); // bytes a second
    number(2, 2);           // bytes a sample
    number(16, 2);
    text("data");
    number(kUnknown, 4);
    return header;
}

std::vector<std::uint8_t> little_endian(std::span<const std::int16_t> samples)
{
    std::vector<std::uint8_t> bytes;
    for (const std::int16_t sample : samples) {
        const auto bits = static_cast<std::uint16_t>(sample);
        bytes.push_back(static_cast<std::uint8_t>(bits));
        bytes.push_back(static_cast<std::uint8_t>(bits >> 8));
    }
    return bytes;
}

/// What has been done to standard output; never destroyed, as an output may be open while the
/// process ends.
struct stream_state {
    std::mutex mutex;
    bool is_busy = false;
    int rate = 0; // 0: nothing is written yet
};

stream_state &state()
{
    static auto &only = *new stream_state;
    return only;
}

class wav_stream final : public sink {
public:
    explicit wav_stream(int rate) : pacer_{rate}
    {
        const std::lock_guard lock{state().mutex};
        if (state().is_busy)
            throw failure{kDeviceNotClosed, "standard output is being written by another output"};
        if (state().rate == 0)
            write_all(header_for(rate));
        else if (state().rate != rate)
            throw cannot("append to", "its sound is not at " + std::to_string(rate) + " Hz");
        state().rate = rate;
        state().is_busy = true;
    }
    ~wav_stream() override
    {
        const std::lock_guard lock{state().mutex};
        state().is_busy = false;
    }

    void play(std::span<const std::int16_t> samples) override
    {
        const auto bytes = little_endian(samples);
        write_all(std::as_bytes(std::span{bytes}));
        pacer_.take(samples.size());
    }

    void drain() noexcept override { pacer_.drain(); }

private:
    pacer pacer_;
};

} // namespace

std::unique_ptr<sink> open_wav_stream(int rate) { return std::make_unique<wav_stream>(rate); }

} // namespace tonelink::host
