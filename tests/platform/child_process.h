// A program that a test runs beside itself, and ends by its id.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace tonelink::test {

/// A variable of the child's environment, as NAME=value.
using environment = std::vector<std::string>;

class child_process {
public:
    /// Starts a program that is found in PATH. What it prints goes to the file `output`.
    child_process(const std::vector<std::string> &command, const environment &added,
                  const std::string &output);
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;
    ~child_process() { end(); }

    /// Ends it with SIGTERM, or SIGKILL if that does not help, and waits for it.
    void end();

    /// Whether it has ended by itself.
    bool has_ended();

private:
    pid_t id_ = -1;
};

/// Runs a program to its end; true for exit status 0.
bool run(const std::vector<std::string> &command, const environment &added,
         const std::string &output);

/// Polls until `ready`, for a minute at most or while `child` lives.
bool wait_for(child_process &child, const std::function<bool()> &ready);

} // namespace tonelink::test
