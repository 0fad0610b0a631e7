// Numeric codes of keywords, cells, net kinds and module origins, and the two
// code tables that map the netlist format's words to them.
#pragma once

namespace vorp {

// Keywords of the netlist format; the direction words double as pin types
// and net kinds.
enum Keyword : int {
    KW_BIDIRECT = 257,
    KW_BIDIRECT_CONNECTED = 258,
    KW_CLOCK = 259,
    KW_DEF_COMP = 260,
    KW_DEF_MODULE = 261,
    KW_DEF_NET = 262,
    KW_DEF_PIN = 263,
    KW_GLOBAL = 264,
    KW_INPUT = 265,
    KW_INPUT_CONNECTED = 266,
    KW_NOTE = 267,
    KW_OUTPUT = 268,
    KW_OUTPUT_CONNECTED = 269,
    KW_STATIC = 270,
    KW_TRISTATE = 271,
    KW_TRISTATE_CONNECTED = 272,
    KW_TYPE = 273,
    KW_UNDEFINED = 274,
    KW_UNUSED = 275,
    KW_UNUSED_CONNECTED = 276,
    KW_AREA = 277,
    KW_CELL_NAME = 278,
    KW_GATES = 279,
    KW_POWER = 280,
    KW_LOAD = 281,
    KW_SCAN_ENB = 282,
    KW_SCAN_IN = 283,
    KW_SCAN_OUT = 284,
};

enum Cell : int {
    CELL_INV = 400,
    CELL_NINV = 401,
    CELL_AND = 402,
    CELL_NAND = 403,
    CELL_OR = 404,
    CELL_NOR = 405,
    CELL_EOR = 406,
    CELL_ENOR = 407,
    CELL_AOI = 408,
    CELL_OAI = 409,
    CELL_REG = 410,
    CELL_REGR = 411,
    CELL_REGS = 412,
    CELL_REG2 = 413,  // reg--1
    CELL_REG3 = 414,  // reg---1
    CELL_SREG = 415,
    CELL_SRGR = 416,
    CELL_SRGS = 417,
    CELL_SREG2 = 418,  // sreg--1
    CELL_SREG3 = 419,  // sreg---1
    CELL_HIGH = 420,
    CELL_LOW = 421,
    CELL_TS_BUF = 422,
    CELL_BGATE = 423,
    CELL_PORT = 424,
    CELL_SUBMODULE = 425,  // also "not found" and the pin type of a sub-module pin
    CELL_STICKY = 426,
    CELL_STICKY_TS = 427,
};

constexpr int NOT_FOUND = 425;

enum NetKind : int {
    NET_NONE = 0,
    NET_WIRED = KW_TRISTATE,
    NET_UNUSED = KW_UNUSED,
    NET_CLOCK = 290,
    NET_SIGNAL = 291,
};

enum ModuleKind : int {
    MOD_PCD = 301,
    MOD_NLD = 310,
    MOD_REFERENCE = 311,
};

// What the run writes: the flat top module alone (-f), or the hierarchy.
enum WriteMode : int {
    WRITE_FLAT = 3,
    WRITE_HIERARCHY = 4,
};

// Cell families. Each range runs between two cells of the table's code order.
inline bool is_register(int cell) {
    return cell >= CELL_REG && cell <= CELL_SREG3;
}
inline bool is_xor(int cell) {
    return cell == CELL_EOR || cell == CELL_ENOR;
}
inline bool is_gate(int cell) {
    return cell >= CELL_AND && cell <= CELL_OAI;
}
inline bool is_and_or(int cell) {
    return cell >= CELL_AND && cell <= CELL_NOR;
}
// Gates that a flip of their own takes to their De Morgan dual: the and/or
// family and the and-or-inverts (exclusive-or gates settle instead).
inline bool flips_alone(int cell) {
    return is_and_or(cell) || cell == CELL_AOI || cell == CELL_OAI;
}
inline bool is_constant(int cell) {
    return cell == CELL_HIGH || cell == CELL_LOW;
}
// Registers, constants, tristate buffers and bus gates keep their names
// when written; the cells before them in code order (inverters, buffers and
// gates) are numbered afresh.
inline bool keeps_its_name(int cell) {
    return cell >= CELL_REG && cell <= CELL_BGATE;
}
inline bool is_numbered_cell(int cell) {
    return cell < CELL_REG;
}

// Pin directions: each direction word comes plain and "-connected".
inline bool is_input_type(int type) {
    return type == KW_INPUT || type == KW_INPUT_CONNECTED;
}
inline bool is_output_type(int type) {
    return type == KW_OUTPUT || type == KW_OUTPUT_CONNECTED;
}
inline bool is_tristate_type(int type) {
    return type == KW_TRISTATE || type == KW_TRISTATE_CONNECTED;
}
inline bool is_bidirect_type(int type) {
    return type == KW_BIDIRECT || type == KW_BIDIRECT_CONNECTED;
}
inline bool is_unused_type(int type) {
    return type == KW_UNUSED || type == KW_UNUSED_CONNECTED;
}

struct CodeRow {
    const char* text;
    int code;
};

struct CodeTable {
    const CodeRow* rows;
    int size;
};

extern const CodeTable KeywordTable;
extern const CodeTable CellTable;

// Binary search for an exact byte-wise match; NOT_FOUND when absent.
int lookup_keyword(const char* text, const CodeTable& table);
// The text of a code by linear scan from the first row; null when absent.
const char* keyword_name(int code, const CodeTable& table);

}  // namespace vorp
