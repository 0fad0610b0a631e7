// Helpers for tests: a temporary directory and a design loaded from netlist
// texts written inline in the test.
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "db/design.h"

namespace vorp::test {

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class TempDir {
   public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // Write `text` to path()/name (creating sub-directories); returns the full path.
    std::string write(const std::string& name, const std::string& text) const;
    // Create path()/name as a directory; returns the full path.
    std::string mkdir(const std::string& name) const;

   private:
    std::string path_;
};

std::string read_file(const std::string& path);

using Files = std::vector<std::pair<std::string, std::string>>;

// A run context whose messages are captured, with a temporary directory.
struct TestDesign {
    std::ostringstream err;
    Design d{err};
    TempDir dir;

    TestDesign();
    // Add a read directory (relative to dir), a reference directory, or set
    // the write directory; each creates the directory.
    void add_read_dir(const std::string& name);
    void add_ref_dir(const std::string& name);
    void set_write_dir(const std::string& name);

    // Write `files` (paths relative to dir, e.g. "r/top.nld") and load the
    // design whose top module is `top`. With no read directory added yet,
    // dir itself is the read directory and dir/out the write directory.
    Module& load(const Files& files, const char* top = "top");
};

}  // namespace vorp::test
