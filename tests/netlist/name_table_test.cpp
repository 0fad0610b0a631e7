// The open-addressing name table against the walk of a list it stands for.
#include "netlist/name_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <random>
#include <string>

namespace vorp {
namespace {

struct Rec {
    const char* name = nullptr;
    Rec* next = nullptr;
};

Rec* walk_first(Rec* head, const char* name) {
    for (Rec* r = head; r; r = r->next)
        if (r->name && std::strcmp(r->name, name) == 0) return r;
    return nullptr;
}

TEST(NameTable, AnswersAsTheWalkOfAPrependedList) {
    std::mt19937 rng(99);
    for (int round = 0; round < 40; ++round) {
        std::deque<std::string> texts;
        std::deque<Rec> records;
        Rec* head = nullptr;
        NameTable<Rec> table;
        const int distinct = 1 + static_cast<int>(rng() % 3000);
        const int count = static_cast<int>(rng() % 5000);
        for (int i = 0; i < count; ++i) {
            texts.push_back("n" + std::to_string(rng() % distinct));
            records.push_back(Rec{texts.back().c_str(), head});
            if (rng() % 50 == 0) records.back().name = nullptr;  // nameless: passed over
            head = &records.back();
            table.put(head);
        }
        for (int q = 0; q <= distinct; ++q) {
            const std::string name = "n" + std::to_string(q);
            ASSERT_EQ(table.find(name.c_str()), walk_first(head, name.c_str())) << name;
            ASSERT_EQ(table.find(name, hash_name(name)), walk_first(head, name.c_str()));
        }
        EXPECT_EQ(table.find("n"), nullptr);
        EXPECT_EQ(table.find(static_cast<const char*>(nullptr)), nullptr);
    }
}

TEST(NameTable, NamesThatArePrefixesOfOthersStayApart) {
    Rec a{"ab"}, b{"abc"}, c{"abcdefghij"}, d{"abcdefghi"};
    NameTable<Rec> table;
    for (Rec* r : {&a, &b, &c, &d}) table.put(r);
    EXPECT_EQ(table.find("ab"), &a);
    EXPECT_EQ(table.find("abc"), &b);
    EXPECT_EQ(table.find("abcdefghij"), &c);
    EXPECT_EQ(table.find("abcdefghi"), &d);
    EXPECT_EQ(table.find("a"), nullptr);
    EXPECT_EQ(table.find("abcd"), nullptr);
}

TEST(NameTable, HashDependsOnEveryByteAndTheLength) {
    const std::string base = "u1234567890";
    for (std::size_t i = 0; i < base.size(); ++i) {
        std::string other = base;
        other[i] = static_cast<char>(other[i] ^ 1);
        EXPECT_NE(hash_name(other), hash_name(base)) << i;
        EXPECT_NE(hash_name(base.substr(0, i)), hash_name(base)) << i;
    }
    EXPECT_NE(hash_name(std::string_view("a\0", 2)), hash_name("a"));
}

}  // namespace
}  // namespace vorp
