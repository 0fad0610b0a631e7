#include "db/codes.h"

#include <cstring>

namespace vorp {

namespace {

// Both tables are sorted byte-wise: the binary search depends on it.
const CodeRow kKeywords[] = {
    {"area", KW_AREA},
    {"bidirect", KW_BIDIRECT},
    {"bidirect_connected", KW_BIDIRECT_CONNECTED},
    {"cell_name", KW_CELL_NAME},
    {"clock", KW_CLOCK},
    {"def-comp", KW_DEF_COMP},
    {"def-module", KW_DEF_MODULE},
    {"def-net", KW_DEF_NET},
    {"def-pin", KW_DEF_PIN},
    {"gates", KW_GATES},
    {"global", KW_GLOBAL},
    {"input", KW_INPUT},
    {"input-connected", KW_INPUT_CONNECTED},
    {"load", KW_LOAD},
    {"note", KW_NOTE},
    {"output", KW_OUTPUT},
    {"output-connected", KW_OUTPUT_CONNECTED},
    {"power", KW_POWER},
    {"scan_enb", KW_SCAN_ENB},
    {"scan_in", KW_SCAN_IN},
    {"scan_out", KW_SCAN_OUT},
    {"static", KW_STATIC},
    {"tristate", KW_TRISTATE},
    {"tristate_connected", KW_TRISTATE_CONNECTED},
    {"type", KW_TYPE},
    {"undefined", KW_UNDEFINED},
    {"unused", KW_UNUSED},
    {"unused-connected", KW_UNUSED_CONNECTED},
};

const CodeRow kCells[] = {
    {"and-", CELL_AND},       {"aoi-", CELL_AOI},      {"bgate--2", CELL_BGATE},
    {"enor-", CELL_ENOR},     {"eor-", CELL_EOR},      {"high-", CELL_HIGH},
    {"inv-", CELL_INV},       {"low-", CELL_LOW},      {"nand-", CELL_NAND},
    {"ninv-", CELL_NINV},     {"nor-", CELL_NOR},      {"oai-", CELL_OAI},
    {"or-", CELL_OR},         {"reg---1", CELL_REG3},  {"reg--1", CELL_REG2},
    {"reg-1", CELL_REG},      {"regr-1", CELL_REGR},   {"regs-1", CELL_REGS},
    {"sreg---1", CELL_SREG3}, {"sreg--1", CELL_SREG2}, {"sreg-1", CELL_SREG},
    {"srgr-1", CELL_SRGR},    {"srgs-1", CELL_SRGS},   {"ts_buf-", CELL_TS_BUF},
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
