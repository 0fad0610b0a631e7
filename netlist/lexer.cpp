#include "netlist/lexer.h"

#include <ostream>

namespace vorp {

namespace {

// What a byte does inside a name.
enum NameByte : unsigned char { STORE, END_CONSUMED, END_NEWLINE, END_PUSHED_BACK };

struct NameClasses {
    NameByte of[256];
    constexpr NameClasses() : of() {
        for (auto& c : of) c = STORE;
        for (unsigned char c : {' ', '\t'}) of[c] = END_CONSUMED;
        of[static_cast<unsigned char>('\n')] = END_NEWLINE;
        for (unsigned char c : {'(', ')', '.', ';'}) of[c] = END_PUSHED_BACK;
    }
};
constexpr NameClasses kNameClasses;

}  // namespace

void input_fault(Design& d, const char* what) {
    *d.err << '"' << text_or_null(d.cur_path) << "\", line " << d.line << ": " << what << '\n';
    throw Fatal{1};
}

void silent_fault() {
    throw Fatal{1};
}

int Lexer::next_token() {
    d_.token[0] = '\0';
    while (pos_ != end_) {
        const unsigned char c = *pos_;
        switch (c) {
            case '(':
            case ')':
            case '.':
                ++pos_;
                return c;
            case ' ':
            case '\t':
                ++pos_;
                break;
            case '\n':
                ++pos_;
                ++d_.line;
                break;
            case ';':
                ++pos_;
                if (!skip_comment()) return TOK_EOF;
                break;
            default:
                read_name();
                return TOK_NAME;
        }
    }
    return TOK_EOF;
}

// Skip up to and including the next newline; false at end of file.
bool Lexer::skip_comment() {
    while (pos_ != end_) {
        if (*pos_++ == '\n') {
            ++d_.line;
            return true;
        }
    }
    return false;
}

void Lexer::read_name() {
    std::size_t stored = 0;
    for (;;) {
        // The byte about to be read would be the 4097th: the name is too long,
        // whatever that byte is.
        if (stored == static_cast<std::size_t>(kTokenSize)) input_fault(d_, "name is too long");
        if (pos_ == end_) input_fault(d_, "error");
        const unsigned char c = *pos_++;
        switch (kNameClasses.of[c]) {
            case STORE:
                d_.token[stored++] = static_cast<char>(c);
                continue;
            case END_NEWLINE:
                ++d_.line;
                break;
            case END_PUSHED_BACK:
                --pos_;
                break;
            case END_CONSUMED:
                break;
        }
        d_.token[stored] = '\0';
        return;
    }
}

}  // namespace vorp
