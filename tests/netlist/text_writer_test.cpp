#include "netlist/text_writer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "db/lists.h"
#include "tests/support/design_builder.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::read_file;
using test::RingOrder;
using test::TempDir;

CellGroup* group(Design& d, std::initializer_list<Instance*> chain) {
    CellGroup* g = d.make<CellGroup>();
    Instance* prev = nullptr;
    for (Instance* i : chain) {
        i->next = nullptr;
        if (prev)
            prev->next = i;
        else
            g->first = i;
        prev = i;
    }
    return g;
}

struct Writer : ::testing::Test {
    DesignBuilder b{RingOrder::newest_then_oldest};
    TempDir t;

    void add_dir(DirEntry*& list, const std::string& path) {
        DirEntry* e = b.d.make<DirEntry>();
        e->dir = b.d.copy_string(path.c_str());
        push_back(list, e);
    }
    std::string written(const Module& m) {
        const std::string path = t.path() + "/m.nld";
        OutputFile out;
        EXPECT_TRUE(out.open(path.c_str()));
        write_module(out, b.d, m);
        out.commit();
        return read_file(path);
    }
    std::string group_text(const CellGroup* g) {
        const std::string path = t.path() + "/g.nld";
        OutputFile out;
        EXPECT_TRUE(out.open(path.c_str()));
        write_group(out, g);
        out.commit();
        return read_file(path);
    }
    Instance* comp(Module* m, int cell, const char* name, int param = 0) {
        Instance* i = b.d.make<Instance>();
        i->set_cell(cell);
        i->set_param(param);
        i->name = name ? b.d.copy_string(name) : nullptr;
        i->owner = m;
        return i;
    }
};

TEST_F(Writer, AnEmptyModuleIsItsHeaderTwoEmptyLinesAndTheClose) {
    EXPECT_EQ(written(*b.top), "(def-module\ttop\n\n\n)\n");
}

TEST_F(Writer, PortsWithAndWithoutNoteAndEveryTopPort) {
    Instance* clk = b.port(b.top, "clk", KW_INPUT, false);
    clk->set_note(KW_CLOCK);
    b.port(b.top, "y", KW_OUTPUT, false);
    b.port(b.top, "io", KW_BIDIRECT, true);
    Instance* odd = b.port(b.top, nullptr, 999, false);
    odd->set_note(5);
    EXPECT_EQ(written(*b.top),
              "(def-module\ttop\n"
              "\t(def-pin\tclk\ttype input\tnote\tclock)\n"
              "\t(def-pin\ty\ttype output)\n"
              "\t(def-pin\tio\ttype bidirect)\n"
              "\t(def-pin\t(null)\ttype (null)\tnote\t(null))\n"
              "\n\n)\n");
}

TEST_F(Writer, ASubModuleWritesOnlyItsKeptPorts) {
    Module* m = b.sub(b.top, "half", "h1");
    b.port(m, "gone", KW_INPUT, false);
    b.port(m, "in1", KW_INPUT, true);
    EXPECT_EQ(written(*m), "(def-module\thalf\n\t(def-pin\tin1\ttype input)\n\n\n)\n");
}

TEST_F(Writer, GateTreesAreWrittenLeftNodeRightWithTheirSizes) {
    Module* m = b.top;
    CellGroup* root =
        group(b.d, {comp(m, CELL_NAND, "nand-2", 3), comp(m, CELL_NAND, "nand-3", 3)});
    root->left = group(b.d, {comp(m, CELL_NAND, "nand-1", 2)});
    root->right = group(b.d, {comp(m, CELL_NAND, "nand-4", 12)});
    root->right->left = group(b.d, {comp(m, CELL_NAND, "x", 5)});
    EXPECT_EQ(group_text(root),
              "\t(def-comp\tnand--2\tnand-1)\n"
              "\t(def-comp\tnand--3\tnand-2)\n"
              "\t(def-comp\tnand--3\tnand-3)\n"
              "\t(def-comp\tnand--5\tx)\n"
              "\t(def-comp\tnand--12\tnand-4)\n");
}

TEST_F(Writer, EveryGateCellCarriesItsSize) {
    const std::vector<std::pair<int, const char*>> gates = {
        {CELL_AND, "and--2"}, {CELL_NAND, "nand--2"}, {CELL_OR, "or--2"},   {CELL_NOR, "nor--2"},
        {CELL_EOR, "eor--2"}, {CELL_ENOR, "enor--2"}, {CELL_AOI, "aoi--2"}, {CELL_OAI, "oai--2"}};
    for (auto [cell, text] : gates)
        EXPECT_EQ(group_text(group(b.d, {comp(b.top, cell, "g", 2)})),
                  std::string("\t(def-comp\t") + text + "\tg)\n");
    EXPECT_EQ(group_text(group(b.d, {comp(b.top, CELL_AOI, "g", 21)})),
              "\t(def-comp\taoi--21\tg)\n");
}

TEST_F(Writer, OtherGroupsAreWrittenFlatByTheirCellText) {
    CellGroup* g = group(b.d, {comp(b.top, CELL_INV, "inv-1"), comp(b.top, CELL_INV, "inv-2")});
    g->right = group(b.d, {comp(b.top, CELL_INV, "never")});
    EXPECT_EQ(group_text(g), "\t(def-comp\tinv-\tinv-1)\n\t(def-comp\tinv-\tinv-2)\n");
    const std::vector<std::pair<int, const char*>> cells = {
        {CELL_NINV, "ninv-"},    {CELL_REG, "reg-1"},      {CELL_REGR, "regr-1"},
        {CELL_REGS, "regs-1"},   {CELL_REG2, "reg--1"},    {CELL_REG3, "reg---1"},
        {CELL_SREG, "sreg-1"},   {CELL_SRGR, "srgr-1"},    {CELL_SRGS, "srgs-1"},
        {CELL_SREG2, "sreg--1"}, {CELL_SREG3, "sreg---1"}, {CELL_HIGH, "high-"},
        {CELL_LOW, "low-"},      {CELL_TS_BUF, "ts_buf-"}, {CELL_BGATE, "bgate--2"},
        {CELL_PORT, "(null)"}};
    for (auto [cell, text] : cells)
        EXPECT_EQ(group_text(group(b.d, {comp(b.top, cell, "k", 7)})),
                  std::string("\t(def-comp\t") + text + "\tk)\n");
}

TEST_F(Writer, AGroupOfPortRecordsIsWrittenWithANullCellText) {
    Instance* vss = comp(b.top, CELL_PORT, "VSS");
    vss->set_pin_type(KW_GLOBAL);
    EXPECT_EQ(group_text(group(b.d, {vss})), "\t(def-comp\t(null)\tVSS)\n");
}

TEST_F(Writer, SubModuleGroupsUseTheFirstInstancesCopyName) {
    Module* m1 = b.sub(b.top, "half", "h1");
    Module* m2 = b.sub(b.top, "half", "h2");
    m1->name = "half-3";
    m2->name = "half-4";
    EXPECT_EQ(group_text(group(b.d, {m1->inst, m2->inst})),
              "\t(def-comp\thalf-3\th1)\n\t(def-comp\thalf-3\th2)\n");
}

TEST_F(Writer, AnEmptyGroupWritesNothing) {
    EXPECT_EQ(group_text(nullptr), "");
    CellGroup empty;
    EXPECT_EQ(group_text(&empty), "");
}

TEST_F(Writer, NetsListPortsByPinAndInstancesByNameAndPin) {
    Instance* a = b.port(b.top, "a", KW_INPUT);
    Instance* g = comp(b.top, CELL_NAND, "nand-1", 2);
    Instance* inv = comp(b.top, CELL_INV, nullptr);
    Net* n = b.net(b.top);
    b.drive(n, a, nullptr, KW_INPUT);
    b.pin(n, g, "a", KW_INPUT);
    b.pin(n, inv, "in", KW_INPUT);
    Net* empty = b.net(b.top);
    (void)empty;
    Net* odd = b.net(b.top);
    Node* nameless = b.pin(odd, g, nullptr, KW_INPUT);
    (void)nameless;
    b.top->cell_groups = group(b.d, {g});
    EXPECT_EQ(written(*b.top),
              "(def-module\ttop\n"
              "\t(def-pin\ta\ttype input)\n"
              "\n"
              "\t(def-comp\tnand--2\tnand-1)\n"
              "\n"
              "\t(def-net\ta\tnand-1.a\t(null).in)\n"
              "\t(def-net)\n"
              "\t(def-net\tnand-1.(null))\n"
              ")\n");
}

TEST_F(Writer, GroupsAreWrittenInListOrder) {
    CellGroup* first = group(b.d, {comp(b.top, CELL_REG, "r")});
    CellGroup* second = group(b.d, {comp(b.top, CELL_INV, "inv-1")});
    first->next = second;
    b.top->cell_groups = first;
    EXPECT_EQ(written(*b.top),
              "(def-module\ttop\n\n\t(def-comp\treg-1\tr)\n\t(def-comp\tinv-\tinv-1)\n\n)\n");
}

// ---- whole designs ----

struct WholeDesign : Writer {
    std::string out_dir = t.mkdir("out");
    std::string read_dir = t.mkdir("r");
    std::string ref_dir = t.mkdir("ref");

    WholeDesign() {
        add_dir(b.d.write_dirs, out_dir);
        add_dir(b.d.read_dirs, read_dir);
        add_dir(b.d.ref_dirs, ref_dir);
    }
    bool exists(const std::string& name) { return std::filesystem::exists(out_dir + "/" + name); }
    std::string wrote(const std::string& name) { return "\tWrote " + out_dir + "/" + name + "\n"; }
};

TEST_F(WholeDesign, DefaultModeWritesKeptCopiesAndCopiesEachReferenceOnce) {
    t.write("ref/lib.nld", "(def-module lib)\n");
    t.write("r/leaf.pcd", "(def-module leaf)\n");
    Module* h1 = b.sub(b.top, "half", "h1");
    Module* h2 = b.sub(b.top, "half", "h2");
    Module* l1 = b.sub(b.top, "lib", "l1", MOD_REFERENCE);
    Module* l2 = b.sub(h1, "lib", "l2", MOD_REFERENCE);
    Module* p = b.sub(b.top, "leaf", "p1", MOD_PCD);
    h1->name = "half-1";
    h1->inst->set_kept(true);
    h2->name = "half-2";  // not kept: not written
    l2->inst->set_kept(true);
    p->inst->set_kept(true);
    (void)l1;
    write_reduced_design(b.d);
    EXPECT_EQ(b.err.str(), wrote("top.nld") + wrote("half-1.nld") + wrote("lib.nld"));
    EXPECT_EQ(read_file(out_dir + "/top.nld"), "(def-module\ttop\n\n\n)\n");
    EXPECT_EQ(read_file(out_dir + "/half-1.nld"), "(def-module\thalf-1\n\n\n)\n");
    EXPECT_EQ(read_file(out_dir + "/lib.nld"), "(def-module lib)\n");
    EXPECT_FALSE(exists("half-2.nld"));
    EXPECT_FALSE(exists("leaf.pcd"));
}

TEST_F(WholeDesign, TheTopFileIsNamedAfterTheCommandLineName) {
    b.d.top_name = "given";
    write_reduced_design(b.d);
    EXPECT_EQ(b.err.str(), wrote("given.nld"));
    EXPECT_EQ(read_file(out_dir + "/given.nld"), "(def-module\ttop\n\n\n)\n");
}

TEST_F(WholeDesign, FlatModeCopiesPerInstanceNameAndNeverWritesCopies) {
    b.d.write_mode = WRITE_FLAT;
    t.write("ref/lib.nld", "(def-module lib)\n");
    t.write("r/leaf.pcd", "(def-module leaf)\n");
    Module* h1 = b.sub(b.top, "half", "h1");
    Module* l1 = b.sub(b.top, "lib", "l1", MOD_REFERENCE);
    Module* l2 = b.sub(b.top, "lib", "l2", MOD_REFERENCE);
    Module* l3 = b.sub(b.top, "lib", "l3", MOD_REFERENCE);
    Module* p = b.sub(b.top, "leaf", "p1", MOD_PCD);
    h1->inst->set_kept(true);
    l1->inst->set_kept(true);
    l2->inst->set_kept(true);
    p->inst->set_kept(true);
    (void)l3;
    write_reduced_design(b.d);
    EXPECT_EQ(b.err.str(),
              wrote("top.nld") + wrote("lib.nld") + wrote("lib.nld") + wrote("leaf.pcd"));
    EXPECT_FALSE(exists("half.nld"));
    EXPECT_EQ(read_file(out_dir + "/leaf.pcd"), "(def-module leaf)\n");
}

TEST_F(WholeDesign, FlatModeTestsTheInstanceNameAgainstTheWrittenNames) {
    b.d.write_mode = WRITE_FLAT;
    t.write("ref/lib.nld", "(def-module lib)\n");
    Module* l1 = b.sub(b.top, "lib", "lib", MOD_REFERENCE);
    Module* l2 = b.sub(b.top, "lib", "lib", MOD_REFERENCE);
    Module* l3 = b.sub(b.top, "lib", "top", MOD_REFERENCE);
    l1->inst->set_kept(true);
    l2->inst->set_kept(true);
    l3->inst->set_kept(true);
    write_reduced_design(b.d);
    // The first instance named "lib" copies lib and records it; the second
    // then finds its name recorded; "top" is the first recorded name.
    EXPECT_EQ(b.err.str(), wrote("top.nld") + wrote("lib.nld"));
}

TEST_F(WholeDesign, AnUnopenableFileEndsTheRunAndKeepsWhatWasWritten) {
    Module* h1 = b.sub(b.top, "half", "h1");
    h1->name = "sub/half-1";  // a directory that does not exist
    h1->inst->set_kept(true);
    try {
        write_reduced_design(b.d);
        FAIL() << "the run goes on";
    } catch (const Fatal& f) {
        EXPECT_EQ(f.status, 1);
    }
    EXPECT_EQ(b.err.str(), wrote("top.nld") + "Could not open " + out_dir + "/sub/half-1.nld\n");
    EXPECT_TRUE(exists("top.nld"));
}

TEST_F(WholeDesign, AnUnopenableTopFileEndsTheRunAtOnce) {
    b.d.write_dirs->dir = b.d.copy_string((t.path() + "/missing").c_str());
    try {
        write_reduced_design(b.d);
        FAIL() << "the run goes on";
    } catch (const Fatal& f) {
        EXPECT_EQ(f.status, 1);
    }
    EXPECT_EQ(b.err.str(), "Could not open " + t.path() + "/missing/top.nld\n");
}

}  // namespace
}  // namespace vorp
