#include "tools/verilog_reader.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>
#include <utility>

#include "tools/source_cursor.h"

namespace vorp::verilog {

std::vector<int> Range::indexes() const {
    std::vector<int> out;
    if (!vector) return {0};
    const int step = msb >= lsb ? -1 : 1;
    for (int i = msb;; i += step) {
        out.push_back(i);
        if (i == lsb) break;
    }
    return out;
}

namespace {

enum class Kind { End, Ident, Number, Punct };

struct Token {
    Kind kind = Kind::End;
    std::string text;  // identifier (escape removed), number, or the punctuation
    bool escaped = false;
    int line = 0;
};

// Words of Verilog that the structural subset does not cover: met where a
// statement starts, they are refused by name rather than taken for a cell.
const std::set<std::string>& unsupported_words() {
    static const std::set<std::string> words = {
        "always", "initial",  "reg",      "parameter", "localparam", "defparam", "function",
        "task",   "generate", "genvar",   "integer",   "real",       "supply0",  "supply1",
        "tri",    "tri0",     "tri1",     "wand",      "wor",        "triand",   "trior",
        "trireg", "specify",  "event",    "time",      "primitive",  "begin",    "end",
        "if",     "case",     "for",      "while",     "fork",       "and",      "or",
        "not",    "nand",     "nor",      "xor",       "xnor",       "buf",      "bufif0",
        "bufif1", "notif0",   "notif1",   "pullup",    "pulldown",   "signed",   "macromodule",
        "config", "logic",    "realtime", "specparam", "module"};
    return words;
}

class Lexer {
   public:
    Lexer(const std::string& file, const std::string& text) : file_(file), src_{text} {}

    Token next();
    int line() const { return src_.line; }
    // True once per (* blackbox *) attribute read since the last call.
    bool take_blackbox() { return std::exchange(blackbox_, false); }
    [[noreturn]] void fail(int line, const std::string& what) const {
        throw VerilogError(file_, line, what);
    }

   private:
    void skip_space_and_comments();
    Token number();

    const std::string& file_;
    SourceCursor src_;
    bool blackbox_ = false;
};

void Lexer::skip_space_and_comments() {
    std::string_view body;
    while (!src_.done()) {
        if (src_.skip_blank()) continue;
        if (src_.starts("//")) {
            src_.skip_line_comment();
        } else if (src_.starts("/*")) {
            if (!src_.skip_bracketed("*/", body)) fail(src_.line, "comment not closed");
        } else if (src_.starts("(*")) {
            if (!src_.skip_bracketed("*)", body)) fail(src_.line, "attribute not closed");
            if (body.find("blackbox") != std::string_view::npos) blackbox_ = true;
        } else {
            return;
        }
    }
}

Token Lexer::number() {
    Token t{Kind::Number, "", false, src_.line};
    auto take = [&](auto accept) {
        while (src_.at < src_.text.size() && accept(static_cast<unsigned char>(src_.text[src_.at])))
            t.text += src_.text[src_.at++];
    };
    take([](unsigned char c) { return std::isdigit(c) || c == '_'; });
    if (src_.at < src_.text.size() && src_.text[src_.at] == '\'') {
        t.text += src_.text[src_.at++];
        take([](unsigned char c) { return std::isalnum(c) || c == '_' || c == '?'; });
    }
    return t;
}

Token Lexer::next() {
    skip_space_and_comments();
    if (src_.done()) return Token{Kind::End, "", false, src_.line};
    const unsigned char c = static_cast<unsigned char>(src_.text[src_.at]);
    if (c == '\\') {
        Token t{Kind::Ident, "", true, src_.line};
        ++src_.at;
        while (src_.at < src_.text.size() &&
               !std::isspace(static_cast<unsigned char>(src_.text[src_.at])))
            t.text += src_.text[src_.at++];
        return t;
    }
    if (std::isalpha(c) || c == '_' || c == '$') {
        Token t{Kind::Ident, "", false, src_.line};
        while (src_.at < src_.text.size() &&
               (std::isalnum(static_cast<unsigned char>(src_.text[src_.at])) ||
                src_.text[src_.at] == '_' || src_.text[src_.at] == '$'))
            t.text += src_.text[src_.at++];
        return t;
    }
    if (std::isdigit(c) || c == '\'') return number();
    if (c == '`') fail(src_.line, "compiler directive is outside the supported subset");
    ++src_.at;
    return Token{Kind::Punct, std::string(1, static_cast<char>(c)), false, src_.line};
}

// A decimal number of at most nine digits ('_' ignored), else an error.
long long bounded_number(const Lexer& lex, int line, const std::string& text, std::size_t digits) {
    std::string clean;
    for (char c : text)
        if (c != '_') clean += c;
    if (clean.empty() || clean.size() > digits ||
        clean.find_first_not_of("0123456789") != std::string::npos)
        lex.fail(line, "number out of range: " + text);
    return std::stoll(clean);
}

// Bits of a constant, msb first, as characters '0', '1', 'x', 'z'.
std::string constant_bits(const Lexer& lex, const Token& t, bool& unsized) {
    const std::size_t quote = t.text.find('\'');
    std::string digits;
    for (char c : t.text.substr(quote == std::string::npos ? 0 : quote + 1))
        if (c != '_') digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    unsized = quote == std::string::npos;
    if (unsized || quote == 0) {
        if (quote == 0) lex.fail(t.line, "unsized constant " + t.text + " is not supported");
        unsigned long long v = bounded_number(lex, t.line, digits, 18);
        std::string bits;
        do bits.insert(bits.begin(), static_cast<char>('0' + (v & 1))), v >>= 1;
        while (v);
        return bits;
    }
    const long long width = bounded_number(lex, t.line, t.text.substr(0, quote), 9);
    if (width < 1 || width > 4096) lex.fail(t.line, "constant width out of range: " + t.text);
    if (digits.empty() || digits[0] == 's') lex.fail(t.line, "malformed constant " + t.text);
    const char base = digits[0];
    digits.erase(0, 1);
    if (digits.empty()) lex.fail(t.line, "malformed constant " + t.text);
    std::string bits;
    const int per_digit = base == 'b' ? 1 : base == 'o' ? 3 : base == 'h' ? 4 : 0;
    if (base == 'd') {
        unsigned long long v = bounded_number(lex, t.line, digits, 18);
        do bits.insert(bits.begin(), static_cast<char>('0' + (v & 1))), v >>= 1;
        while (v);
    } else if (per_digit) {
        for (char d : digits) {
            int value = 0;
            if (d == 'x' || d == 'z' || d == '?') {
                bits += std::string(per_digit, d == '?' ? 'z' : d);
                continue;
            }
            if (std::isdigit(static_cast<unsigned char>(d)))
                value = d - '0';
            else if (d >= 'a' && d <= 'f')
                value = d - 'a' + 10;
            else
                lex.fail(t.line, "malformed constant " + t.text);
            if (value >= (1 << per_digit)) lex.fail(t.line, "malformed constant " + t.text);
            for (int b = per_digit - 1; b >= 0; --b)
                bits += static_cast<char>('0' + ((value >> b) & 1));
        }
    } else {
        lex.fail(t.line, "malformed constant " + t.text);
    }
    const int have = static_cast<int>(bits.size());
    if (have > width) return bits.substr(have - width);
    const char fill = bits[0] == 'x' || bits[0] == 'z' ? bits[0] : '0';
    return std::string(static_cast<std::size_t>(width - have), fill) + bits;
}

class Parser {
   public:
    Parser(const std::string& file, const std::string& text) : file_(file), lex_(file, text) {
        advance();
    }
    std::vector<Module> modules();

   private:
    void advance() { tok_ = lex_.next(); }
    bool is(const char* punct) const { return tok_.kind == Kind::Punct && tok_.text == punct; }
    bool is_word(const char* word) const {
        return tok_.kind == Kind::Ident && !tok_.escaped && tok_.text == word;
    }
    [[noreturn]] void fail(const std::string& what) const { lex_.fail(tok_.line, what); }
    std::string describe() const;
    void expect(const char* punct);
    std::string identifier(const char* what);
    int integer();

    Module module();
    bool is_direction() const { return is_word("input") || is_word("output") || is_word("inout"); }
    Direction direction();
    void ansi_header(Module& m);
    void declaration(Module& m, Direction d);
    void connections(Statement& s);
    void assign_statement(Module& m);
    void instance_statement(Module& m);
    Range range();
    Expr expression();
    void primary(Expr& out);

    const std::string& file_;
    Lexer lex_;
    Token tok_;
    int position_ = 0;
};

std::string Parser::describe() const {
    return tok_.kind == Kind::End ? "end of file" : "'" + tok_.text + "'";
}

void Parser::expect(const char* punct) {
    if (!is(punct)) fail(std::string("expected '") + punct + "', found " + describe());
    advance();
}

std::string Parser::identifier(const char* what) {
    if (tok_.kind != Kind::Ident) fail(std::string("expected ") + what + ", found " + describe());
    std::string name = tok_.text;
    advance();
    return name;
}

int Parser::integer() {
    if (tok_.kind != Kind::Number || tok_.text.find('\'') != std::string::npos)
        fail("expected a number, found " + describe());
    const int value = static_cast<int>(bounded_number(lex_, tok_.line, tok_.text, 9));
    advance();
    return value;
}

std::vector<Module> Parser::modules() {
    std::vector<Module> out;
    while (tok_.kind != Kind::End) {
        const bool blackbox = lex_.take_blackbox();
        if (!is_word("module")) fail("expected 'module', found " + describe());
        out.push_back(module());
        out.back().blackbox = blackbox;
    }
    return out;
}

Module Parser::module() {
    Module m;
    m.file = file_;
    m.line = tok_.line;
    advance();
    m.name = identifier("a module name");
    if (is("#")) fail("module parameters are outside the supported subset");
    if (is("(")) {
        advance();
        if (is_direction())
            ansi_header(m);
        else
            while (!is(")")) {
                if (!m.header.empty()) expect(",");
                m.header.push_back(identifier("a port name"));
            }
        advance();
    }
    expect(";");
    lex_.take_blackbox();
    for (;;) {
        lex_.take_blackbox();
        if (tok_.kind == Kind::End) fail("end of file inside module " + m.name);
        if (tok_.kind != Kind::Ident)
            fail("expected a declaration, assign or instance, found " + describe());
        if (is_word("endmodule")) {
            advance();
            return m;
        }
        if (is_word("input")) {
            declaration(m, Direction::Input);
        } else if (is_word("output")) {
            declaration(m, Direction::Output);
        } else if (is_word("inout")) {
            declaration(m, Direction::Inout);
        } else if (is_word("wire")) {
            declaration(m, Direction::Wire);
        } else if (is_word("assign")) {
            assign_statement(m);
        } else if (!tok_.escaped && unsupported_words().count(tok_.text)) {
            fail("'" + tok_.text + "' is outside the supported subset");
        } else {
            instance_statement(m);
        }
    }
}

Direction Parser::direction() {
    const Direction d = is_word("input")    ? Direction::Input
                        : is_word("output") ? Direction::Output
                                            : Direction::Inout;
    advance();
    if (is_word("wire")) advance();
    if (is_word("signed") || is_word("reg"))
        fail("'" + tok_.text + "' is outside the supported subset");
    return d;
}

// (input a, b, output [3:0] y, ...): a name without a direction takes the
// direction and range of the name before it.
void Parser::ansi_header(Module& m) {
    Direction d = Direction::Input;
    Range r;
    while (!is(")")) {
        if (!m.header.empty()) expect(",");
        const int line = tok_.line;
        if (is_direction()) {
            d = direction();
            r = range();
        }
        m.header.push_back(identifier("a port name"));
        m.declarations.push_back(Declaration{m.header.back(), d, r, line, position_++});
    }
}

Range Parser::range() {
    Range r;
    if (!is("[")) return r;
    advance();
    r.vector = true;
    r.msb = integer();
    expect(":");
    r.lsb = integer();
    expect("]");
    if (r.width() > 65536) fail("a range wider than 65536 bits");
    return r;
}

void Parser::declaration(Module& m, Direction d) {
    const int line = tok_.line;
    advance();
    if (d != Direction::Wire && is_word("wire")) advance();
    if (is_word("signed") || is_word("reg"))
        fail("'" + tok_.text + "' is outside the supported subset");
    const Range r = range();
    for (;;) {
        Declaration decl{identifier("a name"), d, r, line, position_++};
        m.declarations.push_back(decl);
        if (is("=")) {
            if (d != Direction::Wire) fail("an assignment in a port declaration is not supported");
            advance();
            Statement s;
            s.is_assign = true;
            s.line = line;
            s.position = position_++;
            s.lhs = {Term{false, false, decl.name, 0, 0, 0, "", line}};
            s.rhs = expression();
            m.statements.push_back(std::move(s));
        }
        if (is(";")) break;
        expect(",");
    }
    advance();
}

void Parser::assign_statement(Module& m) {
    const int line = tok_.line;
    advance();
    if (is("#")) fail("assignment delays are outside the supported subset");
    for (;;) {
        Statement s;
        s.is_assign = true;
        s.line = line;
        s.position = position_++;
        s.lhs = expression();
        expect("=");
        s.rhs = expression();
        m.statements.push_back(std::move(s));
        if (is(";")) break;
        expect(",");
    }
    advance();
}

void Parser::instance_statement(Module& m) {
    const std::string type = tok_.text;
    advance();
    if (is("#")) fail("instance parameters are outside the supported subset");
    for (;;) {
        Statement s;
        s.line = tok_.line;
        s.position = position_++;
        s.type = type;
        s.name = identifier("an instance name");
        if (is("[")) fail("instance arrays are outside the supported subset");
        expect("(");
        connections(s);
        m.statements.push_back(std::move(s));
        if (is(";")) break;
        expect(",");
    }
    advance();
}

// Named, .A(x), or by position, (x, , y): an empty one leaves its pin open.
void Parser::connections(Statement& s) {
    s.by_position = !is(".") && !is(")");
    for (bool first = true; !is(")"); first = false) {
        if (!first) expect(",");
        Connection c;
        c.line = tok_.line;
        if (s.by_position) {
            if (is(".")) fail("named and positional connections are mixed");
            if (!is(",") && !is(")")) c.expr = expression();
        } else {
            expect(".");
            c.pin = identifier("a pin name");
            expect("(");
            if (!is(")")) c.expr = expression();
            expect(")");
        }
        s.connections.push_back(std::move(c));
    }
    advance();
}

Expr Parser::expression() {
    Expr out;
    primary(out);
    if (!(is(",") || is(")") || is("}") || is(";") || is("=")))
        fail("expression operator " + describe() + " is outside the supported subset");
    return out;
}

void Parser::primary(Expr& out) {
    Term t;
    t.line = tok_.line;
    if (is("{")) {
        advance();
        if (tok_.kind == Kind::Number) fail("replication is outside the supported subset");
        for (;;) {
            primary(out);
            if (is("}")) break;
            if (!is(","))
                fail("expression operator " + describe() + " is outside the supported subset");
            advance();
        }
        advance();
        return;
    }
    if (tok_.kind == Kind::Number) {
        t.constant = true;
        t.bits = constant_bits(lex_, tok_, t.unsized);
        advance();
        out.push_back(t);
        return;
    }
    if (tok_.kind != Kind::Ident || (!tok_.escaped && unsupported_words().count(tok_.text)))
        fail("expected a wire, a bit-select or a constant, found " + describe());
    t.name = tok_.text;
    advance();
    if (is("[")) {
        advance();
        t.select = 1;
        t.msb = t.lsb = integer();
        if (is(":")) {
            advance();
            t.select = 2;
            t.lsb = integer();
        } else if (is("+") || is("-")) {
            fail("indexed part-selects are outside the supported subset");
        }
        expect("]");
    }
    out.push_back(t);
}

}  // namespace

std::vector<Module> read_verilog(const std::string& file, const std::string& text) {
    return Parser(file, text).modules();
}

}  // namespace vorp::verilog
