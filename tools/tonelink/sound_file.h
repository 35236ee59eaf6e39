// Sound files through libsndfile: any that it reads, as one row of float samples; and the files
// that the commands write, mono with 16 bits.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include <sndfile.h>

#include "sound_stream.h"

namespace tonelink::tool {

/// Which sound is read, and how.
struct sound_source {
    std::string path;   ///< "-" is standard input
    int channel = 0;    ///< 0 mixes all channels, 1 is the first
    bool raw = false;   ///< bare samples: mono, 16 bits, little-endian, 44100 Hz
    std::string name{}; ///< what messages call it, where that is not the path
};

/// What messages call it.
std::string name_of(const sound_source &source);

/// All of a sound that can be read once, such as what comes through a pipe, in a file without a
/// name. Throws failure when it cannot be read or kept.
file_descriptor copy_sound(const sound_source &source);

/// Reads a sound file from front to back, its channels mixed to one or all but one left out.
class sound_reader {
public:
    /// Throws failure for a file that cannot be read or has no such channel. What comes through a
    /// pipe is read to its end first, unless it is a sound_stream.
    /// @param stop  ends the sound early
    explicit sound_reader(const sound_source &source, std::stop_token stop = {});

    /// What messages call it.
    const std::string &name() const { return name_; }

    int sample_rate() const { return format_.samplerate; }
    int channels() const { return format_.channels; }

    /// The sound's length in samples, or 0 where it is not known.
    int64_t length() const { return format_.seekable && !is_stream() ? format_.frames : 0; }

    /// Whether it is read while it is still being made.
    bool is_stream() const { return stream_ != nullptr; }

    /// Waits for more of a stream; whether there is, or the end. A file is always there.
    bool wait(std::chrono::milliseconds at_most);

    /// Passes over samples of a file.
    void skip(int64_t count);

    /// The next samples, at most a block, of a stream those that have come; none at the end. Full
    /// scale is 1. Valid until the next call of any kind. Throws failure when they cannot be read,
    /// or when there are none in the whole sound.
    std::span<const float> read();

    /// Whether it was stopped before its end. A stream has none.
    bool was_cut() const { return was_cut_; }

    /// A line on samples that make no sense, which a file of floats can hold: those that are no
    /// numbers or beyond 1000 times full scale. They are read as silence. Empty when none was read.
    std::string remark() const;

private:
    void open_on_disk(file_descriptor file, const sound_source &source);
    void open_stream(file_descriptor file, const sound_source &source);
    bool is_complete() const { return passed_ >= format_.frames; }
    float sense_of(float sample);

    std::string name_;
    int channel_;
    std::stop_token stop_;
    SF_INFO format_{};
    std::unique_ptr<sound_stream> stream_; ///< null for a file
    sound_handle sound_;
    int64_t passed_ = 0; ///< samples of each channel, read or skipped
    bool was_cut_ = false;
    int64_t senseless_ = 0;
    std::vector<float> interleaved_;
    std::vector<float> mono_;
};

enum class sound_format { wav, flac, raw };

/// Writes mono samples of 16 bits at 44100 Hz. Raw samples are little-endian.
class sound_writer {
public:
    /// @param descriptor  an empty file that can seek; stays the caller's
    /// @param name        what messages call it
    sound_writer(int descriptor, sound_format format, std::string name);

    void write(std::span<const int16_t> samples);

    /// Completes the header. Throws failure, like write(), when the file has no room.
    void finish();

private:
    std::string name_;
    sound_handle sound_;
};

} // namespace tonelink::tool
