#include "driver/run.h"

#include <new>
#include <ostream>

#include "db/check.h"
#include "driver/args.h"
#include "driver/banner.h"
#include "flatten/flatten.h"
#include "flatten/sticky.h"
#include "netlist/copy_writer.h"
#include "netlist/loader.h"
#include "netlist/text_writer.h"
#include "reduce/counting.h"
#include "reduce/reduction.h"
#include "rewrite/cell_variants.h"
#include "rewrite/push_down.h"

namespace vorp {

namespace {

void report_count(Design& d, int count) {
    if (count == 1)
        *d.err << "There is 1 inverter\n";
    else
        *d.err << "There are " << count << " inverters\n";
}

void report_totals(Design& d, int before, int after) {
    *d.err << "Done\n"
           << "Number of inverters\n"
           << '\t' << before << " ---> " << after << '\n';
}

int count_all_inverters(Design& d) {
    int total = 0;
    for (Module* m = d.modules; m; m = m->next)
        total += count_inverters(d, *m) + count_kept_inverters(d, *m);
    return total;
}

void write_unchanged(Design& d, int before, int after) {
    *d.err << "Start to write NLD/PCD files\n";
    write_unchanged_design(d);
    report_totals(d, before, after);
}

// Progress messages go out before the records are checked, so that a failed
// check (which aborts) still shows how far the run came.
void checked(Design& d, const char* stage) {
    d.err->flush();
    check_after(d, stage);
}

// A stage that fails leaves the design half-transformed: write the input as
// it was read and report no change.
void write_after_failure(Design& d, int before) {
    *d.err << "Sorry, but could not handle the netlists:\n";
    write_unchanged_design(d);
    report_totals(d, before, before);
}

// Flatten, reduce and, when that needs fewer inverters, rewrite and write
// the reduced design; otherwise write the input unchanged.
void reduce_and_write(Design& d, int before, const ReduceParams& reduce) {
    if (!flat(d)) return write_after_failure(d, before);
    checked(d, "flat");
    *d.err << "Start inverter reduction\n";
    if (!red_inv(d, reduce)) return write_after_failure(d, before);
    return_free_pages();
    checked(d, "red_inv");
    *d.err << "Done\n";
    const int after = count_all_inverters(d);
    report_count(d, after);
    if (after >= before) {
        *d.err << "Could not reduce the number of inverters\n";
        return write_unchanged(d, before, after);
    }
    if (!unprotect_irreversible_nets(d)) {
        // No line end: the next report continues this line.
        *d.err << "vorp: something wrong with net protection (for internal reason), sorry.";
        return write_unchanged(d, before, after);
    }
    checked(d, "unprotect_irreversible_nets");
    apply_polarities(d);
    checked(d, "apply_polarities");
    finish_modules(d);
    checked(d, "finish_modules");
    *d.err << "Start to write NLD files\n";
    write_reduced_design(d);
    report_totals(d, before, after);
}

void run_stages(Design& d, int count, const char* const* words, const ReduceParams& reduce) {
    print_banner(d.err, "VORP");
    d.reset();
    parse_args(d, count, words);
    *d.err << "Start to read NLD/PCD files\n";
    load_design(d, d.top_name);
    checked(d, "load_design");
    *d.err << "Done\n";
    const int before = d.inverter_count;
    if (before == 0) {
        *d.err << "There are 0 inverters\n";
        write_unchanged(d, 0, 0);
        return;
    }
    report_count(d, before);
    reduce_and_write(d, before, reduce);
}

}  // namespace

int run_vorp(Design& d, int count, const char* const* words, const ReduceParams& reduce) {
    try {
        run_stages(d, count, words, reduce);
    } catch (const Fatal& fault) {
        d.err->flush();
        return fault.status;
    } catch (const std::bad_alloc&) {
        *d.err << "memory full\n";
        d.err->flush();
        return 1;
    }
    d.err->flush();
    return 0;
}

}  // namespace vorp
