// `tonelink decode`: the messages in sound files.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <future>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "decode/decode_report.h"
#include "decode/decode_sound.h"
#include "decode/lengths_option.h"
#include "errors.h"
#include "live_line.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr const char *kDecodeExamples = R"(Examples:
  tonelink decode recording.wav
  arecord -f S16_LE -r 44100 -t raw -d 10 | tonelink decode --raw -
Exit status: 0 when a message was heard, 1 when none was, 2 for wrong usage or a file
that cannot be read.)";

constexpr int kNothingHeard = 1;
constexpr int kUnreadable = 2;
constexpr auto kTick = std::chrono::milliseconds{200};

struct decode_options {
    std::vector<std::string> files;
    message_lengths lengths = message_lengths::both;
    int channel = 0;
    bool raw = false;
    bool all = false;
    bool json = false;
};

/// What is done with each file.
struct decode_plan {
    message_lengths lengths;
    report_form form;
    bool every_acceptance;
    bool names_files;
};

/// One file on its way: what becomes of it, and how far it is.
struct decoding {
    explicit decoding(sound_source which) : source{std::move(which)} {}

    sound_source source;
    std::atomic<double> progress{0};
    std::string lines{};
    std::string remark{}; ///< for standard error; a failure when `is_readable` is false
    bool is_readable = true;
    bool is_done = false;
};

void decode_file(decoding &file, const decode_plan &plan)
{
    const std::string name = plan.names_files ? file.source.path : "";
    decoding_observer observer{.progressed = [&](double share) { file.progress = share; }};
    if (plan.every_acceptance)
        observer.accepted = [&](const message_bits &message, int64_t sample) {
            file.lines += line_of_acceptance(message, sample, name, plan.form);
        };
    const decoded_sound sound = decode_sound(file.source, plan.lengths, observer);
    if (!plan.every_acceptance)
        for (const message_summary &message : sound.messages)
            file.lines += line_of(message, name, plan.form);
    if (!sound.has_band)
        file.remark = name_of(file.source) + " has too low a sample rate for bursts";
}

void try_to_decode(decoding &file, const decode_plan &plan)
{
    try {
        decode_file(file, plan);
    } catch (const std::exception &error) {
        file.remark = error.what();
        file.is_readable = false;
    }
    file.progress = 1;
}

/// Decodes files side by side, as many as there are cores, and prints what each of them holds in
/// their order.
class decode_run {
public:
    decode_run(const decode_options &options, const decode_plan &plan) : plan_{plan}
    {
        for (const std::string &path : options.files)
            files_.push_back(
                std::make_unique<decoding>(sound_source{path, options.channel, options.raw}));
    }

    /// Returns the exit status.
    int run()
    {
        const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());
        std::vector<std::future<void>> workers;
        for (std::size_t i = 0; i < std::min(cores, files_.size()); ++i)
            workers.push_back(std::async(std::launch::async, [this] { work(); }));
        try {
            print_all();
        } catch (...) {
            next_ = files_.size(); // nobody waits for the rest
            throw;
        }
        return status_;
    }

private:
    void work()
    {
        for (std::size_t i = next_++; i < files_.size(); i = next_++) {
            try_to_decode(*files_[i], plan_);
            const std::lock_guard lock{mutex_};
            files_[i]->is_done = true;
            done_.notify_one();
        }
    }

    /// Waits a moment for a file.
    bool is_done(std::size_t i)
    {
        std::unique_lock lock{mutex_};
        return done_.wait_for(lock, kTick, [&] { return files_[i]->is_done; });
    }

    void print_all()
    {
        for (std::size_t i = 0; i < files_.size(); ++i) {
            while (!is_done(i)) show_progress();
            print_file(*files_[i]);
        }
    }

    void show_progress()
    {
        double sum = 0;
        for (const auto &file : files_) sum += file->progress;
        const double share = sum / static_cast<double>(files_.size());
        live_.show_share("decoding", share);
    }

    void print_file(const decoding &file)
    {
        live_.clear();
        print(file.lines);
        if (!file.remark.empty()) std::cerr << "tonelink decode: " << file.remark << '\n';
        if (!file.is_readable)
            status_ = kUnreadable;
        else if (!file.lines.empty() && status_ == kNothingHeard)
            status_ = kDone;
    }

    decode_plan plan_;
    std::vector<std::unique_ptr<decoding>> files_;
    std::atomic<std::size_t> next_{0};
    std::mutex mutex_; // of each `is_done`
    std::condition_variable done_;
    live_line live_{stderr};
    int status_ = kNothingHeard;
};

int decode(const decode_options &options)
{
    const decode_plan plan{.lengths = options.lengths,
                           .form = options.json ? report_form::json : report_form::text,
                           .every_acceptance = options.all,
                           .names_files = options.json || options.files.size() > 1};
    if (std::ranges::count(options.files, "-") > 1)
        throw wrong_usage{"standard input can be read once; one - is right"};
    return decode_run{options, plan}.run();
}

} // namespace

void add_decode_command(CLI::App &program, int &status)
{
    auto options = std::make_shared<decode_options>();
    CLI::App *command = program.add_subcommand("decode", "Read the messages in sound files");
    command->footer(kDecodeExamples);
    command
        ->add_option("FILE", options->files,
                     "Sound files: WAV, FLAC or any that libsndfile reads; - is standard input")
        ->type_name("")
        ->required();
    add_lengths_option(*command, options->lengths);
    command
        ->add_option("--channel", options->channel,
                     "Listen to one channel alone, 1 for the first (default: a mix of all)")
        ->type_name("N")
        ->transform(number_from(1, 1024));
    command->add_flag("--raw", options->raw,
                      "The files are bare samples: 16 bits, little-endian, mono, 44100 Hz");
    command->add_flag("--all", options->all,
                      "Print every acceptance: a burst is accepted at some dozen positions");
    command->add_flag("--json", options->json, "Print an object of JSON a line, for programs");
    command->callback([options, &status] {
        status = kUnreadable; // also when something is thrown
        status = decode(*options);
    });
}

} // namespace tonelink::tool
