#include "driver/args.h"

#include <cstring>
#include <ostream>

#include "db/lists.h"

namespace vorp {

const char* const kUsage =
    "usage:\n        vorp [-a] <top_module_name> <nld_or_pcd_dir> ... \n"
    "             [-r <nld_or_pcd_dir> ...] -w <write_dir>\n";

namespace {

constexpr const char* kCredit = "vorp was designed and programmed by the vorp developers.\n\n";

[[noreturn]] void usage(Design& d) {
    *d.err << kUsage;
    throw Fatal{1};
}

bool is(const char* word, const char* option) {
    return std::strcmp(word, option) == 0;
}

bool ends_list(const char* word, bool stop_at_r) {
    return is(word, "-w") || is(word, "-a") || is(word, "-f") || (stop_at_r && is(word, "-r"));
}

// Append words from `i` to `list` until one that ends the list; returns the
// index of that word.
int take_list(Design& d, DirEntry*& list, int count, const char* const* words, int i,
              bool stop_at_r) {
    Tail<DirEntry> tail(list);
    do {
        DirEntry* e = d.make<DirEntry>();
        e->dir = d.copy_string(words[i]);
        tail.append(e);
        ++i;
    } while (i < count && !ends_list(words[i], stop_at_r));
    return i;
}

}  // namespace

void parse_args(Design& d, int count, const char* const* words) {
    if (count < 4) {
        if (count >= 1 && is(words[0], "-author")) *d.err << kCredit;
        usage(d);
    }
    int i = 0;
    while (i < count) {
        const char* word = words[i];
        if (is(word, "-r")) {
            // The word after -r is a directory whatever it is, -r included.
            if (d.ref_dirs || i + 1 >= count) usage(d);
            i = take_list(d, d.ref_dirs, count, words, i + 1, false);
        } else if (is(word, "-w")) {
            if (d.write_dirs || i + 1 >= count) usage(d);
            DirEntry* e = d.make<DirEntry>();
            e->dir = d.copy_string(words[i + 1]);
            d.write_dirs = e;
            i += 2;
        } else if (is(word, "-a")) {
            d.opt_a = 1;
            ++i;
        } else if (is(word, "-f")) {
            d.write_mode = WRITE_FLAT;
            ++i;
        } else if (d.read_dirs) {
            usage(d);
        } else if (!d.top_name) {
            d.top_name = d.copy_string(word);
            ++i;
        } else {
            i = take_list(d, d.read_dirs, count, words, i, true);
        }
    }
    if (!d.read_dirs || !d.write_dirs) usage(d);
}

}  // namespace vorp
