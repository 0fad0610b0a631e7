#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>

#include "db/codes.h"
#include "db/design.h"
#include "db/lists.h"

namespace vorp {
namespace {

TEST(Records, CellWriteKeepsParamAndPinType) {
    Instance i;
    i.set_param(300);  // kept modulo 256
    i.set_pin_type(KW_OUTPUT);
    i.set_cell(CELL_NAND);
    EXPECT_EQ(i.param(), 44);
    EXPECT_EQ(i.pin_type(), KW_OUTPUT);
    i.set_cell(CELL_NOR);
    EXPECT_EQ(i.cell(), CELL_NOR);
    EXPECT_EQ(i.param(), 44);
    EXPECT_EQ(i.pin_type(), KW_OUTPUT);
}

TEST(Records, FlagsShareTheNoteWordWithoutTouchingIt) {
    Instance i;
    i.set_note(KW_GLOBAL);
    i.set_kept(true);
    i.toggle_dual();
    i.set_on_clock(true);
    EXPECT_EQ(i.note(), KW_GLOBAL);
    EXPECT_TRUE(i.dual() && i.kept() && i.on_clock());
    EXPECT_FALSE(i.complement());
    i.toggle_inverted();  // the sticky's `inverted` is the complement bit
    EXPECT_TRUE(i.complement());
    i.set_note(KW_SCAN_OUT);
    EXPECT_TRUE(i.dual() && i.kept() && i.on_clock() && i.complement());
}

TEST(Records, PolarityWriteKeepsPinTypeAndOtherPolarity) {
    Node n;
    n.set_pin_type(KW_TRISTATE);
    n.set_pols(1, -1);
    n.set_port_note(KW_GLOBAL);
    n.set_pinned(true);
    EXPECT_EQ(n.pol_a(), 1);
    EXPECT_EQ(n.pol_b(), -1);
    n.set_pol_a(-1);
    EXPECT_EQ(n.pol_a(), -1);
    EXPECT_EQ(n.pol_b(), -1);
    EXPECT_EQ(n.pin_type(), KW_TRISTATE);
    EXPECT_EQ(n.port_note(), KW_GLOBAL);
    EXPECT_TRUE(n.pinned());
    n.set_pol_b(0);
    EXPECT_EQ(n.pol_b(), 0);
    EXPECT_EQ(n.pol_a(), -1);
}

TEST(Records, NetKindKeepsIrreversible) {
    Net net;
    net.set_irreversible(true);
    net.set_net_type(NET_SIGNAL);
    net.set_net_type(NET_WIRED);
    EXPECT_TRUE(net.irreversible());
    EXPECT_EQ(net.net_type(), NET_WIRED);
}

TEST(Tables, BinarySearchFindsEveryRowAndOnlyExactMatches) {
    for (const CodeTable* t : {&KeywordTable, &CellTable}) {
        for (int r = 0; r < t->size; ++r) {
            EXPECT_EQ(lookup_keyword(t->rows[r].text, *t), t->rows[r].code) << t->rows[r].text;
            EXPECT_STREQ(keyword_name(t->rows[r].code, *t), t->rows[r].text);
        }
    }
    EXPECT_EQ(KeywordTable.size, 28);
    EXPECT_EQ(CellTable.size, 24);
    EXPECT_EQ(lookup_keyword("inv", CellTable), NOT_FOUND);
    EXPECT_EQ(lookup_keyword("nand--2", CellTable), NOT_FOUND);
    EXPECT_EQ(lookup_keyword("def-net", KeywordTable), KW_DEF_NET);
    EXPECT_EQ(lookup_keyword("", KeywordTable), NOT_FOUND);
    EXPECT_EQ(keyword_name(424, CellTable), nullptr);
}

TEST(Arena, AllocationIsZeroedAndZeroSizeEndsTheRun) {
    std::ostringstream err;
    Design d(err);
    Module* m = d.make<Module>();
    EXPECT_EQ(m->ports, nullptr);
    EXPECT_STREQ(d.copy_string("abc"), "abc");
    EXPECT_EQ(d.copy_string(nullptr), nullptr);
    try {
        d.alloc_or_die(0);
        FAIL() << "a zero-byte request must end the run";
    } catch (const Fatal& f) {
        EXPECT_EQ(f.status, 1);
    }
    EXPECT_EQ(err.str(), "memory full\n");
}

TEST(Arena, TextsLiePackedRecordsAlignedAndEveryBlockZeroed) {
    Arena arena;
    char* a = arena.allocate_text(3);
    char* b = arena.allocate_text(5);
    EXPECT_EQ(b, a + 3);
    for (int round = 0; round < 20000; ++round) {
        const std::size_t size = 1 + static_cast<std::size_t>(round * 7919) % 300;
        auto* record = static_cast<unsigned char*>(arena.allocate(size));
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(record) % Arena::kRecordAlign, 0u);
        char* text = arena.allocate_text(size);
        for (std::size_t i = 0; i < size; ++i) ASSERT_EQ(record[i] | text[i], 0);
        std::memset(record, 0xff, size);
        std::memset(text, 0x55, size);
    }
    // A block larger than a chunk comes whole and zeroed.
    const std::size_t large = std::size_t{9} << 20;
    auto* big = static_cast<unsigned char*>(arena.allocate(large));
    ASSERT_NE(big, nullptr);
    EXPECT_EQ(big[0] | big[large / 2] | big[large - 1], 0);
    // Texts go on after it where they were.
    char* c = arena.allocate_text(1);
    EXPECT_EQ(arena.allocate_text(1), c + 1);
}

TEST(Arena, RecordsOfOneKindLieTogether) {
    std::ostringstream err;
    Design d(err);
    Node* a = d.make<Node>();
    Net* net = d.make<Net>();
    Instance* inst = d.make<Instance>();
    Node* b = d.make<Node>();
    Net* next_net = d.make<Net>();
    EXPECT_EQ(reinterpret_cast<char*>(b), reinterpret_cast<char*>(a) + sizeof(Node));
    EXPECT_EQ(reinterpret_cast<char*>(next_net), reinterpret_cast<char*>(net) + sizeof(Net));
    EXPECT_NE(inst, nullptr);
}

TEST(Arena, LinksNameRecordsInFourBytesAndChunksComeBackZeroed) {
    static_assert(sizeof(Ref<Node>) == 4);
    // What a million-cell design's records cost rests on these.
    static_assert(sizeof(Node) <= 40 && sizeof(Instance) <= 56 && sizeof(Net) <= 24);
    Node* first = nullptr;
    {
        std::ostringstream err;
        Design d(err);
        first = d.make<Node>();
        Node* other = d.make<Node>();
        first->next = other;
        first->word = ~0u;
        EXPECT_EQ(static_cast<Node*>(first->next), other);
        EXPECT_EQ(first->next->next, nullptr);
        first->next = nullptr;
        EXPECT_FALSE(first->next);
        first->next = other;
    }
    // The next design takes the same chunk back, and it reads as zeros.
    std::ostringstream err;
    Design d(err);
    const Node* n = d.make<Node>();
    EXPECT_EQ(n, first);
    EXPECT_EQ(n->word, 0u);
    EXPECT_EQ(n->next, nullptr);
}

TEST(Lists, PushFrontReversesPushBackKeepsOrderUnlinkWalksFromHead) {
    std::ostringstream err;
    Design d(err);
    Net& a = *d.make<Net>();
    Net& b = *d.make<Net>();
    Net& c = *d.make<Net>();
    Net* head = nullptr;
    push_front(head, &a);
    push_front(head, &b);
    push_front(head, &c);
    EXPECT_EQ(head, &c);
    EXPECT_EQ(c.next, &b);
    EXPECT_TRUE(unlink_from(head, &b));
    EXPECT_EQ(c.next, &a);
    EXPECT_EQ(b.next, &a);  // the unlinked item's own link is left alone
    EXPECT_FALSE(unlink_from(head, &b));
    Net* h2 = nullptr;
    Tail<Net> t(h2);
    t.append(&b);
    t.append(&c);
    EXPECT_EQ(h2, &b);
    EXPECT_EQ(b.next, &c);
    EXPECT_EQ(list_length(h2), 2);
}

TEST(Lists, FindInRingStopsAtTheFirstMatchFromTheStart) {
    std::ostringstream err;
    Design d(err);
    Node* a = d.make<Node>();
    Node* b = d.make<Node>();
    Node* c = d.make<Node>();
    a->same_inst = b;
    b->same_inst = c;
    c->same_inst = a;
    a->set_pin_type(KW_INPUT);
    b->set_pin_type(KW_OUTPUT);
    c->set_pin_type(KW_OUTPUT);
    int asked = 0;
    auto output = [&](const Node* n) {
        ++asked;
        return n->pin_type() == KW_OUTPUT;
    };
    EXPECT_EQ(find_in_ring(a, output), b);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(find_in_ring(c, output), c);  // the walk starts where it is asked to
    EXPECT_EQ(find_in_ring(a, [](const Node* n) { return n->pin_type() == KW_TRISTATE; }), nullptr);
    EXPECT_EQ(find_in_ring(static_cast<Node*>(nullptr), output), nullptr);
    c->same_inst = nullptr;  // an open ring ends at its last node
    EXPECT_EQ(find_in_ring(c, [](const Node*) { return false; }), nullptr);
}

}  // namespace
}  // namespace vorp
