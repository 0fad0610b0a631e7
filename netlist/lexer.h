// Turns the bytes of a netlist file into tokens: "(", ")", ".", names and
// end of file. Works on the file's bytes in memory; names may hold any byte
// but the delimiters (carriage returns, control bytes, bytes above 127 and
// zero bytes included). The lexer may run a few dozen tokens ahead of its
// reader, so that the reader can fetch what the coming names look up before
// it needs them; a fault met ahead is kept and raised only when the reader
// reaches it, with the line it had there.
#pragma once

#include <cstdint>
#include <string_view>

#include "db/design.h"

namespace vorp {

enum Token : int {
    TOK_EOF = -1,
    TOK_OPEN = '(',
    TOK_CLOSE = ')',
    TOK_DOT = '.',
    TOK_NAME = 350,
    TOK_FAULT = 351,  // a name the lexer refuses; never returned
};

// Print "\"<cur_path>\", line <line>: <what>\n" and end the run with status 1.
[[noreturn]] void input_fault(Design& d, const char* what);
// End the run with status 1 and no message.
[[noreturn]] void silent_fault();

// One token as lexed: for a name, where its text lies in the file.
struct Lexeme {
    int token = TOK_EOF;
    int line = 0;                // the line after the token (at a fault, the line of the fault)
    const char* text = nullptr;  // names: the first byte; faults: the message
    uint32_t stored = 0;         // names: the bytes up to the delimiter
    uint32_t size = 0;           // names: the bytes up to the first zero byte
    uint64_t hash = 0;           // names: `hash_name` of those bytes
};

class Lexer {
   public:
    Lexer(Design& d, std::string_view text)
        : d_(d),
          pos_(reinterpret_cast<const unsigned char*>(text.data())),
          end_(pos_ + text.size()) {}

    // The next token; a name's text is left in `d.token` (empty otherwise),
    // and `d.line` is the line after it. Ends the run on a name cut by the
    // end of the file or longer than 4095 bytes. Cost: linear in the bytes
    // consumed.
    int next_token();

    // The last name's text, up to its first zero byte (what `d.token`
    // holds), and its `hash_name`. Valid until the next token.
    std::string_view name() const { return {d_.token, current_.size}; }
    uint64_t name_hash() const { return current_.hash; }

    // Tokens are lexed ahead onto a queue of `kQueue`: `lex_ahead` lexes
    // one more and returns it, or null when the queue is full or holds the
    // end of the file or a fault already.
    static constexpr std::size_t kQueue = 64;
    const Lexeme* lex_ahead() { return stopped_ || count_ == kQueue ? nullptr : produce(); }
    // How many tokens wait on the queue, and the one `k` places after the
    // next token to return (`k` below `queued()`).
    std::size_t queued() const { return count_; }
    const Lexeme& queued_at(std::size_t k) const { return queue_[(head_ + k) % kQueue]; }

   private:
    const Lexeme* produce();
    Lexeme lex();
    Lexeme read_name();
    bool skip_comment();
    Lexeme fault(const char* what) const;

    Design& d_;
    const unsigned char* pos_;
    const unsigned char* end_;
    int line_ = 0;
    bool started_ = false;
    bool stopped_ = false;  // an end of file or a fault is queued
    Lexeme queue_[kQueue];
    std::size_t head_ = 0;  // the next token to return
    std::size_t count_ = 0;
    Lexeme current_;
};

}  // namespace vorp
