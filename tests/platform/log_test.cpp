// Where a line goes and how it looks there.

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <syslog.h>
#include <unistd.h>

#include "syslog_stand_in.h"
#include "tonelink_platform/host.h"

namespace tonelink::test {

namespace {

/// The lines that `act` writes to standard error.
template <class Act> std::vector<std::string> lines_of(Act act)
{
    testing::internal::CaptureStderr();
    act();
    std::istringstream text{testing::internal::GetCapturedStderr()};
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

/// Whether a line is a time of day followed by `rest`.
testing::AssertionResult is_line(const std::string &line, const std::string &rest)
{
    unsigned hours = 99, minutes = 99, seconds = 99;
    int length = 0;
    std::sscanf(line.c_str(), "%2u:%2u:%2u.%*3u%n", &hours, &minutes, &seconds, &length);
    if (length == 12 && hours < 24 && minutes < 60 && seconds <= 60 &&
        line.substr(12) == ' ' + rest)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << '"' << line << "\" is not a time and \"" << rest << '"';
}

/// Standard error is a terminal while this lives.
class terminal {
public:
    terminal() : before_{dup(STDERR_FILENO)}
    {
        int slave = -1;
        if (openpty(&master_, &slave, nullptr, nullptr, nullptr) != 0)
            throw std::runtime_error{"no pseudo terminal"};
        dup2(slave, STDERR_FILENO);
        close(slave);
    }
    terminal(const terminal &) = delete;
    terminal &operator=(const terminal &) = delete;
    ~terminal()
    {
        dup2(before_, STDERR_FILENO);
        close(before_);
        close(master_);
    }

    /// What has been shown since the last call; at least a line.
    std::string shown() const
    {
        std::string text(4096, '\0');
        const auto count = read(master_, text.data(), text.size());
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }

private:
    int before_;
    int master_ = -1;
};

} // namespace

TEST(Log, IsSilentUnlessToldOtherwise)
{
    unsetenv("TONELINK_LOG");
    EXPECT_TRUE(lines_of([] { __dlog_print(0, 4, "TAG", "%s", "unheard"); }).empty());
    EXPECT_TRUE(syslog_lines().empty());
    EXPECT_EQ(tonelink_host_set_log("loudspeaker"), -22);
    EXPECT_EQ(__dlog_print(0, 4, nullptr, "%d", 1), -22);
    EXPECT_EQ(__dlog_print(0, 4, "TAG", nullptr), -22);
}

TEST(Log, MakesOneLineOfACall)
{
    setenv("TONELINK_LOG", "stderr", 1);
    struct expectation {
        int priority;
        const char *text;
        std::string rest;
    };
    const std::string long_text(2000, 'x');
    const std::vector<expectation> cases = {
        {4, "common: plain", "I TAG: common: plain"},
        {4, "ENTER\n", "I TAG: ENTER"},
        {4, "common: \n address_=AA \n\n", "I TAG: common: address_=AA"},
        {4, "\n", "I TAG: "},
        {2, "a\r\nb", "V TAG: a b"},
        {3, "  indented", "D TAG:   indented"},
        {5, "w", "W TAG: w"},
        {6, "e", "E TAG: e"},
        {7, "f", "F TAG: f"},
        {99, "?", "I TAG: ?"},
        {4, long_text.c_str(), "I TAG: " + long_text},
    };
    for (const auto &[priority, text, rest] : cases) {
        const auto lines = lines_of(
            [&, p = priority, t = text] { EXPECT_EQ(__dlog_print(0, p, "TAG", "%s", t), 0); });
        ASSERT_EQ(lines.size(), 1u) << rest;
        EXPECT_TRUE(is_line(lines[0], rest));
    }
}

TEST(Log, LinesOfSeveralThreadsStayWhole)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    constexpr int kThreads = 4, kLines = 200;
    const auto lines = lines_of([] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread)
            threads.emplace_back([thread] {
                for (int i = 0; i < kLines; ++i)
                    __dlog_print(0, 4, "TAG", "%d says %d and %0100d", thread, i, 7);
            });
        for (auto &thread : threads) thread.join();
    });
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    std::vector<int> next(kThreads, 0);
    const std::string tail = " and " + std::string(99, '0') + "7";
    for (const auto &line : lines) {
        int thread = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "%*s I TAG: %d", &thread), 1) << line;
        ASSERT_TRUE(thread >= 0 && thread < kThreads);
        auto &number = next[static_cast<std::size_t>(thread)];
        ASSERT_TRUE(is_line(line, "I TAG: " + std::to_string(thread) + " says " +
                                      std::to_string(number++) + tail));
    }
}

TEST(Log, IsColouredOnATerminalOnly)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    const terminal screen;
    __dlog_print(0, 6, "TAG", "red");
    const auto coloured = screen.shown();
    EXPECT_NE(coloured.find("\033[31mE\033[0m TAG: red\r\n"), std::string::npos) << coloured;
    for (const auto &[name, value] : {std::pair{"NO_COLOR", "1"}, std::pair{"TERM", "dumb"}}) {
        setenv(name, value, 1);
        __dlog_print(0, 6, "TAG", "plain");
        EXPECT_EQ(screen.shown().find('\033'), std::string::npos) << name;
        unsetenv("NO_COLOR");
    }
}

TEST(Log, GoesToSyslog)
{
    ASSERT_EQ(tonelink_host_set_log("syslog"), 0);
    const auto lines = lines_of([] {
        __dlog_print(0, 4, "TAG", "text %d\n\n", 1);
        __dlog_print(0, 6, "TAG", "100 %%");
    });
    EXPECT_TRUE(lines.empty());
    ASSERT_EQ(syslog_lines().size(), 2u);
    EXPECT_EQ(syslog_lines()[0].priority, LOG_USER | LOG_INFO);
    EXPECT_EQ(syslog_lines()[0].text, "TAG: text 1");
    EXPECT_EQ(syslog_lines()[1].priority, LOG_USER | LOG_ERR);
    EXPECT_EQ(syslog_lines()[1].text, "TAG: 100 %");
}

TEST(Log, SaysOnceThatItsVariableIsUnusable)
{
    setenv("TONELINK_LOG", "loudspeaker", 1);
    const auto lines = lines_of([] {
        __dlog_print(0, 4, "TAG", "first");
        __dlog_print(0, 4, "TAG", "second");
    });
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(is_line(lines[0], "E TONE_LINK_HOST: TONELINK_LOG is \"loudspeaker\"; it can be "
                                  "stderr, syslog or none"));
    EXPECT_TRUE(is_line(lines[1], "I TAG: first"));
    EXPECT_TRUE(is_line(lines[2], "I TAG: second"));
}

// Whoever could do nothing says so once in the log, and keeps the line for the program.
TEST(Log, TellsWhatTheHostCouldNotDo)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    EXPECT_EQ(tonelink_host_get_last_error(nullptr, 0), 0u);
    ASSERT_EQ(tonelink_host_set_audio("wav:/missing/sound.wav"), 0);
    const std::string words =
        "cannot open the sound file \"/missing/sound.wav\": No such file or directory";
    const auto lines = lines_of([] {
        audio_out_h out = nullptr;
        audio_out_create_new(44100, 128, 113, &out);
        audio_out_prepare(out);
        audio_out_destroy(out);
    });
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(is_line(lines[0], "E TONE_LINK_HOST: " + words));
    std::string text(7, '?');
    EXPECT_EQ(tonelink_host_get_last_error(text.data(), 5), words.size());
    EXPECT_EQ(text, std::string("cann\0??", 7));
}

} // namespace tonelink::test
