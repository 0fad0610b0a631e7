#include "tests/support/fixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "db/lists.h"
#include "netlist/loader.h"

namespace vorp::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string tmpl = (fs::temp_directory_path() / "vorp-test-XXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    path_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(path_, ec);
}

std::string TempDir::write(const std::string& name, const std::string& text) const {
    const fs::path full = fs::path(path_) / name;
    fs::create_directories(full.parent_path());
    std::ofstream out(full, std::ios::binary);
    out << text;
    return full.string();
}

std::string TempDir::mkdir(const std::string& name) const {
    const fs::path full = fs::path(path_) / name;
    fs::create_directories(full);
    return full.string();
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

namespace {
void add_dir(Design& d, DirEntry*& list, const std::string& path) {
    DirEntry* e = d.make<DirEntry>();
    e->dir = d.copy_string(path.c_str());
    push_back(list, e);
}
}  // namespace

TestDesign::TestDesign() = default;

void TestDesign::add_read_dir(const std::string& name) { add_dir(d, d.read_dirs, dir.mkdir(name)); }
void TestDesign::add_ref_dir(const std::string& name) { add_dir(d, d.ref_dirs, dir.mkdir(name)); }
void TestDesign::set_write_dir(const std::string& name) {
    d.write_dirs = nullptr;
    add_dir(d, d.write_dirs, dir.mkdir(name));
}

Module& TestDesign::load(const Files& files, const char* top) {
    for (const auto& [name, text] : files) dir.write(name, text);
    if (!d.read_dirs) add_dir(d, d.read_dirs, dir.path());
    if (!d.write_dirs) set_write_dir("out");
    d.top_name = d.copy_string(top);
    load_design(d, d.top_name);
    return *d.modules;
}

}  // namespace vorp::test
