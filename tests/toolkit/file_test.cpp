#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

enum mode : int32_t { for_reading = 0, for_writing = 1, for_appending = 2 };

/// A folder of its own for each test.
class Files : public ::testing::Test {
protected:
    Files()
    {
        std::string name = testing::TempDir() + "tonelink-XXXXXX";
        if (!mkdtemp(name.data())) throw std::runtime_error("no folder for the test");
        folder = name;
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
    bool exists(const std::string &name) const
    {
        return std::filesystem::exists(std::filesystem::symlink_status(folder / name));
    }
    FILE *open(const std::string &name, int32_t mode) const
    {
        return ac_fopen((folder / "").c_str(), name.c_str(), mode);
    }
    /// Opens for writing, which is refused; returns what that prints.
    std::string refusal(const std::string &name) const
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(open(name, for_writing), nullptr);
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    std::filesystem::path folder;
};

TEST_F(Files, AreFoundByDirectoryAndNameAsTheyStand)
{
    put("tone", "x");
    const std::string path = folder / "tone";
    for (std::size_t cut = 0; cut <= path.size(); ++cut) {
        FILE *const file = ac_fopen(path.substr(0, cut).c_str(), path.c_str() + cut, for_reading);
        ASSERT_NE(file, nullptr) << "cut at " << cut;
        EXPECT_EQ(ac_fclose(file), 0);
    }
    FILE *const file = ac_fopen(nullptr, path.c_str(), for_reading);
    ASSERT_NE(file, nullptr);
    ac_fclose(file);
    EXPECT_EQ(ac_fopen(folder.c_str(), "tone", for_reading), nullptr)
        << "a slash came from nowhere";
    EXPECT_EQ(ac_fopen(path.c_str(), nullptr, for_reading), nullptr);
}

TEST_F(Files, PathsAreCutTo254Characters)
{
    const std::string directory = folder / "";
    const std::string cut(254 - directory.size(), 'x');
    for (const auto &[first, second] : {std::pair{directory, cut + "yz"},
                                        {directory + cut, "yz"},
                                        {directory + cut + "yz", std::string(300, 'z')}}) {
        FILE *const file = ac_fopen(first.c_str(), second.c_str(), for_writing);
        ASSERT_NE(file, nullptr);
        ac_fclose(file);
        EXPECT_EQ(ac_remove((directory + cut).c_str()), 0);
    }
}

TEST_F(Files, WritingCreatesAndTruncatesButFollowsNoLink)
{
    put("old", "old text");
    for (const char *const name : {"old", "new"}) {
        FILE *const file = open(name, for_writing);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(ac_fwrite(file, "tone", 4), 4u);
        EXPECT_EQ(ac_fclose(file), 0);
        EXPECT_EQ(get(name), "tone");
    }
    std::filesystem::create_symlink("old", folder / "link");
    std::filesystem::create_symlink("missing", folder / "dangling");
    EXPECT_EQ(refusal("link"), "Symbolic link is detected\n");
    EXPECT_EQ(refusal("dangling"), "Symbolic link is detected\n");
    EXPECT_EQ(refusal("old/inside"), "lstat failed\n");
    EXPECT_EQ(refusal("missing/inside"), "") << "to create it is what fails";
    EXPECT_EQ(refusal(""), "") << "a folder";
    EXPECT_EQ(get("old"), "tone");
    EXPECT_FALSE(exists("missing"));
    EXPECT_TRUE(exists("dangling"));
}

TEST_F(Files, OtherModes)
{
    EXPECT_EQ(open("new", for_reading), nullptr);
    EXPECT_EQ(open("new", 3), nullptr);
    EXPECT_EQ(open("new", -1), nullptr);
    EXPECT_FALSE(exists("new"));
    for (const char *const text : {"one", "two"}) {
        FILE *const file = open("new", for_appending);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(ac_fwrite(file, text, 3), 3u);
        EXPECT_EQ(ac_fseek(file, 0, SEEK_SET), 0);
        char first[3];
        EXPECT_EQ(ac_fread(file, first, 3), 3u);
        EXPECT_EQ(std::string(first, 3), "one");
        ac_fclose(file);
    }
    EXPECT_EQ(get("new"), "onetwo");
}

TEST_F(Files, PositionAndEnd)
{
    put("tone", "0123456789");
    FILE *const file = open("tone", for_reading);
    ASSERT_NE(file, nullptr);
    char buffer[16];
    EXPECT_EQ(ac_fseek(file, -4, SEEK_END), 0);
    EXPECT_EQ(ac_ftell(file), 6);
    EXPECT_EQ(ac_feof(file), 0);
    EXPECT_EQ(ac_fread(file, buffer, 16), 4u);
    EXPECT_NE(ac_feof(file), 0);
    EXPECT_EQ(ac_fwrite(file, "x", 1), 0u) << "opened for reading";
    EXPECT_EQ(ac_get_file_size(file), 10);
    EXPECT_EQ(ac_ftell(file), 0);
    EXPECT_EQ(ac_fread(file, buffer, 1), 1u);
    EXPECT_EQ(buffer[0], '0');
    EXPECT_EQ(ac_fseek(file, 2, SEEK_CUR), 0);
    EXPECT_EQ(ac_ftell(file), 3);
    EXPECT_EQ(ac_fseek(file, -1, SEEK_SET), -1);
    EXPECT_EQ(ac_fseek(file, 0, 99), -1);
    EXPECT_EQ(ac_fclose(file), 0);
}

TEST_F(Files, SizesBeyond31BitsAreFailures)
{
    put("huge", "0");
    std::filesystem::resize_file(folder / "huge", (std::uintmax_t{1} << 32) + 5); // a hole
    FILE *const file = open("huge", for_reading);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ac_get_file_size(file), -1);
    EXPECT_EQ(ac_ftell(file), 0);
    EXPECT_EQ(ac_fseek(file, INT32_MAX, SEEK_SET), 0);
    EXPECT_EQ(ac_ftell(file), INT32_MAX);
    char byte;
    EXPECT_EQ(ac_fread(file, &byte, 1), 1u);
    EXPECT_EQ(ac_ftell(file), -1);
    ac_fclose(file);
}

TEST_F(Files, Remove)
{
    put("tone", "x");
    EXPECT_EQ(ac_remove((folder / "tone").c_str()), 0);
    EXPECT_FALSE(exists("tone"));
    EXPECT_EQ(ac_remove((folder / "tone").c_str()), -1);
    EXPECT_EQ(ac_remove(nullptr), -1);
}

} // namespace
