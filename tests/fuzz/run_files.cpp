#include "tests/fuzz/run_files.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "db/design.h"
#include "driver/run.h"
#include "tests/fuzz/design_mutations.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace vorp::fuzz {
namespace {

namespace fs = std::filesystem;

// A scratch directory for one input, on a memory file system when there is
// one; removed when the runs are over (the fuzzer may end its process
// without running static destructors).
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

std::string read_bytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Every regular file below the write directory, by path, in name order.
std::vector<std::pair<std::string, std::string>> written_files(const fs::path& out) {
    std::vector<std::pair<std::string, std::string>> files;
    for (const auto& e : fs::recursive_directory_iterator(out)) {
        if (!e.is_regular_file()) continue;
        files.emplace_back(fs::relative(e.path(), out).string(), read_bytes(e.path()));
    }
    std::sort(files.begin(), files.end());
    return files;
}

RunOutcome run_once(const RunFiles& run, const fs::path& read, const fs::path& ref,
                    const fs::path& out, const ReduceParams& params) {
    const std::string top = run.files.front().name;
    const std::string read_s = read.string(), ref_s = ref.string(), out_s = out.string();
    std::vector<const char*> words = {top.c_str(),   read_s.c_str(), "-r",
                                      ref_s.c_str(), "-w",           out_s.c_str()};
    if (run.opt_a) words.push_back("-a");
    if (run.opt_f) words.push_back("-f");
    std::ostringstream err;
    Design d(err);
    RunOutcome outcome;
    outcome.status = run_vorp(d, static_cast<int>(words.size()), words.data(), params);
    outcome.messages = err.str();
    outcome.files = written_files(out);
    return outcome;
}

}  // namespace

std::vector<RunOutcome> run_files(const RunFiles& run, const std::vector<ReduceParams>& each) {
    const ScratchDir scratch;
    const fs::path read = scratch.path / "r", ref = scratch.path / "ref",
                   out = scratch.path / "out";
    for (const fs::path& p : {read, ref}) fs::create_directory(p);
    for (const FileText& f : run.files) {
        const bool pcd = f.placement == Placement::read_pcd;
        const fs::path& where = f.placement == Placement::reference_nld ? ref : read;
        write_text(where / (f.name + (pcd ? ".pcd" : ".nld")), f.text);
    }
    std::vector<RunOutcome> outcomes;
    for (const ReduceParams& params : each) {
        // each run starts from an empty write directory at the same path
        std::error_code ignored;
        fs::remove_all(out, ignored);
        fs::create_directory(out);
        outcomes.push_back(run_once(run, read, ref, out, params));
    }
    return outcomes;
}

std::size_t mutate_run_input(uint8_t* data, std::size_t size, std::size_t max_size,
                             unsigned int seed) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    auto design = parse_design_text(text);
    if (!design || seed % 8 == 0) return LLVMFuzzerMutate(data, size, max_size);
    FuzzRng rng{seed};
    mutate_design(*design, rng);
    const std::string printed = print_design_text(*design);
    if (printed.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
    std::memcpy(data, printed.data(), printed.size());
    return printed.size();
}

}  // namespace vorp::fuzz
