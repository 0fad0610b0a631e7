#include "netlist/file_io.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/support/fixture.h"

namespace vorp {
namespace {

using test::read_file;
using test::TempDir;

// Bytes of every value, long enough to cross several read and write blocks.
std::string big_binary_text() {
    std::string text;
    for (std::size_t i = 0; text.size() < (3u << 20) + 17; ++i)
        text.push_back(static_cast<char>((i * 7919u) >> 3));
    return text;
}

int regular_files_in(const std::string& dir) {
    int n = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) n += entry.is_regular_file();
    return n;
}

TEST(FileIo, ReadsWholeFilesExactly) {
    TempDir dir;
    const std::string text = big_binary_text();
    const std::string path = dir.write("big", text);
    std::string out = "stale";
    ASSERT_TRUE(read_whole_file(path.c_str(), out));
    EXPECT_EQ(out, text);
    ASSERT_TRUE(read_whole_file(dir.write("empty", "").c_str(), out));
    EXPECT_EQ(out, "");
}

TEST(FileIo, MissingFileDoesNotOpenAndDirectoryReadsEmpty) {
    TempDir dir;
    std::string out = "stale";
    EXPECT_FALSE(read_whole_file((dir.path() + "/none").c_str(), out));
    EXPECT_TRUE(read_whole_file(dir.mkdir("sub").c_str(), out));
    EXPECT_EQ(out, "");
}

TEST(FileIo, SameFileComparesTheFileNotTheSpelling) {
    TempDir dir;
    const std::string a = dir.write("a", "x");
    const std::string b = dir.write("b", "x");
    EXPECT_TRUE(same_file(a.c_str(), (dir.path() + "/./a").c_str()));
    EXPECT_FALSE(same_file(a.c_str(), b.c_str()));
    EXPECT_FALSE(same_file(a.c_str(), (dir.path() + "/none").c_str()));
}

TEST(FileIo, OutputIsCompleteAfterCommit) {
    TempDir dir;
    const std::string path = dir.path() + "/out";
    const std::string big = big_binary_text();
    {
        OutputFile out;
        ASSERT_TRUE(out.open(path.c_str()));
        out.write("head ");
        out.put('(');
        out.write_int(-42);
        out.put(')');
        for (int i = 0; i < 3000; ++i) out.write(std::string_view(big).substr(i * 997, 997));
        out.write(big);
        out.commit();
    }
    std::string expected = "head (-42)";
    for (int i = 0; i < 3000; ++i) expected += big.substr(i * 997, 997);
    expected += big;
    EXPECT_EQ(read_file(path), expected);
    EXPECT_EQ(regular_files_in(dir.path()), 1);
}

TEST(FileIo, DestinationKeepsItsOldTextUntilCommit) {
    TempDir dir;
    const std::string path = dir.write("out", "old");
    ::chmod(path.c_str(), 0640);
    OutputFile out;
    ASSERT_TRUE(out.open(path.c_str()));
    out.write(std::string(3u << 20, 'n'));
    EXPECT_EQ(read_file(path), "old");
    out.commit();
    EXPECT_EQ(read_file(path), std::string(3u << 20, 'n'));
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
}

TEST(FileIo, UncommittedOutputIsDiscarded) {
    TempDir dir;
    const std::string path = dir.write("out", "old");
    {
        OutputFile out;
        ASSERT_TRUE(out.open(path.c_str()));
        out.write("new");
    }
    EXPECT_EQ(read_file(path), "old");
    EXPECT_EQ(regular_files_in(dir.path()), 1);
}

TEST(FileIo, OpenFailsOnDirectoriesAndMissingDirectories) {
    TempDir dir;
    OutputFile out;
    EXPECT_FALSE(out.open(dir.mkdir("taken").c_str()));
    EXPECT_FALSE(out.open((dir.path() + "/none/out").c_str()));
    EXPECT_EQ(regular_files_in(dir.path()), 0);
    EXPECT_TRUE(std::filesystem::is_directory(dir.path() + "/taken"));
}

TEST(FileIo, OneOutputFileServesSeveralDestinations) {
    TempDir dir;
    OutputFile out;
    ASSERT_TRUE(out.open((dir.path() + "/a").c_str()));
    out.write("first");
    out.commit();
    ASSERT_TRUE(out.open((dir.path() + "/b").c_str()));
    out.write("second");
    out.commit();
    EXPECT_EQ(read_file(dir.path() + "/a"), "first");
    EXPECT_EQ(read_file(dir.path() + "/b"), "second");
}

}  // namespace
}  // namespace vorp
