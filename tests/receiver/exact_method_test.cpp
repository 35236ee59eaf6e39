// What the receiver tells of a stream is what the documented receiver accepts in it.
#include <gtest/gtest.h>

#include <memory>

#include "modem/stream_receiver.h"
#include "support/known_scenes.h"
#include "support/open_receiver.h"
#include "support/receiving.h"

namespace tonelink::test {

namespace {

/// A burst: its message, and at how many positions it was accepted.
using acceptances = std::pair<std::string, uint32_t>;

std::vector<acceptances> accepted(std::vector<int16_t> sound, uint32_t lengths)
{
    sound.resize(sound.size() + 26460); // what the end of a stream brings out
    const auto receiver = std::make_unique<stream_receiver>();
    std::vector<acceptances> runs;
    std::vector<uint64_t> firsts;
    for (const heard_message &heard :
         hear(*receiver, sound, {sound.size()}, static_cast<message_lengths>(lengths)).first) {
        const std::string message = text_of(heard.message());
        std::size_t run = 0;
        while (run < runs.size() &&
               (runs[run].first != message || heard.position - firsts[run] > kBurstSamples / 2))
            ++run;
        if (run == runs.size()) {
            runs.emplace_back(message, 0);
            firsts.push_back(heard.position);
        }
        ++runs[run].second;
    }
    return runs;
}

template <class Sample>
std::vector<acceptances> told(const std::vector<Sample> &sound, uint32_t lengths)
{
    open_receiver receiver{44100, lengths};
    receiver.push(std::span{sound});
    tonelink_receiver_flush(receiver);
    std::vector<acceptances> runs;
    for (const tonelink_heard &heard : receiver.heard())
        runs.emplace_back(message_of(heard), heard.positions);
    return runs;
}

} // namespace

TEST(ExactMethod, TellsWhatTheDocumentedReceiverAccepts)
{
    std::size_t messages = 0;
    for (const auto &[name, scene] : kKnownScenes) {
        const auto sound = scene.samples();
        std::vector<float> as_float;
        for (const int16_t sample : sound) // what is rounded to it
            as_float.push_back((sample + (sample % 2 == 0 ? 0.4f : -0.4f)) / 32768);
        for (const uint32_t lengths : {1u, 2u, 3u}) {
            const auto expected = accepted(sound, lengths);
            EXPECT_EQ(told(sound, lengths), expected) << name << ' ' << lengths;
            EXPECT_EQ(told(as_float, lengths), expected) << name << ' ' << lengths;
            messages += expected.size();
        }
    }
    EXPECT_GT(messages, 30u);
}

} // namespace tonelink::test
