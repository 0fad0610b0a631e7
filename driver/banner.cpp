#include "driver/banner.h"

#include <cstdio>
#include <cstring>
#include <ostream>
#include <vector>

namespace vorp {

namespace {
constexpr const char* kRule = "+-------------------------------------------------------------+";
constexpr const char* kPlatform = "(i386-FreeBSD-4.4-RELEASE)";
constexpr const char* kSystem = "This program is a part of the ZELTRIVAN system.";
constexpr const char* kNotice = "Inverter reduction for hierarchical netlists.";
constexpr const char* kFormat = "\n%s\n| %*s %s %s %s |\n| %*s |\n| %*s |\n%s\n\n";
}  // namespace

void print_banner(std::ostream* out, const char* name, const char* version, const char* date) {
    if (!out) return;
    if (!name) name = "(anonymous)";
    if (!version) version = "2.4.1";
    if (!date) date = "2001/12/03";
    // A negative width left-justifies the name so that the title line is as
    // wide as the rule.
    const int name_width =
        static_cast<int>(std::strlen(version) + std::strlen(date) + std::strlen(kPlatform) + 3) -
        59;
    const int size = std::snprintf(nullptr, 0, kFormat, kRule, name_width, name, version, date,
                                   kPlatform, 59, kSystem, 59, kNotice, kRule);
    std::vector<char> text(static_cast<std::size_t>(size) + 1);
    std::snprintf(text.data(), text.size(), kFormat, kRule, name_width, name, version, date,
                  kPlatform, 59, kSystem, 59, kNotice, kRule);
    out->write(text.data(), size);
}

}  // namespace vorp
