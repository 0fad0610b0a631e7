// Faults around the write directory and unreadable inputs, run through the
// real program: each ends with the one message the fault calls for, exit
// status 1, and leaves every destination either as it was or complete.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/reliability/process.h"
#include "tests/support/fixture.h"

namespace vorp::test {
namespace {

namespace fs = std::filesystem;

// Two inverters in a row: the reduction removes both, so the text writer
// writes the top module.
const char* const kReducible =
    "(def-module top\n"
    " (def-pin a type input)\n"
    " (def-pin y type output)\n"
    " (def-comp inv- i1 i2)\n"
    " (def-net a i1.in)\n"
    " (def-net i1.nout i2.in)\n"
    " (def-net i2.nout y))\n";

// No inverter: the copy writer copies both files.
const char* const kTopWithSub =
    "(def-module top\n"
    " (def-pin a type input)\n"
    " (def-pin y type output)\n"
    " (def-comp sub s)\n"
    " (def-net a s.a)\n"
    " (def-net s.y y))\n";
const char* const kSub =
    "(def-module sub\n"
    " (def-pin a type input)\n"
    " (def-pin y type output)\n"
    " (def-comp ninv- b)\n"
    " (def-net a b.in)\n"
    " (def-net b.out y))\n";

struct Case {
    TempDir dir;
    std::string read;
    std::string out;

    explicit Case(bool reducible) {
        read = dir.mkdir("r");
        out = dir.path() + "/out";
        if (reducible) {
            dir.write("r/top.nld", kReducible);
        } else {
            dir.write("r/top.nld", kTopWithSub);
            dir.write("r/sub.nld", kSub);
        }
    }
    Outcome run(ChildOptions options = {}) const {
        return run_program(vorp_program(), {"top", read, "-w", out}, options);
    }
    // Open the tree to another user: it may read everything, and write
    // where `writable` says.
    void share(bool writable) const {
        ::chmod(dir.path().c_str(), 0755);
        ::chmod(read.c_str(), 0755);
        if (fs::is_directory(out)) ::chmod(out.c_str(), writable ? 0777 : 0555);
    }
};

void expect_open_failure(const Outcome& o, const std::string& path) {
    EXPECT_EQ(o.signal, 0);
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(ends_with(o.err, "Could not open " + path + "\n")) << o.err;
}

class WriteFaults : public ::testing::TestWithParam<bool> {};

TEST_P(WriteFaults, MissingWriteDirectory) {
    Case c(GetParam());
    expect_open_failure(c.run(), c.out + "/top.nld");
    EXPECT_FALSE(fs::exists(c.out));
}

TEST_P(WriteFaults, WriteDirectoryIsAFile) {
    Case c(GetParam());
    c.dir.write("out", "not a directory");
    expect_open_failure(c.run(), c.out + "/top.nld");
    EXPECT_EQ(read_file(c.out), "not a directory");
}

TEST_P(WriteFaults, DestinationIsADirectory) {
    Case c(GetParam());
    c.dir.mkdir("out/top.nld");
    expect_open_failure(c.run(), c.out + "/top.nld");
    EXPECT_TRUE(fs::is_directory(c.out + "/top.nld"));
    EXPECT_EQ(std::vector<fs::path>(fs::directory_iterator(c.out), {}).size(), 1u)
        << "nothing beside the directory";
}

TEST_P(WriteFaults, ReadOnlyWriteDirectoryKeepsTheOldFile) {
    int uid = -1, gid = -1;
    const bool as_other = unprivileged_user(uid, gid);
    Case c(GetParam());
    c.dir.write("out/top.nld", "old");
    c.share(false);
    expect_open_failure(c.run({uid, gid}), c.out + "/top.nld");
    EXPECT_EQ(read_file(c.out + "/top.nld"), "old");
    if (!as_other) ::chmod(c.out.c_str(), 0755);
}

INSTANTIATE_TEST_SUITE_P(BothWriters, WriteFaults, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "Reduced" : "Unchanged"; });

TEST(WriteFaults, FilesWrittenBeforeAFailureStayComplete) {
    Case c(false);
    c.dir.mkdir("out/sub.nld");
    expect_open_failure(c.run(), c.out + "/sub.nld");
    EXPECT_EQ(read_file(c.out + "/top.nld"), kTopWithSub);
}

TEST(WriteFaults, ReadOnlyDestinationFileIsNotReplaced) {
    int uid = -1, gid = -1;
    unprivileged_user(uid, gid);
    Case c(true);
    c.dir.write("out/top.nld", "old");
    ::chmod((c.out + "/top.nld").c_str(), 0444);
    c.share(true);
    expect_open_failure(c.run({uid, gid}), c.out + "/top.nld");
    EXPECT_EQ(read_file(c.out + "/top.nld"), "old");
}

// Take read permission away from one input file and run as a user whom
// permissions bind.
Outcome run_without_read_permission(const Case& c, const std::string& file) {
    int uid = -1, gid = -1;
    unprivileged_user(uid, gid);
    c.dir.mkdir("out");
    ::chmod((c.read + "/" + file).c_str(), 0);
    c.share(true);
    return c.run({uid, gid});
}

TEST(ReadFaults, UnreadableTopModuleIsNotFound) {
    Case c(true);
    const Outcome o = run_without_read_permission(c, "top.nld");
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(ends_with(o.err, "Could not find \"top.nld\"\n")) << o.err;
    EXPECT_TRUE(fs::is_empty(c.out));
}

TEST(ReadFaults, UnreadableSubModuleIsNotFound) {
    Case c(false);
    const Outcome o = run_without_read_permission(c, "sub.nld");
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(ends_with(o.err, "\tRead " + c.read + "/top.nld\nCould not find \"sub.pcd/nld\"\n"))
        << o.err;
    EXPECT_TRUE(fs::is_empty(c.out));
}

}  // namespace
}  // namespace vorp::test
