#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <filesystem>
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
    ~Files() override { std::filesystem::remove_all(folder); }

    open_file open(const std::string &name, int32_t mode) const
    {
        return open_file{ac_fopen((folder / "").c_str(), name.c_str(), mode)};
    }
    std::string get(const std::string &name) const
    {
        std::string text(99, '.');
        text.resize(ac_fread(open(name, for_reading).get(), text.data(), 99));
        return text;
    }

    std::string made = testing::TempDir() + "tonelink-XXXXXX";
    std::filesystem::path folder = mkdtemp(made.data());
};

TEST_F(Files, AreFoundByDirectoryAndNameAsTheyStand)
{
    const std::string longest(254 - folder.string().size() - 1, 'x');
    const std::string path = folder / longest, longer = path + "yz"; // is cut to 254 characters
    EXPECT_NE(open(longest, for_writing), nullptr);
    for (std::size_t cut = 0; cut <= longer.size(); ++cut) {
        const std::string directory = longer.substr(0, cut), rest = longer.substr(cut);
        const open_file file{ac_fopen(directory.c_str(), rest.c_str(), for_reading)};
        EXPECT_NE(file, nullptr) << "cut at " << cut;
    }
    EXPECT_NE(open_file{ac_fopen(nullptr, path.c_str(), for_reading)}, nullptr);
    EXPECT_EQ(ac_fopen(folder.c_str(), longest.c_str(), for_reading), nullptr)
        << "a slash came from nowhere";
    EXPECT_EQ(ac_fopen(path.c_str(), nullptr, for_reading), nullptr);
    for (const int32_t result : {0, -1}) EXPECT_EQ(ac_remove(path.c_str()), result);
    EXPECT_EQ(ac_remove(nullptr), -1);
}

TEST_F(Files, WritingCreatesAndTruncatesButFollowsNoLink)
{
    for (const char *const text : {"old text", "tone"}) {
        const auto size = static_cast<uint32_t>(ac_strlen(text));
        EXPECT_EQ(ac_fwrite(open("file", for_writing).get(), text, size), size);
        EXPECT_EQ(get("file"), text);
    }
    std::filesystem::create_symlink("file", folder / "link");
    std::filesystem::create_symlink("missing", folder / "dangling");
    for (const auto &[name, printed] : {std::pair{"link", "Symbolic link is detected\n"},
                                        {"dangling", "Symbolic link is detected\n"},
                                        {"file/inside", "lstat failed\n"},
                                        {"missing/inside", ""}, // to create it is what fails
                                        {"", ""}}) {            // a folder
        testing::internal::CaptureStdout();
        EXPECT_EQ(open(name, for_writing), nullptr) << name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed) << name;
    }
    EXPECT_EQ(get("file"), "tone");
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
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
    const open_file file = open("new", for_appending);
    std::string read(16, ' ');
    EXPECT_EQ(ac_fseek(file.get(), -4, SEEK_END), 0);
    EXPECT_EQ(ac_ftell(file.get()), 2);
    EXPECT_EQ(ac_fread(file.get(), read.data(), 16), 4u);
    EXPECT_EQ(read.substr(0, 4), "etwo");
    EXPECT_NE(ac_feof(file.get()), 0);
    EXPECT_EQ(ac_fwrite(file.get(), "!", 1), 1u);
    EXPECT_EQ(ac_get_file_size(file.get()), 7) << "what has been written counts";
    EXPECT_EQ(ac_ftell(file.get()), 0);
    EXPECT_EQ(ac_fwrite(open("new", for_reading).get(), "x", 1), 0u);
    EXPECT_EQ(get("new"), "onetwo!");
}

TEST_F(Files, SizesBeyond31BitsAreFailures)
{
    const open_file file = open("huge", for_appending);
    std::filesystem::resize_file(folder / "huge", (std::uintmax_t{1} << 32) + 5); // a hole
    EXPECT_EQ(ac_get_file_size(file.get()), -1);
    for (const auto &[move, position] : {std::pair{INT32_MAX, INT32_MAX}, {1, -1}}) {
        EXPECT_EQ(ac_fseek(file.get(), move, SEEK_CUR), 0);
        EXPECT_EQ(ac_ftell(file.get()), position);
    }
}

} // namespace
