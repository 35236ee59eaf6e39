#include "child_process.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tonelink::test {

namespace {

constexpr auto kPoll = std::chrono::milliseconds{20};
constexpr auto kPatience = std::chrono::minutes{1};

std::vector<char *> pointers_to(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    for (auto &text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

pid_t start(std::vector<std::string> command, const environment &added, const std::string &output)
{
    // All that needs memory is done before the fork.
    environment variables;
    for (char **variable = environ; *variable != nullptr; ++variable)
        variables.push_back(*variable);
    variables.insert(variables.begin(), added.begin(), added.end()); // the first of a name counts
    const auto arguments = pointers_to(command);
    const auto variable_pointers = pointers_to(variables);

    const pid_t id = fork();
    if (id < 0) throw std::runtime_error{"cannot fork"};
    if (id > 0) return id;
    prctl(PR_SET_PDEATHSIG, SIGTERM); // also when the test is killed
    const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    execvpe(arguments[0], arguments.data(), variable_pointers.data());
    _exit(127);
}

} // namespace

child_process::child_process(const std::vector<std::string> &command, const environment &added,
                             const std::string &output)
    : id_{start(command, added, output)}
{
}

void child_process::end()
{
    if (has_ended()) return;
    kill(id_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{10};
    while (!has_ended()) {
        if (std::chrono::steady_clock::now() > deadline) kill(id_, SIGKILL);
        std::this_thread::sleep_for(kPoll);
    }
}

bool child_process::has_ended()
{
    if (id_ > 0 && waitpid(id_, nullptr, WNOHANG) == id_) id_ = -1;
    return id_ < 0;
}

bool run(const std::vector<std::string> &command, const environment &added,
         const std::string &output)
{
    int status = 0;
    return waitpid(start(command, added, output), &status, 0) > 0 && status == 0;
}

bool wait_for(child_process &child, const std::function<bool()> &ready)
{
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!ready()) {
        if (child.has_ended() || std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(kPoll);
    }
    return true;
}

} // namespace tonelink::test
