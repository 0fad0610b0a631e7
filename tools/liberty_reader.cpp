#include "tools/liberty_reader.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <string_view>

#include "tools/source_cursor.h"

namespace vorp::liberty {

namespace {

// Deeper nesting than any library has is refused rather than recursed into.
constexpr int kMaxDepth = 200;

enum class Kind { End, Word, String, Punct };

struct Token {
    Kind kind = Kind::End;
    std::string text;
    int line = 0;
};

bool is_punct(char c) {
    return c == '(' || c == ')' || c == '{' || c == '}' || c == ':' || c == ';' || c == ',';
}

class Lexer {
   public:
    Lexer(const std::string& file, const std::string& text) : file_(file), src_{text} {}
    Token next();
    [[noreturn]] void fail(int line, const std::string& what) const {
        throw LibertyError(file_, line, what);
    }

   private:
    void skip_space_and_comments();
    // A backslash before a line end: the line goes on.
    bool continues_line() const { return src_.starts("\\\n") || src_.starts("\\\r"); }
    Token string();

    const std::string& file_;
    SourceCursor src_;
};

void Lexer::skip_space_and_comments() {
    std::string_view body;
    while (!src_.done()) {
        if (src_.skip_blank()) continue;
        if (continues_line()) {
            ++src_.at;  // a continuation: the line end that follows is space
        } else if (src_.starts("//")) {
            src_.skip_line_comment();
        } else if (src_.starts("/*")) {
            if (!src_.skip_bracketed("*/", body)) fail(src_.line, "comment not closed");
        } else {
            return;
        }
    }
}

Token Lexer::string() {
    Token t{Kind::String, "", src_.line};
    for (++src_.at;; ++src_.at) {
        if (src_.at >= src_.text.size()) fail(t.line, "string not closed");
        const char c = src_.text[src_.at];
        if (c == '"') break;
        if (c == '\n') ++src_.line;
        if (c == '\\' && src_.at + 1 < src_.text.size()) {
            const char n = src_.text[++src_.at];
            if (n == '\n') ++src_.line;
            if (n == '\n' || n == '\r') continue;  // continued on the next line
            t.text += n;
            continue;
        }
        t.text += c;
    }
    ++src_.at;
    return t;
}

Token Lexer::next() {
    skip_space_and_comments();
    if (src_.done()) return Token{Kind::End, "", src_.line};
    const char c = src_.text[src_.at];
    if (c == '"') return string();
    if (is_punct(c)) return Token{Kind::Punct, std::string(1, src_.text[src_.at++]), src_.line};
    Token t{Kind::Word, "", src_.line};
    while (src_.at < src_.text.size()) {
        const char w = src_.text[src_.at];
        if (std::isspace(static_cast<unsigned char>(w)) || is_punct(w) || w == '"') break;
        if (continues_line() || src_.starts("/*") || src_.starts("//")) break;
        t.text += w;
        ++src_.at;
    }
    return t;
}

// The file as a tree of groups and attributes.
struct Attribute {
    std::string name;
    std::vector<std::string> values;  // one for `name : value`, the arguments otherwise
    int line = 0;
};

struct Group {
    std::string kind;
    std::vector<std::string> args;
    std::vector<Attribute> attributes;
    std::vector<Group> groups;
    int line = 0;
};

class Parser {
   public:
    Parser(const std::string& file, const std::string& text) : lex_(file, text) { advance(); }
    Group file();

   private:
    void advance() { tok_ = lex_.next(); }
    bool is(const char* p) const { return tok_.kind == Kind::Punct && tok_.text == p; }
    [[noreturn]] void fail(const std::string& what) const { lex_.fail(tok_.line, what); }
    std::string describe() const {
        return tok_.kind == Kind::End ? "end of file" : "'" + tok_.text + "'";
    }
    void expect(const char* p) {
        if (!is(p)) fail(std::string("expected '") + p + "', found " + describe());
        advance();
    }
    std::string value();
    std::vector<std::string> arguments();
    void statement(Group& into, int depth);
    void body(Group& g, int depth);

    Lexer lex_;
    Token tok_;
};

std::string Parser::value() {
    if (tok_.kind != Kind::Word && tok_.kind != Kind::String)
        fail("expected a value, found " + describe());
    std::string v = tok_.text;
    advance();
    return v;
}

std::vector<std::string> Parser::arguments() {
    expect("(");
    std::vector<std::string> out;
    while (!is(")")) {
        if (!out.empty()) expect(",");
        out.push_back(value());
    }
    advance();
    return out;
}

void Parser::statement(Group& into, int depth) {
    if (tok_.kind != Kind::Word) fail("expected an attribute or a group, found " + describe());
    const std::string name = tok_.text;
    const int line = tok_.line;
    advance();
    if (is(":")) {
        advance();
        into.attributes.push_back(Attribute{name, {value()}, line});
        if (is(";")) advance();
        return;
    }
    if (!is("(")) fail("expected ':' or '(' after '" + name + "', found " + describe());
    std::vector<std::string> args = arguments();
    if (is("{")) {
        if (depth >= kMaxDepth) fail("groups nested too deep");
        Group g{name, std::move(args), {}, {}, line};
        advance();
        body(g, depth + 1);
        into.groups.push_back(std::move(g));
        return;
    }
    into.attributes.push_back(Attribute{name, std::move(args), line});
    if (is(";")) advance();
}

void Parser::body(Group& g, int depth) {
    while (!is("}")) {
        if (tok_.kind == Kind::End) fail("end of file inside group '" + g.kind + "'");
        statement(g, depth);
    }
    advance();
}

Group Parser::file() {
    Group root;
    statement(root, 0);
    if (root.groups.size() != 1 || root.groups[0].kind != "library")
        lex_.fail(1, "expected a library group");
    if (tok_.kind != Kind::End) fail("text after the library group: " + describe());
    return std::move(root.groups[0]);
}

// Expressions: or := and {('+'|'|') and}; and := xor {['*'|'&'] xor};
// xor := unary {'^' unary}; unary := '!' unary | atom {'\''}.
class FunctionParser {
   public:
    FunctionParser(const std::string& file, int line, const std::string& text)
        : file_(file), line_(line), text_(text) {}
    Expr parse() {
        Expr e = or_expr(0);
        skip_space();
        if (at_ < text_.size()) fail("unexpected '" + std::string(1, text_[at_]) + "'");
        return e;
    }

   private:
    [[noreturn]] void fail(const std::string& what) const {
        throw LibertyError(file_, line_, "function \"" + text_ + "\": " + what);
    }
    void skip_space() {
        while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) ++at_;
    }
    bool take(char c) {
        skip_space();
        if (at_ < text_.size() && text_[at_] == c) return ++at_, true;
        return false;
    }
    // An operand can start here: a name, a constant, '(' or '!'.
    bool operand_follows() {
        skip_space();
        if (at_ >= text_.size()) return false;
        const char c = text_[at_];
        return c == '(' || c == '!' || std::isalnum(static_cast<unsigned char>(c)) || c == '_' ||
               c == '[' || c == '\\';
    }
    static Expr node(Expr::Op op, Expr a, Expr b) {
        Expr e;
        e.op = op;
        e.args.push_back(std::move(a));
        e.args.push_back(std::move(b));
        return e;
    }
    Expr or_expr(int depth);
    Expr and_expr(int depth);
    Expr xor_expr(int depth);
    Expr unary(int depth);
    Expr atom(int depth);

    const std::string& file_;
    int line_;
    const std::string& text_;
    std::size_t at_ = 0;
};

Expr FunctionParser::or_expr(int depth) {
    Expr e = and_expr(depth);
    while (take('+') || take('|')) e = node(Expr::Or, std::move(e), and_expr(depth));
    return e;
}

Expr FunctionParser::and_expr(int depth) {
    Expr e = xor_expr(depth);
    for (;;) {
        if (take('*') || take('&') || operand_follows())
            e = node(Expr::And, std::move(e), xor_expr(depth));
        else
            return e;
    }
}

Expr FunctionParser::xor_expr(int depth) {
    Expr e = unary(depth);
    while (take('^')) e = node(Expr::Xor, std::move(e), unary(depth));
    return e;
}

Expr FunctionParser::unary(int depth) {
    if (depth > kMaxDepth) fail("nested too deep");
    if (take('!')) {
        Expr e;
        e.op = Expr::Not;
        e.args.push_back(unary(depth + 1));
        return e;
    }
    Expr e = atom(depth);
    while (take('\'')) {
        Expr n;
        n.op = Expr::Not;
        n.args.push_back(std::move(e));
        e = std::move(n);
    }
    return e;
}

Expr FunctionParser::atom(int depth) {
    if (take('(')) {
        Expr e = or_expr(depth + 1);
        if (!take(')')) fail("')' missing");
        return e;
    }
    skip_space();
    std::string name;
    while (at_ < text_.size()) {
        const char c = text_[at_];
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '[' || c == ']' ||
              c == '.' || c == '\\'))
            break;
        name += c;
        ++at_;
    }
    if (name.empty())
        fail(at_ < text_.size() ? "unexpected '" + std::string(1, text_[at_]) + "'"
                                : "an operand is missing");
    Expr e;
    if (name == "0" || name == "1")
        e.op = name == "1" ? Expr::Const1 : Expr::Const0;
    else
        e.op = Expr::Var, e.name = name;
    return e;
}

const Attribute* find_attribute(const Group& g, const char* name) {
    for (const Attribute& a : g.attributes)
        if (a.name == name) return &a;
    return nullptr;
}

std::optional<Expr> function_attribute(const std::string& file, const Group& g, const char* name) {
    const Attribute* a = find_attribute(g, name);
    if (!a) return std::nullopt;
    if (a->values.size() != 1)
        throw LibertyError(file, a->line, std::string(name) + " needs one value");
    return parse_function(file, a->line, a->values[0]);
}

Direction direction_of(const std::string& file, const Group& pin) {
    const Attribute* a = find_attribute(pin, "direction");
    if (!a || a->values.size() != 1) throw LibertyError(file, pin.line, "pin without a direction");
    const std::string& d = a->values[0];
    if (d == "input") return Direction::Input;
    if (d == "output") return Direction::Output;
    if (d == "inout") return Direction::Inout;
    if (d == "internal") return Direction::Internal;
    throw LibertyError(file, a->line, "unknown pin direction '" + d + "'");
}

void add_pins(const std::string& file, const Group& g, Cell& cell) {
    if (g.args.empty()) throw LibertyError(file, g.line, "pin group without a name");
    for (const std::string& name : g.args) {
        for (const Pin& p : cell.pins)
            if (p.name == name)
                throw LibertyError(
                    file, g.line,
                    "pin '" + name + "' of cell '" + cell.name + "' is declared twice");
        cell.pins.push_back(Pin{name, direction_of(file, g),
                                function_attribute(file, g, "function"),
                                function_attribute(file, g, "three_state"), g.line});
    }
}

FlipFlop flip_flop(const std::string& file, const Group& g) {
    if (g.args.size() != 2) throw LibertyError(file, g.line, "ff group needs two state names");
    FlipFlop f{g.args[0],
               g.args[1],
               function_attribute(file, g, "next_state"),
               function_attribute(file, g, "clocked_on"),
               function_attribute(file, g, "clear"),
               function_attribute(file, g, "preset"),
               g.line};
    if (!f.next_state || !f.clocked_on)
        throw LibertyError(file, g.line, "ff group without next_state or clocked_on");
    return f;
}

double area_of(const std::string& file, const Group& g) {
    const Attribute* a = find_attribute(g, "area");
    if (!a) return 0;
    if (a->values.size() != 1) throw LibertyError(file, a->line, "area needs one value");
    const char* text = a->values[0].c_str();
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    if (end == text || *end != '\0') throw LibertyError(file, a->line, "area is not a number");
    return v;
}

Cell cell_of(const std::string& file, const Group& g) {
    if (g.args.size() != 1) throw LibertyError(file, g.line, "cell group needs one name");
    Cell c;
    c.name = g.args[0];
    c.area = area_of(file, g);
    c.file = file;
    c.line = g.line;
    for (const Group& sub : g.groups) {
        if (sub.kind == "pin") {
            add_pins(file, sub, c);
        } else if (sub.kind == "ff") {
            if (c.ff) throw LibertyError(file, sub.line, "a second ff group");
            c.ff = flip_flop(file, sub);
        } else if (sub.kind == "latch" || sub.kind == "statetable" || sub.kind == "bus" ||
                   sub.kind == "bundle" || sub.kind == "ff_bank" || sub.kind == "latch_bank") {
            c.other_state = true;
        }
    }
    return c;
}

}  // namespace

Expr parse_function(const std::string& file, int line, const std::string& text) {
    return FunctionParser(file, line, text).parse();
}

std::vector<std::string> variables(const Expr& e) {
    std::vector<std::string> out;
    std::vector<const Expr*> todo = {&e};
    while (!todo.empty()) {
        const Expr* x = todo.back();
        todo.pop_back();
        if (x->op == Expr::Var && std::find(out.begin(), out.end(), x->name) == out.end())
            out.push_back(x->name);
        for (auto a = x->args.rbegin(); a != x->args.rend(); ++a) todo.push_back(&*a);
    }
    return out;
}

bool evaluate(const Expr& e, const std::vector<std::string>& names, unsigned long long values) {
    switch (e.op) {
        case Expr::Const0:
            return false;
        case Expr::Const1:
            return true;
        case Expr::Var: {
            const auto it = std::find(names.begin(), names.end(), e.name);
            return it != names.end() && ((values >> (it - names.begin())) & 1);
        }
        case Expr::Not:
            return !evaluate(e.args[0], names, values);
        case Expr::And:
            return evaluate(e.args[0], names, values) && evaluate(e.args[1], names, values);
        case Expr::Or:
            return evaluate(e.args[0], names, values) || evaluate(e.args[1], names, values);
        case Expr::Xor:
            return evaluate(e.args[0], names, values) != evaluate(e.args[1], names, values);
    }
    return false;
}

Library read_liberty(const std::string& file, const std::string& text) {
    const Group lib = Parser(file, text).file();
    Library out;
    out.name = lib.args.empty() ? "" : lib.args[0];
    std::set<std::string> names;
    for (const Group& g : lib.groups) {
        if (g.kind != "cell") continue;
        out.cells.push_back(cell_of(file, g));
        if (!names.insert(out.cells.back().name).second)
            throw LibertyError(file, g.line,
                               "cell '" + out.cells.back().name + "' is defined twice");
    }
    return out;
}

}  // namespace vorp::liberty
