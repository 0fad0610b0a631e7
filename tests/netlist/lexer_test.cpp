#include "netlist/lexer.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "netlist/name_table.h"

namespace vorp {
namespace {

struct Lexed {
    std::vector<std::string> tokens;  // "(" ")" "." "<eof>" or the name
    std::string err;
    int status = -1;  // -1 when no fault
    int line = 0;
};

Lexed lex(const std::string& text) {
    std::ostringstream err;
    Design d(err);
    d.cur_path = "f.nld";
    d.line = 1;
    Lexer lexer(d, text);
    Lexed out;
    try {
        for (;;) {
            const int t = lexer.next_token();
            if (t == TOK_EOF) {
                out.tokens.push_back("<eof>");
                break;
            }
            if (t == TOK_NAME) {
                out.tokens.push_back(d.token);
                EXPECT_EQ(lexer.name(), out.tokens.back());
                EXPECT_EQ(lexer.name_hash(), hash_name(out.tokens.back()));
            } else
                out.tokens.push_back(std::string(1, static_cast<char>(t)));
        }
    } catch (const Fatal& f) {
        out.status = f.status;
    }
    out.err = err.str();
    out.line = d.line;
    return out;
}

TEST(Lexer, SplitsPunctuationAndNames) {
    const Lexed l = lex("(def-net a.b)");
    EXPECT_EQ(l.tokens, (std::vector<std::string>{"(", "def-net", "a", ".", "b", ")", "<eof>"}));
    EXPECT_EQ(l.status, -1);
}

TEST(Lexer, NameCutByEndOfFileIsAnError) {
    const Lexed l = lex("(a b");
    EXPECT_EQ(l.status, 1);
    EXPECT_EQ(l.err, "\"f.nld\", line 1: error\n");
    EXPECT_EQ(lex("(a b\n").status, -1);
    EXPECT_EQ(lex("(a b)").status, -1);
}

TEST(Lexer, CarriageReturnStaysInTheName) {
    const Lexed l = lex("abc\r\n");
    ASSERT_EQ(l.tokens.size(), 2u);
    EXPECT_EQ(l.tokens[0], "abc\r");
}

TEST(Lexer, CommentEndsANameAndTheLine) {
    const Lexed l = lex("abc;xyz\ndef\n");
    EXPECT_EQ(l.tokens, (std::vector<std::string>{"abc", "def", "<eof>"}));
    EXPECT_EQ(l.line, 3);
}

TEST(Lexer, EndOfFileInsideACommentEndsTheText) {
    EXPECT_EQ(lex("a ; no newline").tokens, (std::vector<std::string>{"a", "<eof>"}));
}

TEST(Lexer, LineNumbersCountNewlinesSoFar) {
    const Lexed l = lex("; one\n\nname\nx");
    EXPECT_EQ(l.status, 1);
    EXPECT_EQ(l.err, "\"f.nld\", line 4: error\n");
}

TEST(Lexer, NumbersArriveAsNamesAndDots) {
    EXPECT_EQ(lex("1.5 ").tokens, (std::vector<std::string>{"1", ".", "5", "<eof>"}));
}

TEST(Lexer, AnyOtherByteIsPartOfAName) {
    const std::string bytes = std::string("a\x01\x7f\xff-\"'b") + " ";
    const Lexed l = lex(bytes);
    ASSERT_EQ(l.tokens.size(), 2u);
    EXPECT_EQ(l.tokens[0], bytes.substr(0, bytes.size() - 1));
}

TEST(Lexer, ZeroByteCutsTheNameText) {
    const Lexed l = lex(std::string("ab\0cd ", 6));
    ASSERT_EQ(l.tokens.size(), 2u);
    EXPECT_EQ(l.tokens[0], "ab");
}

// What a byte-by-byte reading of the text gives: names end at a blank, a
// newline, a parenthesis, a dot or a semicolon; their text ends at the first
// zero byte; a comment runs to the end of its line.
Lexed lex_slowly(const std::string& text) {
    Lexed out;
    const auto ends_name = [](char c) {
        return std::string(" \t\n().;").find(c) != std::string::npos;
    };
    std::size_t i = 0;
    for (;;) {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n')) ++i;
        if (i == text.size()) break;
        const char c = text[i];
        if (c == ';') {
            const std::size_t newline = text.find('\n', i);
            if (newline == std::string::npos) break;
            i = newline + 1;
        } else if (c == '(' || c == ')' || c == '.') {
            out.tokens.push_back(std::string(1, c));
            ++i;
        } else {
            std::size_t end = i;
            while (end < text.size() && !ends_name(text[end])) ++end;
            if (end == text.size()) {
                out.status = 1;
                return out;
            }
            const std::string stored = text.substr(i, end - i);
            out.tokens.push_back(stored.substr(0, stored.find('\0')));
            i = end + (text[end] == '(' || text[end] == ')' || text[end] == '.' || text[end] == ';'
                           ? 0
                           : 1);
        }
    }
    out.tokens.push_back("<eof>");
    return out;
}

TEST(Lexer, LongAndShortNamesWithDelimitersAnywhereSplitAsByteByByte) {
    std::mt19937 rng(2024);
    static constexpr char kBytes[] = "ab_0\0\r\x80 \t\n().;";
    const std::string bytes(kBytes, sizeof kBytes - 1);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int length = static_cast<int>(rng() % 80);
        for (int k = 0; k < length; ++k) {
            // Mostly name bytes, so that names run across blocks of sixteen.
            const std::size_t pick = rng() % 4 ? rng() % 7 : rng() % bytes.size();
            text += bytes[pick];
        }
        text += '\n';
        const Lexed fast = lex(text);
        const Lexed slow = lex_slowly(text);
        ASSERT_EQ(fast.status, slow.status) << round;
        if (fast.status == -1) {
            ASSERT_EQ(fast.tokens, slow.tokens) << round;
        }
    }
}

TEST(Lexer, NameOf4095BytesIsRead) {
    const Lexed l = lex(std::string(4095, 'x') + ")");
    EXPECT_EQ(l.status, -1);
    ASSERT_EQ(l.tokens.size(), 3u);
    EXPECT_EQ(l.tokens[0].size(), 4095u);
}

TEST(Lexer, NameOf4096BytesIsTooLongEvenWithADelimiter) {
    for (const std::string& end : {std::string(")"), std::string("\n"), std::string()}) {
        const Lexed l = lex("\n" + std::string(4096, 'x') + end);
        EXPECT_EQ(l.status, 1);
        EXPECT_EQ(l.err, "\"f.nld\", line 2: name is too long\n");
    }
}

TEST(Lexer, TokenIsEmptyAfterPunctuation) {
    std::ostringstream err;
    Design d(err);
    Lexer lexer(d, "name(");
    EXPECT_EQ(lexer.next_token(), TOK_NAME);
    EXPECT_STREQ(d.token, "name");
    EXPECT_EQ(lexer.next_token(), TOK_OPEN);
    EXPECT_STREQ(d.token, "");
}

TEST(Lexer, NameAndHashAreThoseOfTheTextUpToAZeroByte) {
    std::ostringstream err;
    Design d(err);
    const std::string text("ab\0cd (longer_than_eight_bytes\n", 31);
    Lexer lexer(d, text);
    ASSERT_EQ(lexer.next_token(), TOK_NAME);
    EXPECT_EQ(lexer.name(), "ab");
    EXPECT_EQ(lexer.name_hash(), hash_name("ab"));
    ASSERT_EQ(lexer.next_token(), TOK_OPEN);
    EXPECT_EQ(lexer.name(), "");
    ASSERT_EQ(lexer.next_token(), TOK_NAME);
    EXPECT_EQ(lexer.name(), "longer_than_eight_bytes");
    EXPECT_EQ(lexer.name_hash(), hash_name("longer_than_eight_bytes"));
    EXPECT_EQ(d.line, 2);
}

}  // namespace
}  // namespace vorp
