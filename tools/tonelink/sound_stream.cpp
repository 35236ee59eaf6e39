#include "sound_stream.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "spool_file.h"

namespace tonelink::tool {
namespace {

/// A format is known by so much; of WAV, a header that is longer is read from a file.
constexpr std::size_t kBeginning = 65536;
constexpr std::size_t kChunkHeader = 8; // four letters, then the size in 32 bits, little-endian
constexpr std::size_t kFirstChunk = 12;

bool begins_as_wave(std::string_view bytes)
{
    return bytes.starts_with("RIFF") && bytes.substr(8).starts_with("WAVE");
}

/// Where the chunk of the samples begins, once that has come.
std::optional<std::size_t> data_chunk(std::string_view bytes)
{
    uint64_t at = kFirstChunk;
    while (at + kChunkHeader <= bytes.size()) {
        const std::string_view chunk = bytes.substr(static_cast<std::size_t>(at), kChunkHeader);
        if (chunk.starts_with("data")) return static_cast<std::size_t>(at);
        uint32_t size = 0;
        for (std::size_t i = kChunkHeader; i-- > 4;)
            size = size << 8 | static_cast<unsigned char>(chunk[i]);
        at += kChunkHeader + uint64_t{size} + size % 2;
    }
    return std::nullopt;
}

/// The bytes of one sample, 0 for what is not coded sample by sample.
std::size_t sample_bytes(const SF_INFO &format)
{
    switch (format.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW: return 1;
    case SF_FORMAT_PCM_16: return 2;
    case SF_FORMAT_PCM_24: return 3;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT: return 4;
    case SF_FORMAT_DOUBLE: return 8;
    default: return 0;
    }
}

} // namespace

sound_stream::sound_stream(file_descriptor input, std::string name, std::stop_token stop)
    : bytes_{std::move(input), name, std::move(stop)}, name_{std::move(name)}
{
}

bool sound_stream::has_header()
{
    for (;;) {
        const std::span<char> held = bytes_.held();
        const std::string_view bytes{held.data(), held.size()};
        if (bytes.size() >= kFirstChunk && !begins_as_wave(bytes)) return false;
        if (const auto chunk = data_chunk(bytes)) {
            // Whoever writes into a pipe cannot come back to fill in the size.
            const std::span<char> size = held.subspan(*chunk + 4, 4);
            if (std::ranges::count(size, '\0') == 4) std::ranges::fill(size, '\xFF');
            return true;
        }
        if (bytes_.has_ended() || bytes.size() > kBeginning) return false;
        bytes_.wait_for(bytes.size() + 1);
    }
}

sound_handle sound_stream::open(SF_INFO &format)
{
    length_ = std::numeric_limits<sf_count_t>::max() / 4; // longer than any
    sound_handle sound = open_held(format);
    const std::size_t bytes = sound ? sample_bytes(format) : 0;
    if (bytes == 0) return nullptr;
    frame_bytes_ = bytes * static_cast<std::size_t>(format.channels);
    drop_passed(); // the header
    return sound;
}

sound_handle sound_stream::open_held(SF_INFO &format)
{
    SF_VIRTUAL_IO from_memory{length, seek, read, nullptr, tell};
    place_ = 0;
    return sound_handle{sf_open_virtual(&from_memory, SFM_READ, &format, this)};
}

void sound_stream::wait_for_beginning() { bytes_.wait_for(kBeginning); }

bool sound_stream::is_unknown()
{
    const std::span<char> held = bytes_.held();
    // A picture can come before the sound of an MP3, of any size.
    if (std::string_view{held.data(), held.size()}.starts_with("ID3")) return false;
    length_ = std::ssize(held);
    SF_INFO format{};
    return !open_held(format) && sf_error(nullptr) == SF_ERR_UNRECOGNISED_FORMAT;
}

bool sound_stream::wait(std::chrono::milliseconds at_most)
{
    return bytes_.wait_for(frame_bytes_, at_most);
}

void sound_stream::drop_passed()
{
    bytes_.drop(static_cast<std::size_t>(place_ - first_held_));
    first_held_ = place_;
}

file_descriptor sound_stream::spooled()
{
    spool_file file{name_};
    for (; !is_empty(); bytes_.wait_for(1)) {
        file.put(bytes_.held());
        bytes_.drop(bytes_.held().size());
    }
    return file.rewound();
}

sf_count_t sound_stream::length(void *stream)
{
    return static_cast<sound_stream *>(stream)->length_;
}

sf_count_t sound_stream::seek(sf_count_t offset, int whence, void *stream)
{
    auto &self = *static_cast<sound_stream *>(stream);
    if (whence == SEEK_CUR) offset += self.place_;
    if (whence == SEEK_END) offset += length(stream);
    return self.place_ = offset;
}

/// Of what is held: behind it a header seems to end.
sf_count_t sound_stream::read(void *to, sf_count_t count, void *stream)
{
    auto &self = *static_cast<sound_stream *>(stream);
    const std::span<const char> held = self.bytes_.held();
    const int64_t at = self.place_ - self.first_held_;
    if (at < 0 || at >= std::ssize(held)) return 0;
    const auto bytes =
        held.subspan(static_cast<std::size_t>(at))
            .first(static_cast<std::size_t>(std::min<int64_t>(count, std::ssize(held) - at)));
    std::ranges::copy(bytes, static_cast<char *>(to));
    self.place_ += std::ssize(bytes);
    return std::ssize(bytes);
}

sf_count_t sound_stream::tell(void *stream) { return static_cast<sound_stream *>(stream)->place_; }

} // namespace tonelink::tool
