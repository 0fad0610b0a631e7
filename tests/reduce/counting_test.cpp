#include "reduce/counting.h"

#include <gtest/gtest.h>

#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;

// A net driven from `pin` of a fresh instance of `cell`, with `straight`
// consumers at +1 and `inverted` consumers at -1 (on one nand gate each).
Net* fan_out(DesignBuilder& b, int cell, const char* pin, int straight, int inverted,
             bool irreversible = false) {
    Net* net = b.net(NET_SIGNAL, irreversible);
    b.drive(net, b.inst(cell, "drv"), pin);
    for (int k = 0; k < straight; ++k) b.load(net, b.inst(CELL_NAND, "s"), "a", 1);
    for (int k = 0; k < inverted; ++k) b.load(net, b.inst(CELL_NAND, "i"), "a", -1);
    return net;
}

TEST(NetMeasures, NoInvertedConsumerNeedsNothingWhateverTheDriver) {
    for (int cell : {CELL_INV, CELL_NINV, CELL_AND, CELL_NAND, CELL_OR, CELL_NOR, CELL_EOR,
                     CELL_ENOR, CELL_AOI, CELL_OAI, CELL_REG, CELL_SREG, CELL_HIGH, CELL_LOW,
                     CELL_TS_BUF, CELL_BGATE, CELL_SUBMODULE}) {
        DesignBuilder b;
        Net* net = fan_out(b, cell, "out", 3, 0);
        EXPECT_EQ(net_inverters(b.d, net), 0) << cell;
        EXPECT_EQ(net_inverted_load(b.d, net), 0) << cell;
    }
}

TEST(NetMeasures, AndGateWithMixedConsumers) {
    DesignBuilder b;
    Net* net = fan_out(b, CELL_AND, "out", 1, 3);
    EXPECT_EQ(net_inverters(b.d, net), 1);
    EXPECT_EQ(net_inverted_load(b.d, net), 3);
    b.d.opt_a = 1;
    EXPECT_EQ(net_inverters(b.d, net), 1);
    EXPECT_EQ(net_inverted_load(b.d, net), 1);
}

TEST(NetMeasures, AndFamilyWithOnlyInvertedConsumersIsFreeUnderOptionA) {
    for (int cell : {CELL_AND, CELL_NAND, CELL_OR, CELL_NOR}) {
        DesignBuilder b;
        Net* net = fan_out(b, cell, "out", 0, 3);
        EXPECT_EQ(net_inverters(b.d, net), 1);
        EXPECT_EQ(net_inverted_load(b.d, net), 3);
        b.d.opt_a = 1;
        EXPECT_EQ(net_inverters(b.d, net), 0) << cell;
        EXPECT_EQ(net_inverted_load(b.d, net), 0) << cell;
    }
}

TEST(NetMeasures, IrreversibleAndGateNetCountsOnePolarityEvenUnderOptionA) {
    DesignBuilder b;
    b.d.opt_a = 1;
    Net* net = fan_out(b, CELL_NOR, "nout", 1, 2, true);
    EXPECT_EQ(net_inverters(b.d, net), 1);
    EXPECT_EQ(net_inverted_load(b.d, net), 2);
}

TEST(NetMeasures, AoiAndOaiAreOnePolarityDriversEvenUnderOptionA) {
    for (int cell : {CELL_AOI, CELL_OAI}) {
        DesignBuilder b;
        b.d.opt_a = 1;
        Net* net = fan_out(b, cell, "nout", 0, 2);
        EXPECT_EQ(net_inverters(b.d, net), 1);
        EXPECT_EQ(net_inverted_load(b.d, net), 2);
    }
}

TEST(NetMeasures, ExclusiveOrDriverChoosesItsPolarity) {
    for (int cell : {CELL_EOR, CELL_ENOR}) {
        DesignBuilder b;
        Net* net = fan_out(b, cell, "out", 0, 3);
        EXPECT_EQ(net_inverters(b.d, net), 0);
        EXPECT_EQ(net_inverted_load(b.d, net), 0);
        net->set_irreversible(true);
        EXPECT_EQ(net_inverters(b.d, net), 1);
        EXPECT_EQ(net_inverted_load(b.d, net), 3);
    }
}

TEST(NetMeasures, ExclusiveOrDriverWithBothPolaritiesNeedsOne) {
    DesignBuilder b;
    Net* net = fan_out(b, CELL_EOR, "out", 2, 3);
    EXPECT_EQ(net_inverters(b.d, net), 1);
    EXPECT_EQ(net_inverted_load(b.d, net), 2);
}

TEST(NetMeasures, InvertedExclusiveOrInputIsNoConsumer) {
    DesignBuilder b;
    Net* net = b.net();
    b.drive(net, b.inst(CELL_NAND, "g"), "nout");
    b.load(net, b.inst(CELL_EOR, "x"), "in1", -1);
    b.load(net, b.inst(CELL_ENOR, "y"), "in2", -1);
    EXPECT_EQ(net_inverters(b.d, net), 0);
    EXPECT_EQ(net_inverted_load(b.d, net), 0);
    b.load(net, b.inst(CELL_AND, "z"), "a", -1);
    EXPECT_EQ(net_inverters(b.d, net), 1);
    EXPECT_EQ(net_inverted_load(b.d, net), 1);
}

TEST(NetMeasures, RegistersAndConstantsNeverNeedAnInverter) {
    for (int cell : {CELL_REG, CELL_REGR, CELL_REGS, CELL_REG2, CELL_REG3, CELL_HIGH, CELL_LOW}) {
        DesignBuilder b;
        Net* net = fan_out(b, cell, "out", 1, 2);
        EXPECT_EQ(net_inverters(b.d, net), 0) << cell;
        EXPECT_EQ(net_inverted_load(b.d, net), 0) << cell;
    }
}

TEST(NetMeasures, ScanRegisterNeedsOneOnlyOnScanOut) {
    for (int cell : {CELL_SREG, CELL_SRGR, CELL_SRGS, CELL_SREG2, CELL_SREG3}) {
        DesignBuilder b;
        Net* from_out = fan_out(b, cell, "out", 1, 2);
        Net* from_nout = fan_out(b, cell, "nout", 0, 1);
        Net* from_scan = fan_out(b, cell, "scan_out", 1, 2);
        EXPECT_EQ(net_inverters(b.d, from_out), 0) << cell;
        EXPECT_EQ(net_inverters(b.d, from_nout), 0) << cell;
        EXPECT_EQ(net_inverted_load(b.d, from_out), 0) << cell;
        EXPECT_EQ(net_inverters(b.d, from_scan), 1) << cell;
        EXPECT_EQ(net_inverted_load(b.d, from_scan), 2) << cell;
    }
}

TEST(NetMeasures, SupplyPortsNeedNoInverterOtherPortsDo) {
    struct Row {
        const char* name;
        int inverters;
        int load;
    };
    for (const Row& row : {Row{"VDD", 0, 0}, Row{"VSS", 0, 0}, Row{"vdd", 1, 2}, Row{"Vss", 1, 2},
                           Row{"VDD1", 1, 2}, Row{"a", 1, 2}}) {
        DesignBuilder b;
        Net* net = b.net();
        b.drive(net, b.port(row.name, KW_INPUT), row.name, KW_INPUT);
        b.load(net, b.inst(CELL_AND, "g"), "a", -1);
        b.load(net, b.inst(CELL_AND, "h"), "a", -1);
        EXPECT_EQ(net_inverters(b.d, net), row.inverters) << row.name;
        EXPECT_EQ(net_inverted_load(b.d, net), row.load) << row.name;
    }
}

TEST(NetMeasures, PortWithoutANameCountsLikeAnyPort) {
    DesignBuilder b;
    Net* net = b.net();
    Instance* p = b.port("p", KW_INPUT);
    b.drive(net, p, "p", KW_INPUT);
    p->name = nullptr;
    b.load(net, b.inst(CELL_AND, "g"), "a", -1);
    EXPECT_EQ(net_inverters(b.d, net), 1);
}

TEST(NetMeasures, OtherDriversNeedOneAsSoonAsAnyConsumerIsInverted) {
    for (int cell :
         {CELL_INV, CELL_NINV, CELL_AOI, CELL_OAI, CELL_TS_BUF, CELL_BGATE, CELL_SUBMODULE}) {
        DesignBuilder b;
        b.d.opt_a = 1;
        Net* net = fan_out(b, cell, "out", 2, 3);
        EXPECT_EQ(net_inverters(b.d, net), 1) << cell;
        EXPECT_EQ(net_inverted_load(b.d, net), 3) << cell;
    }
}

TEST(NetMeasures, NetWithoutSourceCountsLikeAnyOtherDriver) {
    DesignBuilder b;
    Net* net = b.net();
    b.load(net, b.inst(CELL_AND, "g"), "a", 1);
    b.load(net, b.inst(CELL_AND, "h"), "a", -1);
    b.load(net, b.inst(CELL_AND, "k"), "a", -1);
    EXPECT_EQ(net_inverters(b.d, net), 1);
    EXPECT_EQ(net_inverted_load(b.d, net), 2);
}

// The measures of a net from its votes: 4 straight and 2 inverted
// consumers, all straight, all inverted.
TEST(NetMeasures, RulesFromVotes) {
    using R = DriverRule;
    EXPECT_EQ(rule_inverters(R::EITHER_POLARITY, 4, 2), 1);
    EXPECT_EQ(rule_inverted_load(R::EITHER_POLARITY, 4, 2), 2);
    EXPECT_EQ(rule_inverters(R::EITHER_POLARITY, 3, 0), 0);
    EXPECT_EQ(rule_inverted_load(R::EITHER_POLARITY, 3, 0), 0);
    EXPECT_EQ(rule_inverters(R::EITHER_POLARITY, 0, 3), 0);
    EXPECT_EQ(rule_inverted_load(R::EITHER_POLARITY, 0, 3), 0);
    EXPECT_EQ(rule_inverters(R::ONE_POLARITY, 4, 2), 1);
    EXPECT_EQ(rule_inverted_load(R::ONE_POLARITY, 4, 2), 2);
    EXPECT_EQ(rule_inverters(R::ONE_POLARITY, 3, 0), 0);
    EXPECT_EQ(rule_inverters(R::ONE_POLARITY, 0, 3), 1);
    EXPECT_EQ(rule_inverted_load(R::ONE_POLARITY, 0, 3), 3);
    EXPECT_EQ(rule_inverters(R::NEVER, 4, 2), 0);
    EXPECT_EQ(rule_inverted_load(R::NEVER, 0, 3), 0);
}

TEST(CountInverters, SumsSignalNetsOfAFlattenedModule) {
    DesignBuilder b;
    fan_out(b, CELL_NAND, "nout", 1, 1);  // 1
    Net* wired = b.net(NET_WIRED);
    b.drive(wired, b.inst(CELL_TS_BUF, "t"), "out", KW_TRISTATE);
    b.load(wired, b.inst(CELL_AND, "w"), "a", -1);  // 1
    for (int kind : {NET_CLOCK, NET_UNUSED, NET_NONE}) {
        Net* other = b.net(kind);
        b.drive(other, b.inst(CELL_NAND, "o"), "nout");
        b.load(other, b.inst(CELL_AND, "p"), "a", -1);  // not counted
    }
    fan_out(b, CELL_NAND, "nout", 2, 0);  // 0
    EXPECT_EQ(count_inverters(b.d, *b.top), 2);
    EXPECT_EQ(total_inverted_load(b.d, *b.top), 2);
}

TEST(CountInverters, ReferenceModuleReportsItsInverterCells) {
    DesignBuilder b;
    b.inst(CELL_INV, "i1");
    b.inst(CELL_NINV, "n1");
    b.inst(CELL_INV, "i2");
    fan_out(b, CELL_NAND, "nout", 0, 1);
    b.top->set_kind(MOD_REFERENCE);
    EXPECT_EQ(count_inverters(b.d, *b.top), 2);
    b.top->set_kind(MOD_PCD);
    EXPECT_EQ(count_inverters(b.d, *b.top), 0);
}

TEST(CountKeptInverters, CountsInvertersLeftOnClockNets) {
    DesignBuilder b;
    Net* clock = b.net(NET_CLOCK);
    Net* signal = b.net(NET_SIGNAL);
    b.drive(clock, b.inst(CELL_INV, "c1"), "nout");
    b.load(clock, b.inst(CELL_INV, "c2"), "in", 1);
    b.drive(signal, b.inst(CELL_INV, "s1"), "nout");
    b.inst(CELL_INV, "loose");                            // no node
    b.load(clock, b.inst(CELL_NINV, "buffer"), "in", 1);  // not an inverter
    EXPECT_EQ(count_kept_inverters(b.d, *b.top), 2);
    b.top->set_kind(MOD_REFERENCE);
    EXPECT_EQ(count_kept_inverters(b.d, *b.top), 0);
    b.top->set_kind(MOD_PCD);
    EXPECT_EQ(count_kept_inverters(b.d, *b.top), 0);
}

}  // namespace
}  // namespace vorp
