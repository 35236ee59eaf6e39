// Where a line goes and how it looks there.

#include <regex>

#include <pty.h>
#include <syslog.h>
#include <unistd.h>

#include "test_output.h"

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
    // What a terminal would obey is shown instead.
    const auto text = "  common: \n address_=AA\r\n" + long_word +
                      " 100 %d \033[2J\u202E\u0085\x9B\u061C\xE2\x80\xC0\x9B \u00E9\U0001F3B5\n\n";
    const auto line =
        " TAG:   common: address_=AA " + long_word +
        " 100 %d \\x1B[2J\\xE2\\x80\\xAE\\xC2\\x85\\x9B\\xD8\\x9C\\xE2\\x80\\xC0\\x9B "
        "\u00E9\U0001F3B5\n";
    openlog("test", LOG_PERROR, LOG_USER);
    int priority = 2; // and on: the last one is none
    for (const auto &[letter, level] :
         {std::pair{'V', LOG_DEBUG}, std::pair{'D', LOG_DEBUG}, std::pair{'I', LOG_INFO},
          std::pair{'W', LOG_WARNING}, std::pair{'E', LOG_ERR}, std::pair{'F', LOG_CRIT},
          std::pair{'I', LOG_INFO}}) {
        setlogmask(LOG_MASK(level));
        const auto written_to = [&](const char *target) {
            setenv("TONELINK_LOG", target, 1);
            return written_by([&] { __dlog_print(0, priority, "TAG", "%s", text.c_str()); });
        };
        EXPECT_EQ(written_to(""), "");
        EXPECT_EQ(written_to("syslog"), "test:" + line);
        EXPECT_EQ(written_to("stderr"), std::string{"T "} + letter + line);
        ++priority;
    }
    for (const int result : {tonelink_host_set_log("nowhere"), __dlog_print(0, 4, nullptr, "%d", 1),
                             __dlog_print(0, 4, "TAG", nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
}

TEST(Log, LinesOfSeveralThreadsStayWhole)
{
    ASSERT_EQ(tonelink_host_set_log("stderr"), 0);
    const auto log_lines = [] {
        for (int line = 0; line < 2000; ++line) __dlog_print(0, 4, "TAG", "%0100d", 7);
    };
    const auto written = written_by([&] { const std::jthread one{log_lines}, other{log_lines}; });
    std::string expected;
    for (int line = 0; line < 4000; ++line) expected += "T I TAG: " + std::string(99, '0') + "7\n";
    EXPECT_EQ(written, expected);
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
        char text[256] = "";
        EXPECT_GT(read(terminal, text, sizeof text - 1), 0);
        EXPECT_EQ(with_time_as_t(text), shown);
    }
}

// Also that its own variable is unusable; and whoever could do nothing keeps the line for the
// program.
TEST(Log, TellsOnceWhatTheHostCouldNotDo)
{
    EXPECT_EQ(last_error(), "");
    setenv("TONELINK_LOG", "nowhere", 1);
    setenv("TONELINK_AUDIO", "elsewhere", 1);
    const auto written = written_by([] {
        EXPECT_EQ(audio_out_prepare(test_output{}), kNotOpened);
        __dlog_print(0, 4, "TAG", "next");
    });
    EXPECT_EQ(written,
              "T E TONE_LINK_HOST: TONELINK_LOG is \"nowhere\"; it can be stderr, syslog or "
              "none\nT E TONE_LINK_HOST: " +
                  last_error() + "\nT I TAG: next\n");
    std::string text(7, '?');
    EXPECT_EQ(tonelink_host_get_last_error(text.data(), 5), last_error().size());
    EXPECT_EQ(text, std::string("TONE\0??", 7));
}

} // namespace tonelink::test
