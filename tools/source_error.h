// A fault in a text the tools read, named by file and line ("file:line: what").
#pragma once

#include <stdexcept>
#include <string>

namespace vorp {

struct SourceError : std::runtime_error {
    SourceError(const std::string& file, int line, const std::string& what)
        : std::runtime_error(file + ":" + std::to_string(line) + ": " + what) {}
};

}  // namespace vorp
