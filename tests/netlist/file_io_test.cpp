#include "netlist/file_io.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

namespace fs = std::filesystem;

bool is_link(const std::string& path) {
    return fs::is_symlink(fs::symlink_status(path));
}

// The id of a process that has ended: a child that exits at once, reaped.
pid_t ended_process() {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    int status = 0;
    ::waitpid(child, &status, 0);
    return child;
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

TEST(FileIo, SameFileDoesNotFollowALinkAtTheDestination) {
    TempDir dir;
    const std::string a = dir.write("a", "x");
    fs::create_symlink(a, dir.path() + "/link");
    EXPECT_FALSE(same_file(a.c_str(), (dir.path() + "/link").c_str()));
    EXPECT_TRUE(same_file((dir.path() + "/link").c_str(), a.c_str()));
}

TEST(FileIo, LinksInTheDestinationsPlaceAreReplacedNotFollowed) {
    TempDir dir;
    const std::string target = dir.write("elsewhere/file", "outside");
    ::chmod(target.c_str(), 0444);
    const std::string to_file = dir.path() + "/w/to_file";
    const std::string to_dir = dir.path() + "/w/to_dir";
    const std::string dangling = dir.path() + "/w/dangling";
    dir.mkdir("w");
    fs::create_symlink(target, to_file);
    fs::create_symlink(dir.path() + "/elsewhere", to_dir);
    fs::create_symlink(dir.path() + "/elsewhere/new", dangling);
    for (const std::string& path : {to_file, to_dir, dangling}) {
        OutputFile out;
        ASSERT_TRUE(out.open(path.c_str())) << path;
        out.write("new");
        out.commit();
        EXPECT_FALSE(is_link(path)) << path;
        EXPECT_EQ(read_file(path), "new") << path;
    }
    EXPECT_EQ(read_file(target), "outside");
    EXPECT_EQ(regular_files_in(dir.path() + "/elsewhere"), 1);
    struct stat st {};
    ASSERT_EQ(::stat(to_file.c_str(), &st), 0);
    EXPECT_NE(st.st_mode & 0200, 0u) << "the read-only target's mode is not taken over";
}

TEST(FileIo, ALinkUnderTheTemporaryNameIsNotWrittenThrough) {
    TempDir dir;
    const std::string target = dir.write("elsewhere", "outside");
    const std::string path = dir.path() + "/out";
    fs::create_symlink(target, path + ".vorp-tmp-" + std::to_string(::getpid()));
    OutputFile out;
    ASSERT_TRUE(out.open(path.c_str()));
    out.write("new");
    out.commit();
    EXPECT_EQ(read_file(path), "new");
    EXPECT_EQ(read_file(target), "outside");
    EXPECT_EQ(regular_files_in(dir.path()), 2);
}

TEST(FileIo, StaleTemporaryFilesOfEndedProcessesAreRemoved) {
    TempDir dir;
    const std::string ended = std::to_string(ended_process());
    const std::string lives = std::to_string(::getppid());
    const std::string path = dir.write("w/a.nld", "old");
    const std::vector<std::string> removed = {"a.nld.vorp-tmp-" + ended};
    const std::vector<std::string> kept = {"a.nld.vorp-tmp-" + lives,
                                           "a.nld.vorp-tmp-" + std::to_string(::getpid()),
                                           "a.nld.vorp-tmp-" + ended + "x",
                                           "a.nld.vorp-tmp-0" + ended,
                                           "a.nld.vorp-tmp-0",
                                           "a.nld.vorp-tmp-",
                                           "a.nld.vorp-tmp--" + ended,
                                           "b.nld.vorp-tmp-" + ended,
                                           "xa.nld.vorp-tmp-" + ended,
                                           "a.nld.vorp-tmp-" + ended + "0000000000"};
    for (const auto& name : removed) dir.write("w/" + name, "left");
    for (const auto& name : kept) dir.write("w/" + name, "left");
    StaleTempFiles stale;
    stale.remove_beside((dir.path() + "/w/b.pcd").c_str());
    EXPECT_EQ(regular_files_in(dir.path() + "/w"), 12);
    stale.remove_beside(path.c_str());
    for (const auto& name : removed) EXPECT_FALSE(fs::exists(dir.path() + "/w/" + name)) << name;
    for (const auto& name : kept) EXPECT_TRUE(fs::exists(dir.path() + "/w/" + name)) << name;
    EXPECT_EQ(read_file(path), "old");
}

}  // namespace
}  // namespace vorp
