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
#include "platform/scratch_folder.h"

static bool makes_nameless = true; // whether the file system does

// Goes before the C library's own, to which it passes on: open64() by its real name.
extern "C" int open(const char *path, int flags, ...)
{
    static const auto real =
        reinterpret_cast<int (*)(const char *, int, ...)>(dlsym(RTLD_NEXT, "open64"));
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (makes_nameless || (flags & O_TMPFILE) != O_TMPFILE) return real(path, flags, mode);
    errno = EOPNOTSUPP;
    return -1;
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
    void TearDown() override { makes_nameless = true; }

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
    for (const auto &[name, mode] : {std::pair{"secret", 0600}, {"open", 0666}, {"linked", 0640}})
        fs::permissions(folder.write(name, "long before"), fs::perms(mode));
    fs::create_hard_link(folder.file("linked"), folder.file("twin"));
    fs::create_symlink("secret", folder.file("link"));
    fs::create_symlink(folder.file("later"), folder.file("dangling"));
    for (const char *name : {"link", "open", "linked", "dangling"}) put(name, name);
    EXPECT_EQ(files(), (listing{{"new", "644 1"},
                                {"secret", "600 link"},
                                {"link", "-> 600 link"},
                                {"open", "666 open"},
                                {"linked", "640 linked"},
                                {"twin", "640 linked"},
                                {"later", "644 dangling"},
                                {"dangling", "-> 644 dangling"}}));
    EXPECT_TRUE(fs::is_symlink(folder.file("link")) && fs::is_symlink(folder.file("dangling")));
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
    {
        const output_file never_committed{folder.file("old")};
        EXPECT_EQ(files().size(), makes_nameless ? 1 : 2);
    }
    EXPECT_EQ(files(), before);
    fs::create_symlink("round", folder.file("round"));
    fs::create_symlink("nowhere/new", folder.file("lost"));
    for (const char *wrong : {"round", "lost", "nowhere/new", "old/new", "."})
        EXPECT_THROW(put(wrong, "x"), failure) << wrong;
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
