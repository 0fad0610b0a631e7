// Fuzz target: whole vorp runs on small multi-module designs. The input is
// the text form of tests/fuzz/design_text.h (see run_files.h for how it
// becomes directories). Every run must end with status 0 or 1 and keep the
// records consistent after every stage (this build checks them); crashes,
// sanitizer reports and leaks are findings.
//
// The custom mutator parses the input, edits its netlists (see
// design_mutations.h) and prints it back; inputs that do not parse get the
// fuzzer's byte mutations.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tests/fuzz/run_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto outcomes = vorp::fuzz::run_files(vorp::fuzz::split_into_files(text), {{}});
    const int status = outcomes.front().status;
    if (status != 0 && status != 1) std::abort();
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    return vorp::fuzz::mutate_run_input(data, size, max_size, seed);
}
