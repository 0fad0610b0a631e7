#include "netlist/lexer.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "netlist/name_table.h"

namespace vorp {

namespace {

// What a byte does between tokens, and what it does inside a name.
enum Between : unsigned char { STARTS_NAME, PUNCTUATION, BLANK, NEWLINE, COMMENT };
enum InName : unsigned char { STORE, ZERO, END_CONSUMED, END_NEWLINE, END_PUSHED_BACK };

struct ByteClasses {
    Between between[256];
    InName in_name[256];
    constexpr ByteClasses() : between(), in_name() {
        for (int c = 0; c < 256; ++c) between[c] = STARTS_NAME, in_name[c] = STORE;
        for (unsigned char c : {'(', ')', '.'}) between[c] = PUNCTUATION;
        for (unsigned char c : {' ', '\t'}) between[c] = BLANK, in_name[c] = END_CONSUMED;
        between[static_cast<unsigned char>('\n')] = NEWLINE;
        between[static_cast<unsigned char>(';')] = COMMENT;
        in_name[0] = ZERO;
        in_name[static_cast<unsigned char>('\n')] = END_NEWLINE;
        for (unsigned char c : {'(', ')', '.', ';'}) in_name[c] = END_PUSHED_BACK;
    }
};
constexpr ByteClasses kClasses;

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
    name_size_ = 0;
    while (pos_ != end_) {
        const unsigned char c = *pos_;
        switch (kClasses.between[c]) {
            case PUNCTUATION:
                ++pos_;
                return c;
            case BLANK:
                ++pos_;
                break;
            case NEWLINE:
                ++pos_;
                ++d_.line;
                break;
            case COMMENT:
                ++pos_;
                if (!skip_comment()) return TOK_EOF;
                break;
            case STARTS_NAME:
                read_name();
                return TOK_NAME;
        }
    }
    return TOK_EOF;
}

// Skip up to and including the next newline; false at end of file.
bool Lexer::skip_comment() {
    const void* newline = std::memchr(pos_, '\n', static_cast<std::size_t>(end_ - pos_));
    if (!newline) {
        pos_ = end_;
        return false;
    }
    pos_ = static_cast<const unsigned char*>(newline) + 1;
    ++d_.line;
    return true;
}

void Lexer::read_name() {
    const unsigned char* start = pos_;
    // At most 4096 bytes are looked at: with 4096 stored and no end seen the
    // name is too long, whatever the next byte would be.
    const std::size_t room = static_cast<std::size_t>(end_ - start);
    const unsigned char* limit = start + std::min<std::size_t>(room, kTokenSize);
    const unsigned char* cut = nullptr;  // first zero byte: the text ends there
    const unsigned char* p = start;
    for (;;) {
        while (p != limit && kClasses.in_name[*p] == STORE) ++p;
        if (p == limit || kClasses.in_name[*p] != ZERO) break;
        if (!cut) cut = p;
        ++p;
    }
    if (p == limit) {
        if (p - start == kTokenSize) input_fault(d_, "name is too long");
        input_fault(d_, "error");
    }
    const std::size_t stored = static_cast<std::size_t>(p - start);
    std::memcpy(d_.token, start, stored);
    d_.token[stored] = '\0';
    switch (kClasses.in_name[*p]) {
        case END_NEWLINE:
            ++d_.line;
            pos_ = p + 1;
            break;
        case END_PUSHED_BACK:
            pos_ = p;
            break;
        default:
            pos_ = p + 1;
            break;
    }
    name_ = d_.token;
    name_size_ = static_cast<std::size_t>((cut ? cut : p) - start);
    name_hash_ = hash_name(name_, name_size_);
}

}  // namespace vorp
