// Where a line goes and how it looks there.

#include <array>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pty.h>
#include <syslog.h>
#include <unistd.h>

#include "tonelink_platform/host.h"

namespace tonelink::test {

namespace {

std::string with_time_as_t(const std::string &text)
{
    static const std::regex time{R"([0-2]\d:[0-5]\d:[0-6]\d\.\d{3})"};
    return std::regex_replace(text, time, "T");
}

/// What `act` writes to standard error, where T stands for each time of day.
template <class Act> std::string written_by(Act act)
{
    testing::internal::CaptureStderr();
    act();
    return with_time_as_t(testing::internal::GetCapturedStderr());
}

} // namespace

// Whether there is a syslog or not: LOG_PERROR shows what is on its way there.
TEST(Log, MakesOneLineOfACallWhereItIsWanted)
{
    const std::string long_word(2000, 'x');
    const auto text = "  common: \n address_=AA\r\n" + long_word + " 100 %d \n\n";
    const auto line = " TAG:   common: address_=AA " + long_word + " 100 %d\n";
    openlog("test", LOG_PERROR, LOG_USER);
    for (const auto &[priority, letter, level] : {std::tuple{2, "T V", LOG_DEBUG},
                                                  {3, "T D", LOG_DEBUG},
                                                  {4, "T I", LOG_INFO},
                                                  {5, "T W", LOG_WARNING},
                                                  {6, "T E", LOG_ERR},
                                                  {7, "T F", LOG_CRIT},
                                                  {99, "T I", LOG_INFO}})
        for (const auto &[target, written] : {std::pair{"", std::string{}},
                                              {"syslog", "test:" + line},
                                              {"stderr", letter + line}}) {
            setlogmask(LOG_MASK(level));
            setenv("TONELINK_LOG", target, 1);
            EXPECT_EQ(
                written_by([&, p = priority] { __dlog_print(0, p, "TAG", "%s", text.c_str()); }),
                written);
        }
    for (const int result : {tonelink_host_set_log("nowhere"), __dlog_print(0, 4, nullptr, "%d", 1),
                             __dlog_print(0, 4, "TAG", nullptr)})
        EXPECT_EQ(result, -22);
}

TEST(Log, LinesOfSeveralThreadsStayWhole)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    const auto written = written_by([] {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([] {
                for (int line = 0; line < 200; ++line) __dlog_print(0, 4, "TAG", "some words");
            });
    });
    std::string lines;
    for (int line = 0; line < 4 * 200; ++line) lines += "T I TAG: some words\n";
    EXPECT_EQ(written, lines);
}

TEST(Log, IsColouredOnATerminalOnly)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    int terminal = -1, standard_error = -1;
    ASSERT_EQ(openpty(&terminal, &standard_error, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(dup2(standard_error, STDERR_FILENO), STDERR_FILENO);
    for (const auto &[no_color, type, shown] :
         {std::tuple{"", "xterm", "\033[2mT \033[0m\033[31mE\033[0m TAG: text\r\n"},
          {"1", "xterm", "T E TAG: text\r\n"},
          {"", "dumb", "T E TAG: text\r\n"}}) {
        setenv("NO_COLOR", no_color, 1);
        setenv("TERM", type, 1);
        __dlog_print(0, 6, "TAG", "text");
        std::array<char, 256> text{};
        EXPECT_GT(read(terminal, text.data(), text.size() - 1), 0);
        EXPECT_EQ(with_time_as_t(text.data()), shown);
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
    const std::string words =
        "TONELINK_BT_ADDRESS is \"hci0\"; it can be an address like AA:BB:CC:DD:EE:FF";
    EXPECT_EQ(written_by([&] {
                  EXPECT_EQ(bt_adapter_get_address(&address), -22);
                  __dlog_print(0, 4, "TAG", "next");
              }),
              "T E TONE_LINK_HOST: TONELINK_LOG is \"nowhere\"; it can be stderr, syslog or none\n"
              "T E TONE_LINK_HOST: " +
                  words + "\nT I TAG: next\n");
    std::string text(7, '?');
    EXPECT_EQ(tonelink_host_get_last_error(text.data(), 5), words.size());
    EXPECT_EQ(text, std::string("TONE\0??", 7));
}

} // namespace tonelink::test
