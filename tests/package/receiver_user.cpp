// Hears what comes on standard input, as bare samples at 44100 Hz, with a receiver that owns
// itself, and prints the first message.
#include <cstdio>
#include <memory>

#include <tonelink/receiver.h>

int main()
{
    tonelink_receiver *opened = nullptr;
    if (tonelink_receiver_open(nullptr, &opened) != TONELINK_RECEIVER_OK) return 1;
    const std::unique_ptr<tonelink_receiver, decltype(&tonelink_receiver_close)> receiver{
        opened, tonelink_receiver_close};
    int16_t sample = 0;
    while (std::fread(&sample, sizeof sample, 1, stdin) == 1) {
        const float value = static_cast<float>(sample) / 32768.0f;
        if (tonelink_receiver_push_f32(receiver.get(), &value, 1, 1) != TONELINK_RECEIVER_OK)
            return 1;
    }
    tonelink_receiver_flush(receiver.get());
    tonelink_heard heard{};
    if (tonelink_receiver_next(receiver.get(), &heard) != 1) return 1;
    for (int i = 0; i < heard.nbits / 8; ++i) std::printf("%02X", heard.message[i]);
    std::printf("\n");
    return 0;
}
