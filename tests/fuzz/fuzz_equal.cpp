// Fuzz target: the fast reduction against the literal one, the reference it
// is checked against. Each input (the text form of the run fuzzer, with its
// mutator) is run twice in one process, in the same directories, once with
// each reduction; any difference in status, messages or written bytes is a
// finding, as are the run fuzzer's findings.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/fuzz/run_files.h"

namespace {

// Record dumps in fault messages print addresses, which differ from run to
// run; everything else must match.
std::string without_addresses(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        if (text[i] == '0' && i + 1 < text.size() && text[i + 1] == 'x') {
            out += 'x';
            for (i += 2; i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i]));
                 ++i) {
            }
            --i;
        }
    }
    return out;
}

void report_difference(const vorp::fuzz::RunOutcome& literal, const vorp::fuzz::RunOutcome& fast) {
    std::fprintf(stderr, "literal and fast reductions differ: status %d / %d, %zu / %zu files\n",
                 literal.status, fast.status, literal.files.size(), fast.files.size());
    if (literal.messages != fast.messages)
        std::fprintf(stderr, "--- literal messages\n%s--- fast messages\n%s",
                     literal.messages.c_str(), fast.messages.c_str());
    for (std::size_t i = 0; i < literal.files.size() && i < fast.files.size(); ++i)
        if (literal.files[i] != fast.files[i])
            std::fprintf(stderr, "first differing file: %s / %s\n", literal.files[i].first.c_str(),
                         fast.files[i].first.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    vorp::ReduceParams literal;
    literal.literal = true;
    auto outcomes =
        vorp::fuzz::run_files(vorp::fuzz::split_into_files(text), {literal, vorp::ReduceParams{}});
    for (const auto& o : outcomes)
        if (o.status != 0 && o.status != 1) std::abort();
    outcomes[0].messages = without_addresses(outcomes[0].messages);
    outcomes[1].messages = without_addresses(outcomes[1].messages);
    if (!(outcomes[0] == outcomes[1])) {
        report_difference(outcomes[0], outcomes[1]);
        std::abort();
    }
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    return vorp::fuzz::mutate_run_input(data, size, max_size, seed);
}
