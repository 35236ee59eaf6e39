// A sound server of a test's own with a sink that nobody hears, reached through ALSA's pulse
// plug-in, and what the sink's monitor hears of it.
#pragma once

#include <memory>
#include <string>

#include "child_process.h"
#include "scratch_folder.h"
#include "test_output.h"

namespace tonelink::test {

class sound_server {
public:
    /// Starts it and makes it the machine's sound card, for what the process opens from now on. A
    /// failed test when it cannot be had.
    sound_server();

    /// Begins to record what is played; ends the recording before it.
    void record();

    /// What has been recorded so far.
    sample_row heard() const;

    /// Polls until `ready`, for a minute at most or while the recorder lives.
    bool wait_until(const std::function<bool()> &ready);

private:
    scratch_folder folder_;
    std::string socket_ = folder_.file("socket");
    std::string monitor_ = folder_.file("monitor.raw");
    environment home_ = {"XDG_RUNTIME_DIR=" + folder_.file("run"), "HOME=" + folder_.file(""),
                         "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder_.file("no-bus")};
    std::unique_ptr<child_process> server_;
    std::unique_ptr<child_process> recorder_;
};

} // namespace tonelink::test
