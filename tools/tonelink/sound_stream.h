// A sound that is read while it is still being made: bare samples or WAV, through a pipe or from a
// device. Every other format is one that is read from a file alone, as it needs to seek.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include <sndfile.h>

#include "input_stream.h"

namespace tonelink::tool {

struct close_sound {
    void operator()(SNDFILE *sound) const { sf_close(sound); }
};
using sound_handle = std::unique_ptr<SNDFILE, close_sound>;

class sound_stream {
public:
    /// Parameters as for input_stream.
    sound_stream(file_descriptor input, std::string name, std::stop_token stop);
    sound_stream(const sound_stream &) = delete;
    sound_stream &operator=(const sound_stream &) = delete;

    /// Whether nothing has come, and nothing will.
    bool is_empty() { return bytes_.has_ended() && bytes_.held().empty(); }

    /// Waits for the header of a WAV file; whether that is what has come.
    bool has_header();

    /// Opens it, behind has_header() or with the format of bare samples: null when this cannot be
    /// done, or not without seeking. The stream must live as long as what is returned.
    sound_handle open(SF_INFO &format);

    /// Waits for as much as tells a format.
    void wait_for_beginning();

    /// Whether it begins as no format does that libsndfile knows, which then says so.
    bool is_unknown();

    /// Waits for a sample of each channel, or the end; whether one of them is there now.
    bool wait(std::chrono::milliseconds at_most);
    void wait() { bytes_.wait_for(frame_bytes_); }

    /// How many samples of each channel can be read without waiting.
    sf_count_t ready() { return static_cast<sf_count_t>(bytes_.held().size() / frame_bytes_); }

    /// To be called when samples have been read.
    void drop_passed();

    /// All that came and comes until the end, in a file without a name, from its start. Throws
    /// failure when that is more than a spool_file keeps.
    file_descriptor spooled();

private:
    sound_handle open_held(SF_INFO &format);

    static sf_count_t length(void *stream);
    static sf_count_t seek(sf_count_t offset, int whence, void *stream);
    static sf_count_t read(void *to, sf_count_t count, void *stream);
    static sf_count_t tell(void *stream);

    input_stream bytes_;
    std::string name_;
    std::size_t frame_bytes_ = 1;
    int64_t length_ = 0;     ///< that libsndfile is told
    int64_t first_held_ = 0; ///< place of the first byte that is held
    int64_t place_ = 0;      ///< of the next byte that libsndfile reads
};

} // namespace tonelink::tool
