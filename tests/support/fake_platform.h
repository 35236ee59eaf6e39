// A platform that keeps books: every call with its arguments in order, every line of log, what is
// alive, and what was misused. Results can be scripted call by call; callbacks come from threads of
// its own. Test programs are linked so that pauses and threads come here, too: a pause lasts no
// time worth mentioning.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tonelink::test {

/// Whose calls: the test's own thread's, or those of the library's and the device's threads.
enum class by { all, control, others };

class fake_platform {
public:
    // ---- What it is; set before use ----
    int master_volume = 50;
    int tv_master_volume = 50; // of the television's own loudspeakers
    int volume = 9;            // of sound type 1
    int floor = 0;             // under the ultrasound's volume
    int max_volume = 15;
    std::optional<bool> av_product{}; // unset: no such key
    std::string address = "11:22:33:44:AB:CD";
    bool device_plays = false;   // a prepared output calls its callback until that is removed
    bool keeps_samples = false;  // in `writes`
    bool has_pauses = true;      // else none lasts any time, nor is it recorded
    bool has_stream_info = true; // else its handle is null
    bool reuses_handles = false; // of outputs that are gone, and of the stream information that
                                 // then goes with them
    std::vector<std::vector<int16_t>> writes{};

    /// Back to the above, with nothing recorded and nothing scripted. Stops its devices.
    void reset();

    // ---- Script ----
    /// The next `count` calls of `name` fail; 0: none, whatever was scripted before.
    void fail(const std::string &name, int code, int count = 1);
    /// The call with this index among all that can fail does; for good: and so do all later ones of
    /// its function. Its name, once it has.
    void fail_any(int index);
    void fail_for_good(int index);
    std::string failed() const;
    /// The same with two of the test's own thread's calls, of which there are as many in each run;
    /// and how many of those there have been since.
    void fail_two(int first, int second);
    int own_calls() const;
    /// Something that happens on each call of `name`, before it takes effect, or on each line of
    /// log with this text.
    void on(const std::string &name, std::function<void()> hook);

    // ---- What the world does; returns when it is done ----
    void run_callback();                  // the device wants data; not beside other threads
    void turn_master_volume(unsigned to); // the user turns it, and the listener hears of it
    void wait_for_writes(int count);      // to the output made last

    // ---- Books ----
    /// What happened, a line for each call, "audio_out_prepare(out1)", and for each line of log,
    /// "tonelink_tx_start: ENTER\\n" with its line breaks as here. Lines of log come below the name
    /// of their file, "[tonelink_tx.cpp]", where it changes.
    std::string trace(by whom = by::all) const;
    /// What a function or a file has logged, in the same form.
    std::string said(const std::string &by) const;
    /// How often a call was made or a line of log written.
    int count(const std::string &text) const;
    int writes_made() const; // to the output made last
    void forget();           // what has been recorded so far
    /// What is alive or has been misused, as text: empty when all is well.
    std::string left_over() const;
};

/// The one platform of the process.
extern fake_platform platform;

} // namespace tonelink::test
