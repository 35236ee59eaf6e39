#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

enum mode : int32_t { for_reading = 0, for_writing = 1, for_appending = 2 };

struct file_closer {
    void operator()(FILE *file) const { EXPECT_EQ(ac_fclose(file), 0); }
};
using open_file = std::unique_ptr<FILE, file_closer>;

/// A folder of its own for each test.
class Files : public ::testing::Test {
protected:
    Files()
    {
        std::string name = testing::TempDir() + "tonelink-XXXXXX";
        folder = mkdtemp(name.data());
    }
    ~Files() override { std::filesystem::remove_all(folder); }

    void put(const std::string &name, const std::string &text) const
    {
        std::ofstream(folder / name) << text;
    }
    std::string get(const std::string &name) const
    {
        std::ifstream file(folder / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    open_file open(const std::string &name, int32_t mode) const
    {
        return open_file{ac_fopen((folder / "").c_str(), name.c_str(), mode)};
    }
    /// Opens for writing, which is refused; returns what that prints.
    std::string refusal(const std::string &name) const
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(open(name, for_writing), nullptr);
        return testing::internal::GetCapturedStdout();
    }

    std::filesystem::path folder;
};

TEST_F(Files, AreFoundByDirectoryAndNameAsTheyStand)
{
    const std::string path = folder / std::string(254 - folder.string().size() - 1, 'x');
    put(path, "x");
    // Cut anywhere, and cut to 254 characters.
    for (std::size_t cut = 0; cut <= path.size(); ++cut)
        for (const char *const more : {"", "yz"})
            EXPECT_NE(open_file{ac_fopen(path.substr(0, cut).c_str(),
                                         (path.substr(cut) + more).c_str(), for_reading)},
                      nullptr)
                << "cut at " << cut;
    EXPECT_NE(
        open_file{ac_fopen((path + "yz").c_str(), std::string(300, 'z').c_str(), for_reading)},
        nullptr);
    EXPECT_NE(open_file{ac_fopen(nullptr, path.c_str(), for_reading)}, nullptr);
    EXPECT_EQ(ac_fopen(folder.c_str(), std::filesystem::path(path).filename().c_str(), for_reading),
              nullptr)
        << "a slash came from nowhere";
    EXPECT_EQ(ac_fopen(path.c_str(), nullptr, for_reading), nullptr);
    EXPECT_EQ(ac_remove(path.c_str()), 0);
    EXPECT_EQ(ac_remove(path.c_str()), -1) << "removed already";
    EXPECT_EQ(ac_remove(nullptr), -1);
}

TEST_F(Files, WritingCreatesAndTruncatesButFollowsNoLink)
{
    put("old", "old text");
    for (const char *const name : {"old", "new"}) {
        EXPECT_EQ(ac_fwrite(open(name, for_writing).get(), "tone", 4), 4u);
        EXPECT_EQ(get(name), "tone");
    }
    std::filesystem::create_symlink("old", folder / "link");
    std::filesystem::create_symlink("missing", folder / "dangling");
    for (const auto &[name, printed] : {std::pair{"link", "Symbolic link is detected\n"},
                                        {"dangling", "Symbolic link is detected\n"},
                                        {"old/inside", "lstat failed\n"},
                                        {"missing/inside", ""}, // to create it is what fails
                                        {"", ""}})              // a folder
        EXPECT_EQ(refusal(name), printed) << name;
    EXPECT_EQ(get("old"), "tone");
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "dangling"));
}

TEST_F(Files, AppendAndReadFromAnywhere)
{
    for (const int32_t mode : {int32_t{for_reading}, 3, -1})
        EXPECT_EQ(open("new", mode), nullptr) << mode;
    EXPECT_FALSE(std::filesystem::exists(folder / "new"));
    for (const char *const text : {"one", "two"}) {
        const open_file file = open("new", for_appending);
        EXPECT_EQ(ac_fseek(file.get(), 0, SEEK_SET), 0);
        EXPECT_EQ(ac_fwrite(file.get(), text, 3), 3u);
    }
    EXPECT_EQ(get("new"), "onetwo");

    const open_file owner = open("new", for_appending);
    FILE *const file = owner.get();
    char buffer[16];
    EXPECT_EQ(ac_fseek(file, -4, SEEK_END), 0);
    EXPECT_EQ(ac_ftell(file), 2);
    EXPECT_EQ(ac_feof(file), 0);
    EXPECT_EQ(ac_fread(file, buffer, 16), 4u);
    EXPECT_EQ(std::string(buffer, 4), "etwo");
    EXPECT_NE(ac_feof(file), 0);
    EXPECT_EQ(ac_fwrite(file, "!", 1), 1u);
    EXPECT_EQ(ac_get_file_size(file), 7) << "what has been written counts";
    EXPECT_EQ(ac_ftell(file), 0);
    EXPECT_EQ(ac_fseek(file, -1, SEEK_SET), -1);
    EXPECT_EQ(ac_fwrite(open("new", for_reading).get(), "x", 1), 0u);
}

TEST_F(Files, SizesBeyond31BitsAreFailures)
{
    put("huge", "0");
    std::filesystem::resize_file(folder / "huge", (std::uintmax_t{1} << 32) + 5); // a hole
    const open_file file = open("huge", for_reading);
    EXPECT_EQ(ac_get_file_size(file.get()), -1);
    EXPECT_EQ(ac_fseek(file.get(), INT32_MAX, SEEK_SET), 0);
    EXPECT_EQ(ac_ftell(file.get()), INT32_MAX);
    char byte;
    EXPECT_EQ(ac_fread(file.get(), &byte, 1), 1u);
    EXPECT_EQ(ac_ftell(file.get()), -1);
}

} // namespace
