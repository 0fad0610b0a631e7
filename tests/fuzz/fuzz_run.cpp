// Fuzz target: whole vorp runs on small multi-module designs. The input is
// the text form of tests/fuzz/design_text.h: the modules are written as
// files into a read directory, a PCD file or a reference directory, and vorp
// runs with the switches the input names. Every run must end with status 0
// or 1 and keep the records consistent after every stage (this build checks
// them); crashes, sanitizer reports and leaks are findings.
//
// The custom mutator parses the input, edits its netlists (see
// design_mutations.h) and prints it back; inputs that do not parse get the
// fuzzer's byte mutations.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "db/design.h"
#include "driver/run.h"
#include "tests/fuzz/design_mutations.h"
#include "tests/fuzz/design_text.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace {

namespace fs = std::filesystem;
using vorp::fuzz::Placement;

// A scratch directory for one run, on a memory file system when there is
// one; removed when the run is over (the fuzzer may end its process without
// running static destructors).
struct ScratchDir {
    fs::path path;
    ScratchDir() {
        const char* base = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
        std::string pattern = std::string(base) + "/vorp-fuzz-XXXXXX";
        if (!::mkdtemp(pattern.data())) std::abort();
        path = pattern;
    }
    ~ScratchDir() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

void write_text(const fs::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

int run_on_files(const vorp::fuzz::RunFiles& run) {
    const ScratchDir scratch;
    const fs::path read = scratch.path / "r", ref = scratch.path / "ref",
                   out = scratch.path / "out";
    for (const fs::path& p : {read, ref, out}) fs::create_directory(p);
    for (const vorp::fuzz::FileText& f : run.files) {
        const bool pcd = f.placement == Placement::read_pcd;
        const fs::path& where = f.placement == Placement::reference_nld ? ref : read;
        write_text(where / (f.name + (pcd ? ".pcd" : ".nld")), f.text);
    }
    const std::string top = run.files.front().name;
    const std::string read_s = read.string(), ref_s = ref.string(), out_s = out.string();
    std::vector<const char*> words = {top.c_str(),   read_s.c_str(), "-r",
                                      ref_s.c_str(), "-w",           out_s.c_str()};
    if (run.opt_a) words.push_back("-a");
    if (run.opt_f) words.push_back("-f");
    std::ostringstream err;
    vorp::Design d(err);
    return vorp::run_vorp(d, static_cast<int>(words.size()), words.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const int status = run_on_files(vorp::fuzz::split_into_files(text));
    if (status != 0 && status != 1) std::abort();
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    auto design = vorp::fuzz::parse_design_text(text);
    if (!design || seed % 8 == 0) return LLVMFuzzerMutate(data, size, max_size);
    vorp::fuzz::FuzzRng rng{seed};
    vorp::fuzz::mutate_design(*design, rng);
    const std::string printed = vorp::fuzz::print_design_text(*design);
    if (printed.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
    std::memcpy(data, printed.data(), printed.size());
    return printed.size();
}
