#include "netlist/lexer.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// The first byte in [p, limit) that is not stored in a name as it stands (a
// delimiter or a zero byte), or `limit`.
const unsigned char* scan_stored(const unsigned char* p, const unsigned char* limit) {
#if defined(__SSE2__)
    // Sixteen bytes at a time while sixteen are left: most names end in the
    // first block, without a branch per byte.
    while (limit - p >= 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i hit = _mm_cmpeq_epi8(block, _mm_setzero_si128());
        for (const char c : {' ', '\t', '\n', '(', ')', '.', ';'})
            hit = _mm_or_si128(hit, _mm_cmpeq_epi8(block, _mm_set1_epi8(c)));
        const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit));
        if (mask) return p + __builtin_ctz(mask);
        p += 16;
    }
#endif
    while (p != limit && kClasses.in_name[*p] == STORE) ++p;
    return p;
}

}  // namespace

void input_fault(Design& d, const char* what) {
    *d.err << '"' << text_or_null(d.cur_path) << "\", line " << d.line << ": " << what << '\n';
    throw Fatal{1};
}

void silent_fault() {
    throw Fatal{1};
}

int Lexer::next_token() {
    if (count_ == 0) produce();
    current_ = queue_[head_];
    head_ = (head_ + 1) % kQueue;
    --count_;
    d_.line = current_.line;
    if (current_.token == TOK_FAULT) input_fault(d_, current_.text);
    const std::size_t stored = current_.token == TOK_NAME ? current_.stored : 0;
    if (stored) std::memcpy(d_.token, current_.text, stored);
    d_.token[stored] = '\0';
    return current_.token;
}

// Lex one token onto the queue, which has room.
const Lexeme* Lexer::produce() {
    if (!started_) {
        line_ = d_.line;
        started_ = true;
    }
    Lexeme& out = queue_[(head_ + count_) % kQueue];
    out = lex();
    ++count_;
    stopped_ = out.token == TOK_EOF || out.token == TOK_FAULT;
    return &out;
}

Lexeme Lexer::lex() {
    while (pos_ != end_) {
        const unsigned char c = *pos_;
        switch (kClasses.between[c]) {
            case PUNCTUATION:
                ++pos_;
                return Lexeme{c, line_};
            case BLANK:
                ++pos_;
                break;
            case NEWLINE:
                ++pos_;
                ++line_;
                break;
            case COMMENT:
                ++pos_;
                if (!skip_comment()) return Lexeme{TOK_EOF, line_};
                break;
            case STARTS_NAME:
                return read_name();
        }
    }
    return Lexeme{TOK_EOF, line_};
}

Lexeme Lexer::fault(const char* what) const {
    Lexeme out{TOK_FAULT, line_};
    out.text = what;
    return out;
}

// Skip up to and including the next newline; false at end of file.
bool Lexer::skip_comment() {
    const void* newline = std::memchr(pos_, '\n', static_cast<std::size_t>(end_ - pos_));
    if (!newline) {
        pos_ = end_;
        return false;
    }
    pos_ = static_cast<const unsigned char*>(newline) + 1;
    ++line_;
    return true;
}

Lexeme Lexer::read_name() {
    const unsigned char* start = pos_;
    // At most 4096 bytes are looked at: with 4096 stored and no end seen the
    // name is too long, whatever the next byte would be.
    const std::size_t room = static_cast<std::size_t>(end_ - start);
    const unsigned char* limit = start + std::min<std::size_t>(room, kTokenSize);
    const unsigned char* cut = nullptr;  // first zero byte: the text ends there
    const unsigned char* p = start;
    for (;;) {
        p = scan_stored(p, limit);
        if (p == limit || kClasses.in_name[*p] != ZERO) break;
        if (!cut) cut = p;
        ++p;
    }
    if (p == limit) return fault(p - start == kTokenSize ? "name is too long" : "error");
    Lexeme out{TOK_NAME, line_};
    out.text = reinterpret_cast<const char*>(start);
    out.stored = static_cast<uint32_t>(p - start);
    out.size = static_cast<uint32_t>((cut ? cut : p) - start);
    out.hash = hash_name(out.text, out.size);
    switch (kClasses.in_name[*p]) {
        case END_NEWLINE:
            out.line = ++line_;
            pos_ = p + 1;
            break;
        case END_PUSHED_BACK:
            pos_ = p;
            break;
        default:
            pos_ = p + 1;
            break;
    }
    return out;
}

}  // namespace vorp
