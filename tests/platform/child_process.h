// A program that a test runs beside itself, and ends by its id.
#pragma once

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tonelink::test {

class child_process {
public:
    /// Starts a program by a line of the shell.
    explicit child_process(const std::string &command)
    {
        const std::string line = "exec " + command;
        id_ = fork();
        if (id_ < 0) throw std::runtime_error{"cannot fork"};
        if (id_ > 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test is killed
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;
    ~child_process()
    {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }

    /// Polls until `ready`, while the program runs.
    template <class Condition> bool wait_for(Condition ready) const
    {
        siginfo_t ended{};
        while (ended.si_pid == 0 && !ready()) {
            std::this_thread::sleep_for(std::chrono::milliseconds{20});
            waitid(P_PID, static_cast<id_t>(id_), &ended, WEXITED | WNOHANG | WNOWAIT);
        }
        return ended.si_pid == 0;
    }

private:
    pid_t id_ = -1;
};

} // namespace tonelink::test
