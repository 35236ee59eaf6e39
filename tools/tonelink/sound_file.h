// Sound files through libsndfile: any that it reads, as one row of float samples; and the files
// that the commands write, mono with 16 bits.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <sndfile.h>

namespace tonelink::tool {

struct close_sound {
    void operator()(SNDFILE *sound) const { sf_close(sound); }
};
using sound_handle = std::unique_ptr<SNDFILE, close_sound>;

/// Which sound is read, and how.
struct sound_source {
    std::string path;   ///< "-" is standard input
    int channel = 0;    ///< 0 mixes all channels, 1 is the first
    bool raw = false;   ///< bare samples: mono, 16 bits, little-endian, 44100 Hz
    std::string name{}; ///< what messages call it, where that is not the path
};

/// What messages call it.
std::string name_of(const sound_source &source);

/// Reads a sound file from front to back, its channels mixed to one or all but one left out.
class sound_reader {
public:
    /// Throws failure for a file that cannot be read or has no such channel. What comes through a
    /// pipe is read to its end first, unless it is raw.
    explicit sound_reader(const sound_source &source);

    int sample_rate() const { return format_.samplerate; }
    int channels() const { return format_.channels; }

    /// The sound's length in samples, or 0 where it is not known.
    int64_t length() const { return format_.seekable ? format_.frames : 0; }

    /// Passes over samples.
    void skip(int64_t count);

    /// The next samples, at most a block; none at the end. Full scale is 1. Valid until the next
    /// call of any kind.
    std::span<const float> read();

private:
    std::string name_;
    SF_INFO format_{};
    sound_handle sound_;
    int channel_;
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
