// What is left of a file that is written, on file systems that make files without a name and on
// those that do not.
#include "output_file.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <map>
#include <sstream>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "errors.h"
#include "events.h"
#include "platform/scratch_folder.h"

static bool makes_nameless = true; // whether the file system does
static int taking_room = 0;        // a signal that comes then, or, negative, the error

// These go before the C library's own, to which they pass on.

extern "C" int openat(int folder, const char *path, int flags, ...)
{
    static const auto real =
        reinterpret_cast<int (*)(int, const char *, int, ...)>(dlsym(RTLD_NEXT, "openat64"));
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (makes_nameless || (flags & O_TMPFILE) != O_TMPFILE) return real(folder, path, flags, mode);
    errno = EOPNOTSUPP;
    return -1;
}

extern "C" int posix_fallocate(int file, off_t start, off_t size)
{
    static const auto real =
        reinterpret_cast<decltype(&posix_fallocate)>(dlsym(RTLD_NEXT, "posix_fallocate64"));
    if (taking_room > 0) raise(taking_room);
    return taking_room < 0 ? -taking_room : real(file, start, size);
}

namespace tonelink::tool {
namespace {

namespace fs = std::filesystem;

class OutputFile : public testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        makes_nameless = GetParam();
        fs::permissions(path(), fs::perms{0755});
        umask(022);
    }
    void TearDown() override
    {
        makes_nameless = true;
        taking_room = 0;
    }

    std::string path() const { return fs::path{folder.file("a")}.parent_path(); }

    void put(const std::string &name, const std::string &text) const
    {
        output_file file{folder.file(name)};
        fill(file, text);
        file.commit();
    }

    static void fill(const output_file &file, const std::string &text)
    {
        ASSERT_EQ(write(file.descriptor(), text.data(), text.size()), std::ssize(text));
    }

    /// Every file that is there, links followed, with its permissions and what it holds.
    std::map<std::string, std::string> files() const
    {
        std::map<std::string, std::string> found;
        for (const auto &entry : fs::directory_iterator{path()}) {
            std::ostringstream text;
            text << (entry.is_symlink() ? "-> " : "") << std::oct
                 << static_cast<int>(entry.status().permissions()) << ' '
                 << test::bytes_of(entry.path());
            found[entry.path().filename()] = text.str();
        }
        return found;
    }
    using listing = std::map<std::string, std::string>;

    const test::scratch_folder folder;
};

TEST_P(OutputFile, TakesThePlaceOfWhatIsThereAsItWas)
{
    put("new", "1");
    for (const auto &[name, mode] :
         {std::pair{"secret", 0600}, {"open", 0666}, {"linked", 06750}, {"set-id", 06755}})
        fs::permissions(folder.write(name, "long before"), fs::perms(mode));
    fs::create_hard_link(folder.file("linked"), folder.file("twin"));
    fs::create_symlink("secret", folder.file("link"));
    fs::create_symlink(folder.file("later"), folder.file("dangling"));
    for (const char *name : {"link", "open", "linked", "set-id", "dangling"}) put(name, name);
    EXPECT_EQ(files(), (listing{{"new", "644 1"},
                                {"secret", "600 link"},
                                {"link", "-> 600 link"},
                                {"open", "666 open"},
                                {"linked", "750 linked"},
                                {"twin", "750 linked"},
                                {"set-id", "755 set-id"},
                                {"later", "644 dangling"},
                                {"dangling", "-> 644 dangling"}}));
    EXPECT_TRUE(fs::is_symlink(folder.file("link")) && fs::is_symlink(folder.file("dangling")));
}

TEST_P(OutputFile, NeverReplacesAnotherOwnersFile)
{
    if (geteuid() != 0) GTEST_SKIP() << "nobody else's file can be made";
    constexpr uid_t kOther = 65534;
    const std::string place = folder.write("theirs", "a longer text");
    const auto number_and_owner = [&] {
        struct stat there {};
        stat(place.c_str(), &there);
        return std::pair{there.st_ino, there.st_uid};
    };
    ASSERT_EQ(chown(place.c_str(), kOther, kOther), 0);
    const auto before = number_and_owner();
    put("theirs", "1");
    EXPECT_EQ(number_and_owner(), before);

    // Nor one that takes the place of our own meanwhile, by itself or by a link to it.
    fs::rename(place, folder.file("later"));
    for (const bool is_linked : {false, true}) {
        folder.write("theirs", "mine");
        output_file file{place};
        fill(file, is_linked ? "22" : "333");
        fs::remove(place);
        if (is_linked)
            fs::create_symlink("later", place);
        else
            fs::rename(folder.file("later"), place);
        file.commit();
        EXPECT_EQ(number_and_owner(), before);
        if (!is_linked) fs::rename(place, folder.file("later"));
    }
    EXPECT_EQ(files(), (listing{{"later", "644 22"}, {"theirs", "-> 644 22"}}));
}

/// It is written in place then: all of it, or nothing where there is no room.
TEST_P(OutputFile, WritesOverLinkedFilesInOneGo)
{
    folder.write("linked", "before");
    fs::create_hard_link(folder.file("linked"), folder.file("twin"));
    taking_room = -ENOSPC;
    EXPECT_THROW(put("linked", "too much"), failure);
    EXPECT_EQ(files(), (listing{{"linked", "644 before"}, {"twin", "644 before"}}));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        const auto put_at_a_signal = [&] {
            taking_room = signal;
            put("linked", "now " + std::to_string(signal));
        };
        EXPECT_EXIT(put_at_a_signal(), testing::KilledBySignal(signal), "");
        const std::string now = "644 now " + std::to_string(signal);
        EXPECT_EQ(files(), (listing{{"linked", now}, {"twin", now}}));
    }
}

TEST_P(OutputFile, LeavesNothingWhenItDoesNotComeToItsEnd)
{
    folder.write("old", "old");
    const auto before = files();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGKILL}) {
        if (signal == SIGKILL && !makes_nameless) continue; // which nobody is told of
        const auto end_while_writing = [&] {
            const output_file file{folder.file(signal == SIGINT ? "new" : "old")};
            fill(file, "x");
            raise(signal);
        };
        EXPECT_EXIT(end_while_writing(), testing::KilledBySignal(signal), "");
        EXPECT_EQ(files(), before) << signal;
    }
    const auto end_by_a_taken_signal = [&] {
        const stop_signals taken;
        const output_file file{folder.file("old")};
        end_by(SIGTERM);
    };
    EXPECT_EXIT(end_by_a_taken_signal(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ(files(), before);
    {
        const output_file never_committed{folder.file("old")};
        EXPECT_EQ(files().size(), makes_nameless ? 1 : 2);
    }
    EXPECT_EQ(files(), before);
    fs::create_symlink("round", folder.file("round"));
    fs::create_symlink("nowhere/new", folder.file("lost"));
    for (const char *wrong : {"round", "lost", "nowhere/new", "old/new", "."})
        EXPECT_THROW(put(wrong, "x"), failure) << wrong;
    fs::create_symlink("later", folder.file("dangling"));
    taking_room = -ENOSPC;
    EXPECT_THROW(put("dangling", "x"), failure);
    EXPECT_FALSE(fs::exists(folder.file("later")));
}

/// As somebody who is no superuser, who may all: in a folder that takes no file.
TEST_P(OutputFile, RespectsPermissions)
{
    const auto is_refused = [](const auto &act) {
        try {
            act();
        } catch (const failure &) {
            return true;
        }
        return false;
    };
    fs::permissions(folder.write("read-only", "mine"), fs::perms{0444});
    for (const char *name : {"full", "writable"})
        fs::permissions(folder.write(name, "before"), fs::perms{0666});
    const auto write_as_user = [&] {
        fs::permissions(path(), fs::perms{0555});
        constexpr uid_t kNobody = 65534;
        if (geteuid() == 0 && seteuid(kNobody) != 0) _exit(2);
        const bool are_refused =
            is_refused([&] { put("read-only", "x"); }) && is_refused([&] { put("none", "x"); });
        put("writable", "now");
        output_file file{folder.file("full")};
        fill(file, "too long");
        const rlimit less{7, 7};
        setrlimit(RLIMIT_FSIZE, &less);
        std::signal(SIGXFSZ, SIG_IGN);
        _exit(are_refused && is_refused([&] { file.commit(); }) ? 0 : 1);
    };
    EXPECT_EXIT(write_as_user(), testing::ExitedWithCode(0), "");
    fs::permissions(path(), fs::perms{0755});
    EXPECT_EQ(
        files(),
        (listing{{"read-only", "444 mine"}, {"full", "666 before"}, {"writable", "666 now"}}));
}

INSTANTIATE_TEST_SUITE_P(, OutputFile, testing::Bool(), [](const auto &makes) {
    return makes.param ? "WithoutAName" : "UnderATemporaryName";
});

} // namespace
} // namespace tonelink::tool
