#include "sound_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include <unistd.h>

#include "errors.h"
#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

constexpr int64_t kFramesPerBlock = 16384;

/// Why a sound file could not be opened, in words for whoever named it.
failure cannot_read(const sound_source &source)
{
    const std::string &path = source.path;
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        return failure{"cannot read " + path + ": it is a folder"};
    if (std::filesystem::is_regular_file(path, error) &&
        std::filesystem::file_size(path, error) == 0)
        return failure{"cannot read " + path +
                       ": it is empty; a sound file is right (WAV, FLAC, ...)"};
    return failure{"cannot read " + name_of(source) + ": " + sf_strerror(nullptr)};
}

struct close_file {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// All of standard input in a file without a name, from its start: most formats need to seek.
std::unique_ptr<std::FILE, close_file> spooled_input()
{
    std::unique_ptr<std::FILE, close_file> file{std::tmpfile()};
    std::array<char, 65536> block;
    std::size_t count = 0;
    while (file && (count = std::fread(block.data(), 1, block.size(), stdin)) > 0)
        if (std::fwrite(block.data(), 1, count, file.get()) != count) file.reset();
    if (!file || std::fflush(file.get()) != 0)
        throw failure{std::string{"cannot keep standard input in a file: "} + std::strerror(errno)};
    if (std::ferror(stdin)) throw failure{"cannot read standard input"};
    std::rewind(file.get());
    return file;
}

sound_handle open_input(const sound_source &source, SF_INFO &format)
{
    const bool can_seek = lseek(STDIN_FILENO, 0, SEEK_CUR) >= 0;
    if (source.raw || can_seek)
        return sound_handle{sf_open_fd(STDIN_FILENO, SFM_READ, &format, SF_FALSE)};
    const auto file = spooled_input();
    // The sound's own descriptor: the one of the file goes with it.
    return sound_handle{sf_open_fd(dup(fileno(file.get())), SFM_READ, &format, SF_TRUE)};
}

sound_handle open_source(const sound_source &source, SF_INFO &format)
{
    if (source.raw)
        format = {.frames = 0,
                  .samplerate = kAudioRate,
                  .channels = 1,
                  .format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE,
                  .sections = 0,
                  .seekable = 0};
    if (source.path == "-") return open_input(source, format);
    return sound_handle{sf_open(source.path.c_str(), SFM_READ, &format)};
}

} // namespace

std::string name_of(const sound_source &source)
{
    if (!source.name.empty()) return source.name;
    return source.path == "-" ? "standard input" : source.path;
}

sound_reader::sound_reader(const sound_source &source)
    : name_{name_of(source)}, sound_{open_source(source, format_)}, channel_{source.channel}
{
    if (!sound_) throw cannot_read(source);
    if (channel_ > channels())
        throw failure{name_ + " has no channel " + std::to_string(channel_) + "; 1 to " +
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
        throw failure{"cannot read " + name_ + ": " + sf_error_number(error)};
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
    info.samplerate = kAudioRate;
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
