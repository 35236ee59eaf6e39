#include "check/check_report.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "burst_shape.h"
#include "report_text.h"
#include "shown_text.h"

namespace tonelink::tool {
namespace {

constexpr double kMostShown = 80; // dB: beyond it, there is nothing to tell apart

bool is_in_band(const response_point &point)
{
    return point.hz >= kBandLowHz && point.hz <= kBandHighHz;
}

/// The best response in the band, beside which others are told.
double best_of(const path_figures &figures)
{
    double best = -200;
    for (const response_point &point : figures.tones)
        if (is_in_band(point)) best = std::max(best, point.db);
    return best;
}

std::string response_text(const path_figures &figures)
{
    constexpr double kAsLoud = 0.5, kUnheard = -15;
    const double best = best_of(figures);
    const std::string loudness =
        std::abs(best) < kAsLoud
            ? "as loud as it was played"
            : joined(0, std::abs(best), best < 0 ? " dB below" : " dB above", " what was played");
    if (figures.snr_db < kUnheard) return "little of the band arrives";
    return joined(1, "18.07 to 20.14 kHz within ", figures.band_fall_db, " dB, ", loudness);
}

std::string noise_text(const path_figures &figures)
{
    std::string noise = joined(0, *figures.noise_dbfs, " dBFS in the band");
    if (!figures.heard) return noise;
    return noise + joined(0, "; bursts stand ", std::abs(figures.snr_db),
                          figures.snr_db < 0 ? " dB below it" : " dB above it");
}

std::string clipping_text(const path_figures &figures)
{
    constexpr double kTold = 0.5;
    std::string text = joined(0, figures.clipped_samples, " samples at full scale");
    const double compression = figures.compression_db.value_or(0);
    if (compression > kTold)
        text += joined(1, "; the loudest tone comes ", compression, " dB too weak");
    return text;
}

std::string bursts_text(const path_figures &figures)
{
    std::string text = joined(0, figures.bursts_heard, " of ", kProbeBursts, " read");
    if (figures.burst_snr_db) text += joined(0, ", ", *figures.burst_snr_db, " dB above the noise");
    return text;
}

void put(json_object &object, const char *name, const std::optional<double> &value)
{
    if (value) object[name] = to_tenths(*value);
}

/// What is measured with the probe.
void put_response(json_object &object, const path_figures &figures)
{
    put(object, "latency_ms", figures.latency_ms);
    put(object, "clock_ppm", figures.clock_ppm);
    put(object, "band_dbfs", figures.band_dbfs);
    put(object, "band_fall_db", figures.band_fall_db);
    put(object, "edge_hz", figures.edge_hz);
    put(object, "snr_db", figures.snr_db);
    put(object, "compression_db", figures.compression_db);
    put(object, "image_db", figures.image_db);
    put(object, "image_hz", figures.image_hz);
    put(object, "leak_db", figures.leak_db);
    put(object, "decay_db", figures.decay_db);
    put(object, "ducking_db", figures.ducking_db);
    put(object, "change_db", figures.change_db);
    object["bursts_played"] = kProbeBursts;
    object["bursts_heard"] = figures.bursts_heard;
    put(object, "burst_snr_db", figures.burst_snr_db);
    object["response"] = json_object::array();
    const double best = best_of(figures);
    for (const response_point &point : figures.tones)
        object["response"].push_back(
            json_object{{"hz", std::lround(point.hz)}, {"db", to_tenths(point.db - best)}});
}

} // namespace

std::string text_of_devices(const check_result &done)
{
    const auto at_rate = [](const std::string &name, double rate) {
        return shown(name) + (rate > 0 ? joined(0, " at ", rate, " Hz") : "");
    };
    std::string text;
    if (!done.output.empty()) text = "played to " + at_rate(done.output, done.task.output_rate);
    if (!done.input.empty())
        text += (text.empty() ? "heard from " : ", heard from ") +
                at_rate(done.input, done.task.input_rate);
    return text;
}

std::string text_of_verdict(const check_result &done)
{
    const bool is_here = !done.output.empty(); // what plays, and not what was recorded of it
    switch (done.verdict.state) {
    case path_state::good:
        if (!done.task.hears) return "good: it plays, at a rate that has room for the band";
        if (!done.figures.heard) return "good: it hears, and the band is quiet enough";
        return is_here ? "good: this machine can send and hear"
                       : "good: what was played is heard as it should be";
    case path_state::limited: return "limited: messages get through, if less far or less surely";
    default: return "bad: messages do not get through";
    }
}

std::vector<std::pair<std::string, std::string>> rows_of(const check_result &done)
{
    const path_figures &figures = done.figures;
    std::vector<std::pair<std::string, std::string>> rows;
    if (!done.task.hears) return rows;
    const auto add = [&](const char *name, const std::string &text) {
        rows.emplace_back(name, text);
    };
    if (figures.heard) add("Response", response_text(figures));
    if (figures.edge_hz) add("Edge", joined(1, "at ", *figures.edge_hz / 1000, " kHz"));
    if (figures.noise_dbfs) add("Noise", noise_text(figures));
    add("Clipping", clipping_text(figures));
    if (!figures.heard) return rows;
    add("Resampling", figures.image_db && *figures.image_db > -kMostShown
                          ? joined(0, "tones have doubles of ", *figures.image_db, " dB")
                          : "tones have no doubles");
    add("Audible", figures.leak_db && *figures.leak_db > -kMostShown
                       ? joined(0, *figures.leak_db, " dB below 16 kHz, beside the tones")
                       : "nothing below 16 kHz that stands out of the noise");
    if (figures.latency_ms) add("Latency", joined(0, *figures.latency_ms, " ms"));
    if (figures.clock_ppm) add("Clock", joined(0, std::showpos, *figures.clock_ppm + 0.0, " ppm"));
    add("Bursts", bursts_text(figures));
    return rows;
}

std::string text_of(const check_result &done)
{
    constexpr int kNameWidth = 12;
    std::string text = text_of_devices(done) + '\n';
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    for (const auto &[name, value] : rows_of(done))
        text += joined(0, std::left, std::setw(kNameWidth), name, value, '\n');
    text += joined(0, std::left, std::setw(kNameWidth), "Verdict", text_of_verdict(done), '\n');
    for (const path_reason reason : done.verdict.reasons)
        text += "- " + advice_on(reason, done.figures, done.task) + '\n';
    return text;
}

std::string line_of(const check_result &done)
{
    const path_figures &figures = done.figures;
    json_object object{{"verdict", word_for(done.verdict.state)},
                       {"reasons", json_object::array()}};
    for (const path_reason reason : done.verdict.reasons)
        object["reasons"].push_back(word_for(reason));
    if (!done.output.empty()) object["output"] = done.output;
    if (done.task.output_rate > 0) object["output_rate"] = std::lround(done.task.output_rate);
    if (!done.input.empty()) object["input"] = done.input;
    if (done.task.input_rate > 0) object["input_rate"] = std::lround(done.task.input_rate);
    if (figures.seconds <= 0) return line_of(object);
    object["seconds"] = to_milliseconds(figures.seconds);
    object["level_dbfs"] = to_tenths(figures.level_dbfs);
    put(object, "noise_dbfs", figures.noise_dbfs);
    object["clipped_samples"] = figures.clipped_samples;
    object["lost_samples"] = figures.lost_samples;
    object["heard"] = figures.heard;
    if (figures.heard) put_response(object, figures);
    return line_of(object);
}

} // namespace tonelink::tool
