// A sound card that insists: an external plug-in of ALSA's that takes one sample format, one number
// of channels, one rate and, if it is told so, one length of period. What is played goes into a
// file, what is captured comes out of one, with silence behind it, at once in both directions. Or
// it does not open, as if another program had it.
//
//   pcm_type.card { lib "libasound_module_pcm_card.so" }
//   pcm.hard { type card file "sound.raw" format S32_LE channels 2 rate 48000 period 1024 }
//   pcm.busy { type card error 16 }

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <sys/eventfd.h>

#include "sound/alsa_library.h"
extern "C" {
#include <alsa/pcm_external.h>
}

namespace {

struct card {
    snd_pcm_ioplug_t io{};
    std::FILE *file = nullptr;
    snd_pcm_uframes_t frame_bytes = 0;
    snd_pcm_uframes_t written = 0; // frames
    snd_pcm_uframes_t position = 0;
};

card &card_of(snd_pcm_ioplug_t *io) { return *static_cast<card *>(io->private_data); }

int do_nothing(snd_pcm_ioplug_t *) { return 0; }

int prepare(snd_pcm_ioplug_t *io)
{
    card &self = card_of(io);
    self.written = self.position = 0;
    self.frame_bytes = static_cast<snd_pcm_uframes_t>(snd_pcm_format_physical_width(io->format)) /
                       8 * io->channels;
    return 0;
}

/// At each look, another period has been played or captured, as far as there is one.
snd_pcm_sframes_t pointer(snd_pcm_ioplug_t *io)
{
    card &self = card_of(io);
    const auto limit = io->stream == SND_PCM_STREAM_PLAYBACK
                           ? self.written
                           : io->appl_ptr + io->buffer_size - io->period_size;
    self.position += std::min(limit - self.position, io->period_size);
    return static_cast<snd_pcm_sframes_t>(self.position % io->buffer_size);
}

snd_pcm_sframes_t transfer(snd_pcm_ioplug_t *io, const snd_pcm_channel_area_t *areas,
                           snd_pcm_uframes_t offset, snd_pcm_uframes_t frames)
{
    card &self = card_of(io);
    char *const bytes =
        static_cast<char *>(areas->addr) + areas->first / 8 + offset * self.frame_bytes;
    const auto count = frames * self.frame_bytes;
    if (io->stream == SND_PCM_STREAM_PLAYBACK) {
        self.written += frames;
        if (std::fwrite(bytes, 1, count, self.file) != count) return -EIO;
    } else {
        // What the program has not taken yet is asked for again.
        const auto ahead =
            (offset + io->buffer_size - io->appl_ptr % io->buffer_size) % io->buffer_size;
        std::fseek(self.file, static_cast<long>((io->appl_ptr + ahead) * self.frame_bytes),
                   SEEK_SET);
        std::fill(bytes + std::fread(bytes, 1, count, self.file), bytes + count, 0);
    }
    return static_cast<snd_pcm_sframes_t>(frames);
}

int close_card(snd_pcm_ioplug_t *io)
{
    const std::unique_ptr<card> self{&card_of(io)};
    std::fclose(self->file);
    close(io->poll_fd);
    return 0;
}

constexpr snd_pcm_ioplug_callback_t callbacks()
{
    snd_pcm_ioplug_callback_t made{};
    made.start = made.stop = made.drain = do_nothing;
    made.prepare = prepare;
    made.pointer = pointer;
    made.transfer = transfer;
    made.close = close_card;
    return made;
}
constexpr snd_pcm_ioplug_callback_t kCallbacks = callbacks();

const char *text_at(snd_config_t *config, const char *key)
{
    snd_config_t *node = nullptr;
    const char *text = "";
    if (snd_config_search(config, key, &node) >= 0) snd_config_get_string(node, &text);
    return text;
}

unsigned int number_at(snd_config_t *config, const char *key)
{
    snd_config_t *node = nullptr;
    long number = 0;
    if (snd_config_search(config, key, &node) >= 0) snd_config_get_integer(node, &number);
    return static_cast<unsigned int>(number);
}

int insist_on(snd_pcm_ioplug_t &io, int parameter, unsigned int value)
{
    return value == 0 ? 0 : snd_pcm_ioplug_set_param_list(&io, parameter, 1, &value);
}

} // namespace

extern "C" {

SND_PCM_PLUGIN_DEFINE_FUNC(card)
{
    static_cast<void>(root); // the macro names it
    if (const auto error = static_cast<int>(number_at(conf, "error")); error != 0) return -error;
    auto self = std::make_unique<card>();
    const bool plays = stream == SND_PCM_STREAM_PLAYBACK;
    self->file = std::fopen(text_at(conf, "file"), plays ? "ab" : "rb");
    if (self->file == nullptr) return -errno;
    self->io.version = SND_PCM_IOPLUG_VERSION;
    self->io.name = "A card that insists";
    self->io.callback = &kCallbacks;
    self->io.private_data = self.get();
    self->io.poll_fd = eventfd(1, EFD_CLOEXEC); // ready at any time
    self->io.poll_events = plays ? POLLOUT : POLLIN;
    int result = snd_pcm_ioplug_create(&self->io, name, stream, mode);
    if (result < 0) return result;
    snd_pcm_ioplug_t &io = self.release()->io; // the device's from now on
    const auto format = static_cast<unsigned int>(snd_pcm_format_value(text_at(conf, "format")));
    const unsigned int frame_bytes = static_cast<unsigned int>(snd_pcm_format_physical_width(
                                         static_cast<snd_pcm_format_t>(format))) /
                                     8 * number_at(conf, "channels");
    for (const auto &[parameter, value] :
         {std::pair{SND_PCM_IOPLUG_HW_FORMAT, format},
          {SND_PCM_IOPLUG_HW_CHANNELS, number_at(conf, "channels")},
          {SND_PCM_IOPLUG_HW_RATE, number_at(conf, "rate")},
          {SND_PCM_IOPLUG_HW_PERIOD_BYTES, number_at(conf, "period") * frame_bytes}})
        if (result >= 0) result = insist_on(io, parameter, value);
    if (result < 0) {
        snd_pcm_ioplug_delete(&io);
        return result;
    }
    *pcmp = io.pcm;
    return 0;
}

SND_PCM_PLUGIN_SYMBOL(card);
}
