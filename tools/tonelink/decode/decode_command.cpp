// `tonelink decode`: the messages in sound files.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "decode/decode_report.h"
#include "decode/decode_sound.h"
#include "decode/listening_options.h"
#include "decode/reception_text.h"
#include "decode/sound_report.h"
#include "errors.h"
#include "events.h"
#include "live_line.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr const char *kDecodeExamples = R"(Examples:
  tonelink decode recording.wav
  arecord -f S16_LE -r 44100 -t raw | tonelink decode --raw -
Bare samples and WAV through a pipe are told as they come; Ctrl-C ends with what was heard.
Other formats are read to their end first, which is up to 1 GiB.
Exit status: 0 when a message was heard, 1 when none was, 2 for wrong usage, 3 for a file
that cannot be read.)";

constexpr auto kTick = std::chrono::milliseconds{200};
constexpr std::size_t kMostToPrint = 1 << 20; // bytes of a file's lines that wait

struct decode_options {
    std::vector<std::string> files;
    listening wanted;
    int channel = 0;
    bool raw = false;
    bool all = false;
    bool json = false;
    bool quiet = false;
};

/// What is done with each file.
struct decode_plan {
    listening wanted;
    report_form form;
    bool every_burst; ///< with its figures
    bool names_files;
    bool is_quiet; ///< only the exit status tells, and what is wrong
};

/// One file on its way: what becomes of it, and how far it is.
struct decoding {
    explicit decoding(sound_source which) : source{std::move(which)} {}

    sound_source source;
    std::atomic<double> progress{0};    ///< 0 to 1
    std::atomic<double> seconds{0};     ///< read so far
    std::size_t samples = 0;            ///< the same; of the worker alone
    std::atomic<bool> is_stream{false}; ///< then its progress is not known

    // Under the lock of the decode_run until `is_done`.
    std::string lines{}; ///< that are to be printed
    std::vector<std::string>
        remarks{}; ///< for standard error; the last one is the failure where there was one
    bool has_heard = false;
    exit_status failed = kDone; ///< what becomes of its failure
    bool was_cut = false;       ///< by a signal, before its end
    bool is_done = false;
};

/// Decodes files side by side, as many as there are cores, and prints what each of them holds in
/// their order: of the first that is not through yet, each line at once.
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
        std::signal(SIGPIPE, SIG_IGN);
        const stop_signals signals;
        const stop_watch watch{signals, [this](int) { stop(); }};
        const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());
        std::vector<std::future<void>> workers;
        for (std::size_t i = 0; i < std::min(cores, files_.size()); ++i)
            workers.push_back(std::async(std::launch::async, [this] { work(); }));
        try {
            print_all();
        } catch (...) {
            stop(); // nobody waits for the rest
            throw;
        }
        return status_;
    }

private:
    void work()
    {
        for (std::size_t i = next_++; i < files_.size(); i = next_++) {
            decoding &file = *files_[i];
            const bool is_too_late = stop_.stop_requested();
            std::string reason;
            exit_status failed = kDone;
            try {
                if (!is_too_late) decode_file(file);
            } catch (const std::exception &error) {
                reason = error.what();
                failed = status_of(error);
            }
            const std::lock_guard lock{mutex_};
            file.progress = 1;
            if (is_too_late || (failed != kDone && stop_.stop_requested())) {
                file.was_cut = true; // which it need not stand
            } else if (failed != kDone) {
                file.remarks.push_back(reason);
                file.failed = failed;
            }
            file.is_done = true;
            news_.notify_one();
        }
    }

    void decode_file(decoding &file)
    {
        sound_reader sound{file.source, stop_.get_token()};
        file.is_stream = sound.is_stream();
        const std::string name = plan_.names_files ? file.source.path : "";
        const auto tell = [&](const std::string &line) { hand_over(file, line); };
        sound_report report{name, plan_.form, sound.is_stream(), tell};
        decoding_observer observer{
            .heard = [&](const tonelink_heard &heard) { report.add(heard); },
            .progressed = [&](std::size_t samples) { advance(file, sound, samples); }};
        if (plan_.every_burst)
            observer.heard = [&](const tonelink_heard &heard) {
                tell(line_of_figures(heard, name, plan_.form));
            };
        const tonelink_reception reception = decode_sound(sound, plan_.wanted, observer);
        report.finish();
        const bool is_nothing = reception.heard == 0 && !sound.was_cut(); // more might have come
        if (is_nothing && plan_.form == report_form::json) tell(line_of_nothing(reception, name));
        const std::lock_guard lock{mutex_};
        file.remarks.push_back(sound.remark());
        if (is_nothing && !plan_.is_quiet)
            file.remarks.push_back("nothing heard in " + sound.name() + ": " +
                                   advice_on(reception, plan_.wanted));
        file.has_heard = reception.heard > 0;
        file.was_cut = sound.was_cut();
    }

    static void advance(decoding &file, const sound_reader &sound, std::size_t samples)
    {
        file.samples += samples;
        const auto read = static_cast<double>(file.samples);
        file.seconds = read / sound.sample_rate();
        if (sound.length() > 0)
            file.progress = std::min(1.0, read / static_cast<double>(sound.length()));
    }

    /// Gives a line to whoever prints, once there is room for it.
    void hand_over(decoding &file, const std::string &line)
    {
        std::unique_lock lock{mutex_};
        room_.wait(lock,
                   [&] { return file.lines.size() < kMostToPrint || stop_.stop_requested(); });
        file.lines += line;
        news_.notify_one();
    }

    void print_all()
    {
        for (std::size_t i = 0; i < files_.size(); ++i)
            while (!print_more(*files_[i])) require_reader();
        tell_what_was_cut();
    }

    void tell_what_was_cut() const
    {
        const auto cut =
            std::ranges::count_if(files_, [](const auto &file) { return file->was_cut; });
        if (cut == 0) return;
        const std::string which = files_.size() == 1
                                      ? name_of(files_.front()->source)
                                      : joined(0, cut, " of ", files_.size(), " files");
        say("tonelink decode", "stopped before the end of " + which);
    }

    /// Prints what there is of a file, or how far all are after a moment without. Returns whether
    /// that was all of it.
    bool print_more(decoding &file)
    {
        std::unique_lock lock{mutex_};
        const bool has_news =
            news_.wait_for(lock, kTick, [&] { return file.is_done || !file.lines.empty(); });
        const std::string lines = std::exchange(file.lines, {});
        const bool is_done = file.is_done;
        lock.unlock();
        room_.notify_all();

        if (!has_news) show_progress(file);
        if (!lines.empty() && !plan_.is_quiet) {
            live_.clear();
            print(lines);
        }
        if (is_done) conclude(file);
        return is_done;
    }

    void conclude(const decoding &file)
    {
        live_.clear();
        for (const std::string &remark : file.remarks)
            if (!remark.empty()) say("tonelink decode", remark);
        if (file.has_heard && status_ == kNothingHeard) status_ = kDone;
        if (file.failed != kDone) status_ = file.failed;
    }

    void show_progress(const decoding &current)
    {
        if (plan_.is_quiet) return;
        if (current.is_stream) {
            live_.show(joined(1, "decoded ", current.seconds.load(), " s so far"));
            return;
        }
        double sum = 0;
        for (const auto &file : files_) sum += file->progress;
        const double share = sum / static_cast<double>(files_.size());
        live_.show_share("decoding", share);
    }

    void stop()
    {
        const std::lock_guard lock{mutex_}; // or hand_over() might not see it before it waits
        stop_.request_stop();
        room_.notify_all();
    }

    decode_plan plan_;
    std::vector<std::unique_ptr<decoding>> files_;
    std::atomic<std::size_t> next_{0};
    std::stop_source stop_;
    std::mutex mutex_;
    std::condition_variable news_; ///< for whoever prints
    std::condition_variable room_; ///< for whoever has lines
    live_line live_{stderr};
    int status_ = kNothingHeard;
};

int decode(const decode_options &options)
{
    const decode_plan plan{.wanted = options.wanted,
                           .form = options.json ? report_form::json : report_form::text,
                           .every_burst = options.all,
                           .names_files = options.json || options.files.size() > 1,
                           .is_quiet = options.quiet};
    if (options.json && options.quiet)
        throw wrong_usage{"--json tells what --quiet keeps to itself; either is right, not both"};
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
    add_listening_options(*command, options->wanted);
    command
        ->add_option("--channel", options->channel,
                     "Listen to one channel alone, 1 for the first (default: a mix of all)")
        ->type_name("NUMBER")
        ->transform(number_from(1, 1024));
    command->add_flag("--raw", options->raw,
                      "The files are bare samples: 16 bits, little-endian, mono, 44100 Hz");
    command->add_flag("--all", options->all,
                      "Print every burst, with its level, its noise and its clock");
    command->add_flag("--json", options->json, "Print an object of JSON a line, for programs");
    command->add_flag("-q,--quiet", options->quiet,
                      "Print no messages: the exit status says whether there is one");
    command->callback([options, &status] { status = decode(*options); });
}

} // namespace tonelink::tool
