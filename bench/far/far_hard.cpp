// What the receiver library makes of recordings that are hard to hear, as `tonelink decode` hears
// them: which of the messages it finds, by kinds, and whether it hears what nobody sent.
//
//     far_hard [-v] [-w FOLDER] [SEED...]   -v: tells of each message that is missed, and of each
//                                           record of a burst that nobody sent
//                                           -w: writes the recordings as WAV files, and the
//                                           messages that are in them as FOLDER/sent
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "far/hard_recordings.h"
#include "modem/burst_format.h"
#include "tonelink/receiver.h"

namespace tonelink::bench {

namespace {

/// As a file holds them: 16 bits, or full scale 1.
std::vector<int16_t> integers_of(const sound &samples)
{
    std::vector<int16_t> all;
    for (const float sample : samples) all.push_back(static_cast<int16_t>(std::lround(sample)));
    return all;
}
sound floats_of(sound samples)
{
    for (float &sample : samples) sample /= 32768;
    return samples;
}

std::vector<tonelink_heard> hear(const hard_recording &recording)
{
    tonelink_receiver_settings settings{};
    settings.size = sizeof settings;
    settings.sample_rate = static_cast<int32_t>(recording.rate);
    tonelink_receiver *receiver = nullptr;
    if (tonelink_receiver_open(&settings, &receiver) != TONELINK_RECEIVER_OK) std::abort();
    std::vector<tonelink_heard> all;
    const auto take = [&] {
        tonelink_heard heard{};
        heard.size = sizeof heard;
        while (tonelink_receiver_next(receiver, &heard) == 1) all.push_back(heard);
    };
    constexpr std::size_t kBlock = 4096;
    const std::vector<int16_t> integers = integers_of(recording.samples);
    const sound floats = floats_of(recording.samples);
    for (std::size_t at = 0; at < floats.size(); at += kBlock) {
        const std::size_t count = std::min(kBlock, floats.size() - at);
        if (recording.is_float)
            tonelink_receiver_push_f32(receiver, &floats[at], count, 1);
        else
            tonelink_receiver_push_s16(receiver, &integers[at], count, 1);
        take();
    }
    tonelink_receiver_flush(receiver);
    take();
    tonelink_receiver_close(receiver);
    return all;
}

uint64_t value_of(const tonelink_heard &heard)
{
    uint64_t value = 0;
    for (int32_t n = 0; n < heard.nbits / 8; ++n) value = value << 8 | heard.message[n];
    return value;
}

struct tally {
    int sent = 0, found = 0;
    int wrong = 0;     ///< records of messages that nobody sent
    int bursts = 0;    ///< that records tell of, by their copies
    int misplaced = 0; ///< records that begin where no burst does, by more than 2 ms

    void add(const tally &other)
    {
        sent += other.sent;
        found += other.found;
        wrong += other.wrong;
        bursts += other.bursts;
        misplaced += other.misplaced;
    }
};

tally judge(const hard_recording &recording, const std::string &name,
            const std::vector<tonelink_heard> &all, bool is_verbose)
{
    tally result;
    std::map<uint64_t, bool> messages;
    for (const auto &sender : recording.senders) messages[sender.message] = false;
    for (const tonelink_heard &heard : all) {
        result.bursts += heard.copies;
        bool is_sent = false;
        double nearest = 1e9;
        for (const auto &sender : recording.senders) {
            if (static_cast<int32_t>(sender.bits) != heard.nbits ||
                sender.message != value_of(heard))
                continue;
            messages[sender.message] = is_sent = true;
            for (const double start : sender.starts) {
                const double apart = double(heard.first_sample) - start;
                if (std::abs(apart) < std::abs(nearest)) nearest = apart;
            }
        }
        result.wrong += !is_sent;
        const bool is_off = is_sent && std::abs(nearest) > 0.002 * recording.rate;
        result.misplaced += is_off;
        if (is_verbose && (!is_sent || is_off))
            std::printf("%s: %s, %d copies, %.3f s, off by %.3f s, %.1f dB, %.0f ppm\n",
                        name.c_str(), is_sent ? "misplaced" : "WRONG", heard.copies, heard.seconds,
                        nearest / recording.rate, double{heard.snr_db}, double{heard.clock_ppm});
    }
    result.sent = static_cast<int>(messages.size());
    for (const auto &[message, is_found] : messages) {
        result.found += is_found;
        if (is_found || !is_verbose) continue;
        for (const auto &sender : recording.senders)
            if (sender.message == message)
                std::printf("%s: missed, %zu bits, %zu copies from %.3f s\n", name.c_str(),
                            sender.bits, sender.copies, sender.starts[0] / recording.rate);
    }
    return result;
}

std::string name_of(uint64_t seed, std::size_t n)
{
    return std::to_string(seed).append("-").append(std::to_string(n));
}

void write_wav(const hard_recording &recording, const std::string &path)
{
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    const auto count = static_cast<uint32_t>(recording.samples.size());
    const uint32_t size = recording.is_float ? 4 : 2, rate = static_cast<uint32_t>(recording.rate);
    const auto put = [&](uint32_t value, std::size_t bytes) {
        for (std::size_t n = 0; n < bytes; ++n) std::fputc(int(value >> 8 * n & 255), file);
    };
    std::fputs("RIFF", file);
    put(36 + size * count, 4);
    std::fputs("WAVEfmt ", file);
    put(16, 4);
    put(recording.is_float ? 3 : 1, 2);
    put(1, 2);
    put(rate, 4);
    put(rate * size, 4);
    put(size, 2);
    put(8 * size, 2);
    std::fputs("data", file);
    put(size * count, 4);
    if (recording.is_float)
        std::fwrite(floats_of(recording.samples).data(), size, count, file);
    else
        std::fwrite(integers_of(recording.samples).data(), size, count, file);
    std::fclose(file);
}

void write_all(const std::string &folder, uint64_t seed, const std::vector<hard_recording> &all)
{
    std::FILE *list = std::fopen((folder + "/sent").c_str(), "a");
    if (list == nullptr) std::abort();
    for (std::size_t n = 0; n < all.size(); ++n) {
        const std::string name = name_of(seed, n).append(".wav");
        write_wav(all[n], std::string{folder}.append("/").append(name));
        std::fprintf(list, "%s\t%s", name.c_str(), all[n].kind.c_str());
        for (const auto &sender : all[n].senders)
            std::fprintf(list, "\t%0*llX", int(sender.bits / 4),
                         static_cast<unsigned long long>(sender.message));
        std::fputc('\n', list);
    }
    std::fclose(list);
}

void run(uint64_t seed, const std::string &folder, bool is_verbose, std::vector<std::string> &kinds,
         std::map<std::string, tally> &tallies)
{
    const std::vector<hard_recording> all = make_hard_recordings(seed);
    if (!folder.empty()) write_all(folder, seed, all);
    std::vector<std::vector<tonelink_heard>> heard(all.size());
    std::atomic<std::size_t> next{0};
    {
        std::vector<std::jthread> workers;
        for (unsigned w = 0; w < std::max(1u, std::thread::hardware_concurrency()); ++w)
            workers.emplace_back([&] {
                for (std::size_t n = next++; n < all.size(); n = next++) heard[n] = hear(all[n]);
            });
    }
    for (std::size_t n = 0; n < all.size(); ++n) {
        const std::string name = name_of(seed, n).append(" ").append(all[n].kind);
        if (!tallies.contains(all[n].kind)) kinds.push_back(all[n].kind);
        tallies[all[n].kind].add(judge(all[n], name, heard[n], is_verbose));
    }
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    std::string folder;
    bool is_verbose = false;
    std::vector<uint64_t> seeds;
    for (int n = 1; n < count; ++n) {
        if (std::strcmp(arguments[n], "-v") == 0)
            is_verbose = true;
        else if (std::strcmp(arguments[n], "-w") == 0 && n + 1 < count)
            folder = arguments[++n];
        else
            seeds.push_back(std::strtoull(arguments[n], nullptr, 10));
    }
    if (seeds.empty()) seeds = {1, 2, 3};
    std::vector<std::string> kinds;
    std::map<std::string, tally> tallies;
    for (const uint64_t seed : seeds) run(seed, folder, is_verbose, kinds, tallies);
    tally sum;
    std::printf("%-18s %5s %6s %6s %7s %10s\n", "", "sent", "found", "wrong", "bursts",
                "misplaced");
    const auto print = [](const char *name, const tally &of) {
        std::printf("%-18s %5d %6d %6d %7d %10d\n", name, of.sent, of.found, of.wrong, of.bursts,
                    of.misplaced);
    };
    for (const std::string &kind : kinds) {
        print(kind.c_str(), tallies[kind]);
        sum.add(tallies[kind]);
    }
    print("all", sum);
}
