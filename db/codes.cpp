#include "db/codes.h"

#include <cstring>

namespace vorp {

namespace {

// Both tables are sorted byte-wise: the binary search depends on it.
const CodeRow kKeywords[] = {
    {"area", 277},
    {"bidirect", 257},
    {"bidirect_connected", 258},
    {"cell_name", 278},
    {"clock", 259},
    {"def-comp", 260},
    {"def-module", 261},
    {"def-net", 262},
    {"def-pin", 263},
    {"gates", 279},
    {"global", 264},
    {"input", 265},
    {"input-connected", 266},
    {"load", 281},
    {"note", 267},
    {"output", 268},
    {"output-connected", 269},
    {"power", 280},
    {"scan_enb", 282},
    {"scan_in", 283},
    {"scan_out", 284},
    {"static", 270},
    {"tristate", 271},
    {"tristate_connected", 272},
    {"type", 273},
    {"undefined", 274},
    {"unused", 275},
    {"unused-connected", 276},
};

const CodeRow kCells[] = {
    {"and-", 402},    {"aoi-", 408},    {"bgate--2", 423}, {"enor-", 407},   {"eor-", 406},
    {"high-", 420},   {"inv-", 400},    {"low-", 421},     {"nand-", 403},   {"ninv-", 401},
    {"nor-", 405},    {"oai-", 409},    {"or-", 404},      {"reg---1", 414}, {"reg--1", 413},
    {"reg-1", 410},   {"regr-1", 411},  {"regs-1", 412},   {"sreg---1", 419}, {"sreg--1", 418},
    {"sreg-1", 415},  {"srgr-1", 416},  {"srgs-1", 417},   {"ts_buf-", 422},
};

}  // namespace

const CodeTable KeywordTable{kKeywords, sizeof kKeywords / sizeof kKeywords[0]};
const CodeTable CellTable{kCells, sizeof kCells / sizeof kCells[0]};

int lookup_keyword(const char* text, const CodeTable& table) {
    int low = 0, high = table.size - 1;
    while (low <= high) {
        const int middle = low + (high - low) / 2;
        const int order = std::strcmp(table.rows[middle].text, text);
        if (order == 0) return table.rows[middle].code;
        if (order > 0)
            high = middle - 1;
        else
            low = middle + 1;
    }
    return NOT_FOUND;
}

const char* keyword_name(int code, const CodeTable& table) {
    for (int i = 0; i < table.size; ++i)
        if (table.rows[i].code == code) return table.rows[i].text;
    return nullptr;
}

}  // namespace vorp
