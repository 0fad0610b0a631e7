// Times one vorp run stage by stage, from the moments its progress messages
// are printed, and prints one line of figures:
//   cells pins read flatten reduce rewrite write total peak_kib
// (times in seconds). The run itself is the library's, unchanged.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "db/design.h"
#include "driver/args.h"
#include "driver/run.h"
#include "netlist/loader.h"

namespace {

using Clock = std::chrono::steady_clock;

// Keeps each complete line of the run's messages with the time it ended.
class StampedLines : public std::streambuf {
   public:
    std::vector<std::pair<std::string, Clock::time_point>> lines;

   protected:
    int overflow(int c) override {
        if (c == EOF) return 0;
        if (c == '\n') {
            lines.emplace_back(current_, Clock::now());
            current_.clear();
        } else {
            current_ += static_cast<char>(c);
        }
        return c;
    }

   private:
    std::string current_;
};

double seconds(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
}

// The time of the first line at or after `from` that starts with `text`.
Clock::time_point when(const StampedLines& out, const std::string& text, std::size_t& from) {
    for (; from < out.lines.size(); ++from)
        if (out.lines[from].first.rfind(text, 0) == 0) return out.lines[from++].second;
    return out.lines.empty() ? Clock::now() : out.lines.back().second;
}

// Cells and pins of a loaded design.
void count_loaded(const vorp::Design& d, long& cells, long& pins) {
    for (vorp::Module* m = d.modules; m; m = m->next)
        for (vorp::Instance* i = m->insts; i; i = i->next) {
            ++cells;
            vorp::Node* n = i->node;
            if (!n) continue;
            do {
                ++pins;
                n = n->same_inst;
            } while (n && n != i->node);
        }
}

// Load the design of the words alone and count it; `seconds` is the time of
// the load, without the counting.
void count_design(int argc, char** argv, long& cells, long& pins, double* seconds = nullptr) {
    std::ostream quiet(nullptr);
    vorp::Design d(quiet);
    vorp::parse_args(d, argc - 1, argv + 1);
    const Clock::time_point start = Clock::now();
    vorp::load_design(d, d.top_name);
    if (seconds) *seconds = std::chrono::duration<double>(Clock::now() - start).count();
    count_loaded(d, cells, pins);
}

}  // namespace

int measure(int argc, char** argv);

int main(int argc, char** argv) {
    try {
        return measure(argc, argv);
    } catch (const vorp::Fatal& fault) {
        return fault.status;  // the words were refused (usage printed nowhere)
    }
}

int measure(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: vorp_stages [--read-only] <vorp words>\n");
        return 2;
    }
    if (std::string(argv[1]) == "--read-only") {
        // Reader and loader alone: "cells pins seconds peak_kib", the seconds
        // of the load without the counting after it.
        long cells = 0, pins = 0;
        double load_seconds = 0;
        count_design(argc - 1, argv + 1, cells, pins, &load_seconds);
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        std::printf("%ld %ld %.3f %ld\n", cells, pins, load_seconds, usage.ru_maxrss);
        return 0;
    }
    StampedLines out;
    std::ostream err(&out);
    vorp::Design d(err);
    const Clock::time_point start = Clock::now();
    const int status = vorp::run_vorp(d, argc - 1, argv + 1);
    const Clock::time_point end = Clock::now();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::size_t k = 0;
    const auto read_start = when(out, "Start to read", k);
    const auto read_end = when(out, "Done", k);
    const auto flat_start = when(out, "There ", k);
    const auto reduce_start = when(out, "Start inverter reduction", k);
    const auto reduce_end = when(out, "Done", k);
    const auto write_start = when(out, "Start to write", k);
    long cells = 0, pins = 0;
    count_design(argc, argv, cells, pins);
    std::printf("%ld %ld %.3f %.3f %.3f %.3f %.3f %.3f %ld %d\n", cells, pins,
                seconds(start, read_end), seconds(flat_start, reduce_start),
                seconds(reduce_start, reduce_end), seconds(reduce_end, write_start),
                seconds(write_start, end), seconds(start, end), usage.ru_maxrss, status);
    (void)read_start;
    return 0;
}
