// Where a line goes and how it looks there.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <syslog.h>
#include <unistd.h>

#include "tonelink_platform/host.h"

namespace tonelink::test {

namespace {

using text_lines = std::vector<std::string>;

/// The lines that `act` writes to standard error, without the time of day that each begins with.
template <class Act> text_lines lines_of(Act act)
{
    testing::internal::CaptureStderr();
    act();
    std::istringstream text{testing::internal::GetCapturedStderr()};
    text_lines lines;
    for (std::string line; std::getline(text, line);) {
        constexpr auto kTime = "[0-2][0-9]:[0-5][0-9]:[0-6][0-9].[0-9][0-9][0-9] *";
        EXPECT_EQ(fnmatch(kTime, line.c_str(), 0), 0) << line;
        lines.push_back(line.substr(13));
    }
    return lines;
}

/// What a terminal shows of an error logged while standard error is that terminal.
std::string shown_on_terminal()
{
    int master = -1, slave = -1;
    EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    const int before = dup(STDERR_FILENO);
    dup2(slave, STDERR_FILENO);
    __dlog_print(0, 6, "TAG", "text");
    dup2(before, STDERR_FILENO);
    std::array<char, 256> text{};
    EXPECT_GT(read(master, text.data(), text.size() - 1), 0);
    for (const int descriptor : {master, slave, before}) close(descriptor);
    return text.data();
}

} // namespace

TEST(Log, IsSilentUnlessToldOtherwise)
{
    unsetenv("TONELINK_LOG");
    openlog("test", LOG_PERROR, LOG_USER);
    EXPECT_EQ(lines_of([] { __dlog_print(0, 4, "TAG", "%s", "unheard"); }), text_lines{});
    EXPECT_EQ(tonelink_host_set_log("nowhere"), -22);
    EXPECT_EQ(__dlog_print(0, 4, nullptr, "%d", 1), -22);
    EXPECT_EQ(__dlog_print(0, 4, "TAG", nullptr), -22);
}

TEST(Log, MakesOneLineOfACall)
{
    setenv("TONELINK_LOG", "stderr", 1);
    const std::string long_text(2000, 'x');
    for (const auto &[priority, text, line] : {
             std::tuple{4, std::string{"common: plain"}, std::string{"I TAG: common: plain"}},
             {4, "ENTER\n", "I TAG: ENTER"},
             {4, "common: \n address_=AA \n\n", "I TAG: common: address_=AA"},
             {4, "\n", "I TAG: "},
             {2, "a\r\nb", "V TAG: a b"},
             {3, "  indented", "D TAG:   indented"},
             {5, "w", "W TAG: w"},
             {6, "e", "E TAG: e"},
             {7, "f", "F TAG: f"},
             {99, "?", "I TAG: ?"},
             {4, long_text, "I TAG: " + long_text},
         })
        EXPECT_EQ(
            lines_of([&, p = priority, t = text.c_str()] { __dlog_print(0, p, "TAG", "%s", t); }),
            text_lines{line});
}

TEST(Log, LinesOfSeveralThreadsStayWhole)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    constexpr std::size_t kThreads = 4, kLines = 200;
    const std::string text(100, '7');
    auto lines = lines_of([&] {
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < kThreads; ++thread)
            threads.emplace_back([&, thread] {
                for (std::size_t i = 0; i < kLines; ++i)
                    __dlog_print(0, 4, "TAG", "%zu says %s", thread, text.c_str());
            });
        for (auto &thread : threads) thread.join();
    });
    std::ranges::sort(lines);
    ASSERT_EQ(lines.size(), kThreads * kLines);
    for (std::size_t i = 0; i < lines.size(); ++i)
        ASSERT_EQ(lines[i], "I TAG: " + std::to_string(i / kLines) + " says " + text);
}

TEST(Log, IsColouredOnATerminalOnly)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    EXPECT_NE(shown_on_terminal().find("\033[31mE\033[0m TAG: text\r\n"), std::string::npos);
    for (const auto &[name, value] : {std::pair{"NO_COLOR", "1"}, std::pair{"TERM", "dumb"}}) {
        setenv(name, value, 1);
        EXPECT_EQ(shown_on_terminal().find('\033'), std::string::npos) << name;
        unsetenv("NO_COLOR");
    }
}

// Whether there is a syslog or not: LOG_PERROR shows what is on its way there.
TEST(Log, GoesToSyslog)
{
    ASSERT_EQ(tonelink_host_set_log("syslog"), 0);
    openlog("test", LOG_PERROR, LOG_USER);
    for (const auto &[priority, level] :
         {std::pair{2, LOG_DEBUG}, std::pair{3, LOG_DEBUG}, std::pair{4, LOG_INFO},
          std::pair{5, LOG_WARNING}, std::pair{6, LOG_ERR}, std::pair{7, LOG_CRIT}}) {
        setlogmask(LOG_MASK(level));
        testing::internal::CaptureStderr();
        __dlog_print(0, priority, "TAG", "100 %%\n\n");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "test: TAG: 100 %\n") << priority;
    }
}

// Also that its own variable is unusable; and whoever could do nothing keeps the line for the
// program.
TEST(Log, TellsOnceWhatTheHostCouldNotDo)
{
    EXPECT_EQ(tonelink_host_get_last_error(nullptr, 0), 0u);
    setenv("TONELINK_LOG", "nowhere", 1);
    setenv("TONELINK_BT_ADDRESS", "hci0", 1);
    char *address = nullptr;
    const auto lines = lines_of([&] {
        EXPECT_EQ(bt_adapter_get_address(&address), -22);
        __dlog_print(0, 4, "TAG", "next");
    });
    const std::string words =
        "TONELINK_BT_ADDRESS is \"hci0\"; it can be an address like AA:BB:CC:DD:EE:FF";
    EXPECT_EQ(lines, (text_lines{"E TONE_LINK_HOST: TONELINK_LOG is \"nowhere\"; it can be "
                                 "stderr, syslog or none",
                                 "E TONE_LINK_HOST: " + words, "I TAG: next"}));
    std::string text(7, '?');
    EXPECT_EQ(tonelink_host_get_last_error(text.data(), 5), words.size());
    EXPECT_EQ(text, std::string("TONE\0??", 7));
}

} // namespace tonelink::test
