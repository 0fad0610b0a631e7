#include "tests/fuzz/design_text.h"

#include <cctype>

namespace vorp::fuzz {

namespace {

// Tokens of the regular form: "(", ")", ".", names, and whole comment lines
// (kept, since they carry the switches and the placements).
struct Token {
    enum Kind { open, close, dot, name, comment, end } kind;
    std::string_view text;
};

bool is_delimiter(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '(' || c == ')' || c == '.' ||
           c == ';';
}

class Tokens {
   public:
    explicit Tokens(std::string_view text) : text_(text) {}

    Token next() {
        while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
        if (pos_ == text_.size()) return {Token::end, {}};
        const std::size_t start = pos_;
        switch (text_[pos_]) {
            case '(':
                ++pos_;
                return {Token::open, text_.substr(start, 1)};
            case ')':
                ++pos_;
                return {Token::close, text_.substr(start, 1)};
            case '.':
                ++pos_;
                return {Token::dot, text_.substr(start, 1)};
            case ';': {
                while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
                return {Token::comment, text_.substr(start, pos_ - start)};
            }
            default:
                while (pos_ < text_.size() && !is_delimiter(text_[pos_])) ++pos_;
                return {Token::name, text_.substr(start, pos_ - start)};
        }
    }

   private:
    std::string_view text_;
    std::size_t pos_ = 0;
};

// A recursive-descent reader of the regular form; every method returns
// false on anything outside it.
class Parser {
   public:
    explicit Parser(std::string_view text) : tokens_(text) { advance(); }

    bool design(DesignText& out) {
        Placement placement = Placement::read_nld;
        while (tok_.kind != Token::end) {
            if (tok_.kind == Token::comment) {
                note_comment(tok_.text, out, placement);
                advance();
                continue;
            }
            ModuleText m;
            m.placement = placement;
            if (!module(m)) return false;
            out.modules.push_back(std::move(m));
            placement = Placement::read_nld;
        }
        return !out.modules.empty();
    }

   private:
    void advance() { tok_ = tokens_.next(); }
    void skip_comments() {
        while (tok_.kind == Token::comment) advance();
    }
    bool take(Token::Kind kind) {
        skip_comments();
        if (tok_.kind != kind) return false;
        advance();
        return true;
    }
    bool take_name(std::string& into) {
        skip_comments();
        if (tok_.kind != Token::name) return false;
        into = std::string(tok_.text);
        advance();
        return true;
    }
    bool take_word(std::string_view word) {
        skip_comments();
        if (tok_.kind != Token::name || tok_.text != word) return false;
        advance();
        return true;
    }
    bool at(Token::Kind kind) {
        skip_comments();
        return tok_.kind == kind;
    }

    static void note_comment(std::string_view text, DesignText& out, Placement& placement) {
        if (text.starts_with("; vorp")) {
            out.opt_a = out.opt_a || text.find(" -a") != std::string_view::npos;
            out.opt_f = out.opt_f || text.find(" -f") != std::string_view::npos;
        } else if (text == "; pcd") {
            placement = Placement::read_pcd;
        } else if (text == "; ref") {
            placement = Placement::reference_nld;
        }
    }

    bool module(ModuleText& m) {
        if (!take(Token::open) || !take_word("def-module") || !take_name(m.name)) return false;
        while (!at(Token::close)) {
            if (!take(Token::open)) return false;
            std::string keyword;
            if (!take_name(keyword)) return false;
            if (keyword == "def-pin") {
                if (!pin(m)) return false;
            } else if (keyword == "def-comp") {
                if (!comp(m)) return false;
            } else if (keyword == "def-net") {
                if (!net(m)) return false;
            } else {
                return false;
            }
        }
        advance();
        return true;
    }

    bool pin(ModuleText& m) {
        PinDecl p;
        if (!take_name(p.name)) return false;
        while (!at(Token::close)) {
            std::string word;
            if (!take_name(word)) return false;
            // type and note, each at most once; nothing else
            std::string* value = word == "type" ? &p.type : word == "note" ? &p.note : nullptr;
            if (!value || !value->empty() || !take_name(*value)) return false;
        }
        advance();
        m.pins.push_back(std::move(p));
        return true;
    }

    bool comp(ModuleText& m) {
        CompDecl c;
        if (!take_name(c.cell)) return false;
        while (!at(Token::close)) {
            std::string name;
            if (!take_name(name)) return false;
            c.names.push_back(std::move(name));
        }
        advance();
        m.comps.push_back(std::move(c));
        return true;
    }

    bool net(ModuleText& m) {
        std::vector<Connection> net;
        while (!at(Token::close)) {
            std::string first;
            if (!take_name(first)) return false;
            if (at(Token::dot)) {
                advance();
                std::string pin;
                if (!take_name(pin)) return false;
                net.push_back({std::move(first), std::move(pin)});
            } else {
                net.push_back({{}, std::move(first)});
            }
        }
        advance();
        m.nets.push_back(std::move(net));
        return true;
    }

    Tokens tokens_;
    Token tok_{Token::end, {}};
};

// A module name that can be a file name of its own in a directory.
bool is_file_name(std::string_view name) {
    if (name.empty() || name.size() > 64 || name[0] == '-') return false;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-') return false;
    return true;
}

// The placement named by the comment line just before `pos`, if any.
Placement placement_before(std::string_view text, std::size_t pos) {
    std::size_t line_end = text.rfind('\n', pos == 0 ? 0 : pos - 1);
    if (line_end == std::string_view::npos || line_end == 0) return Placement::read_nld;
    std::size_t line_start = text.rfind('\n', line_end - 1);
    line_start = line_start == std::string_view::npos ? 0 : line_start + 1;
    const std::string_view line = text.substr(line_start, line_end - line_start);
    if (line == "; pcd") return Placement::read_pcd;
    if (line == "; ref") return Placement::reference_nld;
    return Placement::read_nld;
}

}  // namespace

std::optional<DesignText> parse_design_text(std::string_view text) {
    DesignText design;
    Parser parser(text);
    if (!parser.design(design)) return std::nullopt;
    return design;
}

std::string print_module(const ModuleText& m) {
    std::string out = "(def-module " + m.name + "\n";
    for (const PinDecl& p : m.pins) {
        out += " (def-pin " + p.name;
        if (!p.type.empty()) out += " type " + p.type;
        if (!p.note.empty()) out += " note " + p.note;
        out += ")\n";
    }
    for (const CompDecl& c : m.comps) {
        out += " (def-comp " + c.cell;
        for (const std::string& name : c.names) out += " " + name;
        out += ")\n";
    }
    for (const auto& net : m.nets) {
        out += " (def-net";
        for (const Connection& c : net)
            out += " " + (c.inst.empty() ? c.pin : c.inst + "." + c.pin);
        out += ")\n";
    }
    out += ")\n";
    return out;
}

std::string print_design_text(const DesignText& design) {
    std::string out = "; vorp";
    if (design.opt_a) out += " -a";
    if (design.opt_f) out += " -f";
    out += "\n";
    for (const ModuleText& m : design.modules) {
        if (m.placement == Placement::read_pcd) out += "; pcd\n";
        if (m.placement == Placement::reference_nld) out += "; ref\n";
        out += print_module(m);
    }
    return out;
}

RunFiles split_into_files(std::string_view text) {
    RunFiles run;
    const std::size_t first_line = text.find('\n');
    const std::string_view head = text.substr(0, first_line);
    if (head.starts_with("; vorp")) {
        run.opt_a = head.find(" -a") != std::string_view::npos;
        run.opt_f = head.find(" -f") != std::string_view::npos;
    }
    constexpr std::string_view opening = "(def-module";
    std::vector<std::size_t> starts;
    for (std::size_t pos = text.find(opening); pos != std::string_view::npos;
         pos = text.find(opening, pos + 1)) {
        std::size_t name_start = pos + opening.size();
        while (name_start < text.size() && (text[name_start] == ' ' || text[name_start] == '\t'))
            ++name_start;
        std::size_t name_end = name_start;
        while (name_end < text.size() && !is_delimiter(text[name_end])) ++name_end;
        const std::string_view name = text.substr(name_start, name_end - name_start);
        if (!is_file_name(name)) continue;
        const Placement placement = placement_before(text, pos);
        bool repeated = false;
        for (const FileText& f : run.files)
            repeated = repeated || (f.name == name && f.placement == placement);
        if (repeated) continue;
        run.files.push_back({placement, std::string(name), {}});
        starts.push_back(pos);
    }
    if (run.files.empty()) {
        run.files.push_back({Placement::read_nld, "top", std::string(text)});
        return run;
    }
    starts.front() = 0;  // text before the first module stays with it
    for (std::size_t i = 0; i < starts.size(); ++i) {
        const std::size_t end = i + 1 < starts.size() ? starts[i + 1] : text.size();
        run.files[i].text = std::string(text.substr(starts[i], end - starts[i]));
    }
    return run;
}

}  // namespace vorp::fuzz
