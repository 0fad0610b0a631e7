// A place in a source text the tools read, with its line number, and the
// skips their lexers share: blanks, line comments and bracketed comments.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace vorp {

struct SourceCursor {
    const std::string& text;
    std::size_t at = 0;
    int line = 1;

    bool done() const { return at >= text.size(); }
    bool starts(std::string_view mark) const { return text.compare(at, mark.size(), mark) == 0; }
    // One blank character, a line end counted; false when none is here.
    bool skip_blank() {
        const char c = text[at];
        if (c == '\n') ++line;
        if (c != '\n' && !std::isspace(static_cast<unsigned char>(c))) return false;
        ++at;
        return true;
    }
    // From "//" to the line end, which stays.
    void skip_line_comment() {
        while (at < text.size() && text[at] != '\n') ++at;
    }
    // From a two-character opening mark past `close`, the line ends between
    // counted; the text between the marks, or false (nothing skipped) when
    // `close` never comes.
    bool skip_bracketed(std::string_view close, std::string_view& body) {
        const std::size_t end = text.find(close, at + 2);
        if (end == std::string::npos) return false;
        body = std::string_view(text).substr(at + 2, end - at - 2);
        line += static_cast<int>(std::count(body.begin(), body.end(), '\n'));
        at = end + close.size();
        return true;
    }
};

}  // namespace vorp
