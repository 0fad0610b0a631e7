// Whole vorp runs on a fuzz input's files, for the run fuzzers: the modules
// are written into a scratch read directory, a PCD file or a reference
// directory, and vorp runs with the switches the input names, once per set
// of reduction parameters, in the same directories, so that the runs can be
// compared byte for byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "reduce/params.h"
#include "tests/fuzz/design_text.h"

namespace vorp::fuzz {

struct RunOutcome {
    int status = 0;
    std::string messages;
    std::vector<std::pair<std::string, std::string>> files;  // path in the write dir, bytes
    bool operator==(const RunOutcome&) const = default;
};

std::vector<RunOutcome> run_files(const RunFiles& run, const std::vector<ReduceParams>& each);

// The structure-aware mutation shared by the run fuzzers: an input in the
// regular text form gets its netlists edited; any other input, and one
// mutation in eight, gets the fuzzer's byte mutations.
std::size_t mutate_run_input(uint8_t* data, std::size_t size, std::size_t max_size,
                             unsigned int seed);

}  // namespace vorp::fuzz
