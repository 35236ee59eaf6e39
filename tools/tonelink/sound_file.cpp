#include "sound_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "burst_shape.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

/// At 44100 Hz less than half a burst: of two copies in a stream, the first is told before the
/// second is heard.
constexpr int64_t kFramesPerBlock = 10240;
/// 60 dB above full scale: files of floats that hold more hold no sound.
constexpr float kLoudest = 1000;

file_failure cannot_read(const std::string &name, const std::string &reason)
{
    return file_failure{"cannot read " + name + ": " + reason};
}

file_failure is_empty(const sound_source &source)
{
    return cannot_read(name_of(source),
                       source.raw ? "it is empty; bare samples are right"
                                  : "it is empty; a sound file is right (WAV, FLAC, ...)");
}

/// What a source names. Without waiting for whoever is to write into a pipe.
file_descriptor open_source(const sound_source &source)
{
    file_descriptor file{source.path == "-"
                             ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                             : open(source.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (file.get() < 0) throw cannot_read(name_of(source), std::strerror(errno));
    return file;
}

/// Throws failure for what holds no sound; else what the system tells of the file.
struct stat refuse_soundless(const file_descriptor &file, const sound_source &source)
{
    struct stat about {};
    if (fstat(file.get(), &about) != 0) throw cannot_read(name_of(source), std::strerror(errno));
    if (S_ISDIR(about.st_mode)) throw cannot_read(name_of(source), "it is a folder");
    if (isatty(file.get()))
        throw cannot_read(name_of(source), "it is a terminal; a sound file or a pipe is right");
    if (S_ISREG(about.st_mode) && about.st_size == 0) throw is_empty(source);
    return about;
}

/// Whether it has its place among the files of a disk; the rest comes once, from front to back.
bool is_on_disk(const struct stat &about)
{
    return S_ISREG(about.st_mode) || S_ISBLK(about.st_mode);
}

/// Held while a sound is opened: why that fails, libsndfile says once for the whole process.
std::mutex &opening()
{
    static std::mutex one_at_a_time;
    return one_at_a_time;
}

sound_handle open_file(file_descriptor file, SF_INFO &format, const std::string &name)
{
    const std::lock_guard lock{opening()};
    sound_handle sound{sf_open_fd(file.release(), SFM_READ, &format, SF_TRUE)};
    if (!sound) throw cannot_read(name, sf_strerror(nullptr));
    return sound;
}

SF_INFO format_of(const sound_source &source)
{
    SF_INFO format{};
    if (!source.raw) return format;
    format.samplerate = kAudioRate;
    format.channels = 1;
    format.format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
    return format;
}

} // namespace

std::string name_of(const sound_source &source)
{
    if (!source.name.empty()) return source.name;
    return source.path == "-" ? "standard input" : source.path;
}

file_descriptor copy_sound(const sound_source &source)
{
    file_descriptor file = open_source(source);
    refuse_soundless(file, source);
    sound_stream stream{std::move(file), name_of(source), {}};
    if (!source.raw) stream.has_header(); // which is then of a sound that has come to its end
    return stream.spooled();
}

sound_reader::sound_reader(const sound_source &source, std::stop_token stop)
    : name_{name_of(source)}, channel_{source.channel}, stop_{std::move(stop)}
{
    format_ = format_of(source);
    file_descriptor file = open_source(source);
    if (is_on_disk(refuse_soundless(file, source)))
        open_on_disk(std::move(file), source);
    else
        open_stream(std::move(file), source);
    if (channel_ > channels())
        throw file_failure{name_ + " has no channel " + std::to_string(channel_) +
                           (channels() == 1 ? "; it has one channel"
                                            : "; 1 to " + std::to_string(channels()) +
                                                  " is right, or none for a mix of all")};
    interleaved_.resize(static_cast<std::size_t>(kFramesPerBlock * channels()));
    mono_.resize(static_cast<std::size_t>(kFramesPerBlock));
}

void sound_reader::open_on_disk(file_descriptor file, const sound_source &source)
{
    file_descriptor same{fcntl(file.get(), F_DUPFD_CLOEXEC, 0)};
    const off_t start = lseek(file.get(), 0, SEEK_CUR);
    sound_ = open_file(std::move(file), format_, name_);
    const bool is_unfinished = format_.frames == 0 && !source.raw;
    if (!is_unfinished || lseek(same.get(), start, SEEK_SET) != start) return;
    // Whoever wrote the header may not have come back to fill in the size.
    sound_stream stream{std::move(same), name_, stop_};
    if (!stream.has_header()) return;
    format_ = {};
    sound_ = open_file(stream.spooled(), format_, name_);
}

void sound_reader::open_stream(file_descriptor file, const sound_source &source)
{
    auto stream = std::make_unique<sound_stream>(std::move(file), name_, stop_);
    if (source.raw || stream->has_header()) {
        const std::lock_guard lock{opening()};
        sound_ = stream->open(format_);
    }
    if (sound_) {
        stream_ = std::move(stream);
        return;
    }
    stream->wait_for_beginning();
    if (stream->is_empty()) throw is_empty(source);
    {
        const std::lock_guard lock{opening()};
        if (stream->is_unknown()) throw cannot_read(name_, sf_strerror(nullptr));
    }
    format_ = {};
    sound_ = open_file(stream->spooled(), format_, name_);
}

bool sound_reader::wait(std::chrono::milliseconds at_most)
{
    return !is_stream() || is_complete() || stream_->wait(at_most);
}

void sound_reader::skip(int64_t count)
{
    passed_ += count;
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
    if (stop_.stop_requested()) {
        was_cut_ = !is_stream();
        return {};
    }
    sf_count_t count = kFramesPerBlock;
    if (is_stream()) {
        if (!is_complete()) stream_->wait();
        count = std::min(count, stream_->ready());
    }
    count = sf_readf_float(sound_.get(), interleaved_.data(), count);
    if (const int error = sf_error(sound_.get()); error != SF_ERR_NO_ERROR)
        throw cannot_read(name_, sf_error_number(error));
    if (is_stream()) stream_->drop_passed();
    passed_ += count;
    if (passed_ == 0 && !stop_.stop_requested())
        throw cannot_read(name_, is_stream() ? "it is empty" : "it holds no samples");

    const auto stride = static_cast<std::size_t>(channels());
    const std::size_t first = channel_ > 0 ? static_cast<std::size_t>(channel_ - 1) : 0;
    const std::size_t mixed = channel_ > 0 ? 1 : stride;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        float sum = 0;
        for (std::size_t c = first; c < first + mixed; ++c)
            sum += sense_of(interleaved_[i * stride + c]);
        mono_[i] = sum / static_cast<float>(mixed);
    }
    return {mono_.data(), static_cast<std::size_t>(count)};
}

float sound_reader::sense_of(float sample)
{
    const bool has_sense = std::abs(sample) <= kLoudest; // not so what is no number
    senseless_ += has_sense ? 0 : 1;
    return has_sense ? sample : 0.0f;
}

std::string sound_reader::remark() const
{
    if (senseless_ == 0) return "";
    return name_ + ": " + std::to_string(senseless_) +
           (senseless_ == 1 ? " sample is no number or" : " samples are no numbers or") +
           " beyond 1000 times full scale, and silence to this command";
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
    const std::lock_guard lock{opening()};
    // A descriptor of its own: what libsndfile does not open it closes, whatever it is told.
    const int own = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0) throw file_failure{"cannot write " + name_ + ": " + std::strerror(errno)};
    sound_.reset(sf_open_fd(own, SFM_WRITE, &info, SF_TRUE));
    if (!sound_) throw file_failure{"cannot write " + name_ + ": " + sf_strerror(nullptr)};
}

void sound_writer::write(std::span<const int16_t> samples)
{
    const auto count = static_cast<sf_count_t>(samples.size());
    if (sf_write_short(sound_.get(), samples.data(), count) != count)
        throw file_failure{"cannot write " + name_ + ": " + sf_strerror(sound_.get())};
}

void sound_writer::finish()
{
    if (const int error = sf_close(sound_.release()); error != SF_ERR_NO_ERROR)
        throw file_failure{"cannot write " + name_ + ": " + sf_error_number(error)};
}

} // namespace tonelink::tool
