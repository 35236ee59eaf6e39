#include "sound_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "errors.h"

namespace tonelink::tool {
namespace {

constexpr int64_t kFramesPerBlock = 16384;

/// Why a sound file could not be opened, in words for whoever named it.
failure cannot_read(const std::string &path)
{
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status))
        return failure{"cannot read " + path + ": it is a folder"};
    if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0)
        return failure{"cannot read " + path +
                       ": it is empty; a sound file is right (WAV, FLAC, ...)"};
    return failure{"cannot read " + path + ": " + sf_strerror(nullptr)};
}

} // namespace

sound_reader::sound_reader(const std::string &path, int channel)
    : path_{path}, sound_{sf_open(path.c_str(), SFM_READ, &format_)}, channel_{channel}
{
    if (!sound_) throw cannot_read(path);
    if (channel > channels())
        throw failure{path + " has no channel " + std::to_string(channel) + "; 1 to " +
                      std::to_string(channels()) + " is right, or none for a mix of all"};
    interleaved_.resize(static_cast<std::size_t>(kFramesPerBlock * channels()));
    mono_.resize(static_cast<std::size_t>(kFramesPerBlock));
}

void sound_reader::skip(int64_t count)
{
    if (format_.seekable && sf_seek(sound_.get(), count, SEEK_CUR) >= 0) return;
    while (count > 0) {
        const auto passed =
            sf_readf_float(sound_.get(), interleaved_.data(), std::min(count, kFramesPerBlock));
        if (passed <= 0) return;
        count -= passed;
    }
}

std::span<const float> sound_reader::read()
{
    const auto count = sf_readf_float(sound_.get(), interleaved_.data(), kFramesPerBlock);
    if (const int error = sf_error(sound_.get()); error != SF_ERR_NO_ERROR)
        throw failure{"cannot read " + path_ + ": " + sf_error_number(error)};
    const auto stride = static_cast<std::size_t>(channels());
    const std::size_t first = channel_ > 0 ? static_cast<std::size_t>(channel_ - 1) : 0;
    const std::size_t mixed = channel_ > 0 ? 1 : stride;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        float sum = 0;
        for (std::size_t c = first; c < first + mixed; ++c) sum += interleaved_[i * stride + c];
        // A float file can hold what is not a number; it counts as silence.
        mono_[i] = std::isfinite(sum) ? sum / static_cast<float>(mixed) : 0.0f;
    }
    return {mono_.data(), static_cast<std::size_t>(count)};
}

sound_writer::sound_writer(int descriptor, sound_format format, std::string name)
    : name_{std::move(name)}
{
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    switch (format) {
    case sound_format::wav: info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16; break;
    case sound_format::flac: info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16; break;
    case sound_format::raw:
        info.format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
        break;
    }
    sound_.reset(sf_open_fd(descriptor, SFM_WRITE, &info, SF_FALSE));
    if (!sound_) throw failure{"cannot write " + name_ + ": " + sf_strerror(nullptr)};
}

void sound_writer::write(std::span<const int16_t> samples)
{
    const auto count = static_cast<sf_count_t>(samples.size());
    if (sf_write_short(sound_.get(), samples.data(), count) != count)
        throw failure{"cannot write " + name_ + ": " + sf_strerror(sound_.get())};
}

void sound_writer::finish()
{
    if (const int error = sf_close(sound_.release()); error != SF_ERR_NO_ERROR)
        throw failure{"cannot write " + name_ + ": " + sf_error_number(error)};
}

} // namespace tonelink::tool
