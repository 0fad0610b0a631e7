// Turns the bytes of a netlist file into tokens: "(", ")", ".", names and
// end of file. Works on the file's bytes in memory with one byte of
// lookahead; names may hold any byte but the delimiters (carriage returns,
// control bytes, bytes above 127 and zero bytes included).
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
};

// Print "\"<cur_path>\", line <line>: <what>\n" and end the run with status 1.
[[noreturn]] void input_fault(Design& d, const char* what);
// End the run with status 1 and no message.
[[noreturn]] void silent_fault();

class Lexer {
   public:
    Lexer(Design& d, std::string_view text)
        : d_(d),
          pos_(reinterpret_cast<const unsigned char*>(text.data())),
          end_(pos_ + text.size()) {}

    // The next token; a name's text is left in `d.token` (empty otherwise).
    // Ends the run on a name cut by the end of the file or longer than 4095
    // bytes. Cost: linear in the bytes consumed.
    int next_token();

    // The last name's text, up to its first zero byte (what `d.token`
    // holds), and its `hash_name`. Valid until the next token.
    std::string_view name() const { return {name_, name_size_}; }
    uint64_t name_hash() const { return name_hash_; }

   private:
    void read_name();
    bool skip_comment();

    Design& d_;
    const unsigned char* pos_;
    const unsigned char* end_;
    const char* name_ = nullptr;
    std::size_t name_size_ = 0;
    uint64_t name_hash_ = 0;
};

}  // namespace vorp
