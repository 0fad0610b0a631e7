#include "netlist/reader.h"

#include <cstring>
#include <deque>
#include <limits>
#include <string>

#include "db/lists.h"
#include "netlist/lexer.h"
#include "netlist/name_table.h"
#include "netlist/record_index.h"

namespace vorp {

namespace {

class Reader {
   public:
    Reader(Design& d, std::string_view text, bool pcd)
        : d_(d), lex_(d, text), pcd_(pcd), records_(expected_names(text)) {}
    Module* read();

   private:
    int next() {
        while (lex_.queued() < kAhead && lex_ahead()) {
        }
        return lex_.next_token();
    }
    bool lex_ahead();
    char* copy_name() { return d_.copy_string(lex_.name().data(), lex_.name().size()); }
    void expect_name() {
        if (next() != TOK_NAME) input_fault(d_, "error");
    }
    int skip_attributes(int token);
    int skip_value();
    void skip_form();
    void read_form();
    void read_def_pin();
    void read_def_comp();
    void read_def_net();
    Node* read_net_node(Net* net);
    Module* read_module();
    // A guess at the ports and instances a file of this size names, so that
    // the index of a large module is sized once: a name of an instance with
    // its connections takes a few dozen bytes. Guessed low rather than high:
    // a file of long names or comments grows the index as it goes.
    static std::size_t expected_names(std::string_view text) { return text.size() / 96; }
    int keyword_value();
    struct PinText;
    PinText& pin_text();
    int keyword();
    int cell_of_name();

    Design& d_;
    Lexer lex_;
    bool pcd_;
    Module* module_ = nullptr;
    RecordIndex records_;
    // Words already looked up, by hash: keywords and cell names.
    struct WordCache {
        struct Word {
            bool known = false;
            std::string text;
            int code = 0;
            unsigned long long param = 0;
            unsigned param_low = 0;
        };
        Word words[64];
        // The word kept for the name, worked out by `work_out(word)` when the
        // name is not the one its slot holds.
        template <class WorkOut>
        Word& lookup(std::string_view name, uint64_t hash, WorkOut work_out) {
            Word& word = words[hash % 64];
            if (!word.known || word.text != name) {
                word.known = false;  // until worked out: a fault ends the run
                work_out(word);
                word.text = name;
                word.known = true;
            }
            return word;
        }
    };
    WordCache keywords_;
    WordCache cells_;
    // One text per distinct pin name of the file, shared by its nodes.
    // Each text also keeps the pin type it has on each cell, worked out at
    // its first use on that cell.
    struct PinText {
        static constexpr int kCells = CELL_STICKY_TS - CELL_INV + 1;
        static constexpr int16_t kUnknown = -1;
        const char* name;
        int16_t types[kCells];
        explicit PinText(const char* text) : name(text) {
            for (int16_t& type : types) type = kUnknown;
        }
        int type_on(int cell) {
            if (cell < CELL_INV || cell > CELL_STICKY_TS) return pin_type_of(name, cell);
            int16_t& type = types[cell - CELL_INV];
            if (type == kUnknown) type = static_cast<int16_t>(pin_type_of(name, cell));
            return type;
        }
    };
    NameTable<PinText> pins_;
    std::deque<PinText> pin_texts_;
    // How many tokens are lexed ahead of the one the reader works on.
    static constexpr std::size_t kAhead = 48;
};

// The lookups of a large module miss the cache at every step: the slot, and
// the node bound last to the instance, which the next connection writes.
// Each token lexed ahead starts the first for itself and the second for the
// token lexed 21 before it, so that the misses of several lookups overlap
// and each is done by the time the reader needs it. (The prefetches stay
// with the lexing: a function of prefetches alone has no effect the
// compiler would keep.)
bool Reader::lex_ahead() {
    const Lexeme* fresh = lex_.lex_ahead();
    if (!fresh) return false;
    const std::size_t last = lex_.queued() - 1;
    if (fresh->token == TOK_NAME) records_.prefetch(fresh->hash);
    if (last >= 21) {
        const Lexeme& ahead = lex_.queued_at(last - 21);
        const RecordIndex::Entry* entry =
            ahead.token == TOK_NAME ? records_.probe(ahead.hash) : nullptr;
        if (entry) {
            if (entry->long_name) __builtin_prefetch(entry->name + RecordIndex::kHead);
            if (entry->last) __builtin_prefetch(&entry->last->same_inst, 1);
        }
    }
    return true;
}

Module* Reader::read() {
    Module* m = read_module();
    records_.flush();
    return m;
}

Module* Reader::read_module() {
    d_.line = 1;
    d_.depth = 1;
    d_.pins_over_limit = 0;
    if (next() != TOK_OPEN) input_fault(d_, "error");
    if (next() != TOK_NAME || lookup_keyword(d_.token, KeywordTable) != KW_DEF_MODULE)
        input_fault(d_, "error");
    expect_name();
    module_ = d_.make<Module>();
    module_->name = copy_name();

    int token = next();
    for (;;) {
        if (token == TOK_EOF) return module_;
        if (d_.depth == 0) input_fault(d_, "error");
        if (pcd_) {
            token = skip_attributes(token);
            if (token == TOK_EOF) return module_;
        }
        if (token == TOK_CLOSE) {
            if (--d_.depth < 0) input_fault(d_, "too many )'s");
        } else if (token == TOK_OPEN) {
            ++d_.depth;
            read_form();
        } else {
            input_fault(d_, "error");
        }
        token = next();
    }
}

// Bare module attributes of a PCD file; returns the first token after them.
int Reader::skip_attributes(int token) {
    while (token == TOK_NAME) {
        const int kw = keyword();
        if (kw == KW_POWER || kw == KW_AREA || kw == KW_GATES) {
            token = skip_value();
        } else if (kw == KW_CELL_NAME) {
            if (next() != TOK_NAME) silent_fault();
            token = next();
        } else {
            break;
        }
    }
    return token;
}

// A number such as 12, 12.5 or .5; returns the token after it.
int Reader::skip_value() {
    const int token = next();
    if (token == TOK_NAME) {
        const int after = next();
        if (after != TOK_DOT) return after;
    } else if (token != TOK_DOT) {
        silent_fault();
    }
    if (next() != TOK_NAME) silent_fault();
    return next();
}

void Reader::skip_form() {
    const int target = d_.depth - 1;
    while (d_.depth != target) {
        const int token = next();
        if (token == TOK_OPEN)
            ++d_.depth;
        else if (token == TOK_CLOSE)
            --d_.depth;
        else if (token == TOK_EOF)
            input_fault(d_, "too many )'s");
    }
}

// The keyword of the name token. A file repeats a few words over and over:
// each is searched for once.
int Reader::keyword() {
    return keywords_
        .lookup(
            lex_.name(), lex_.name_hash(),
            [this](WordCache::Word& word) { word.code = lookup_keyword(d_.token, KeywordTable); })
        .code;
}

// The cell code of the def-comp cell name token, with `d.cell_param` set as
// `parse_cell_name` sets it; each cell name is worked out once.
int Reader::cell_of_name() {
    const WordCache::Word& known =
        cells_.lookup(lex_.name(), lex_.name_hash(), [this](WordCache::Word& word) {
            word.code = parse_cell_name(d_, d_.token);
            word.param = d_.cell_param;
            word.param_low = d_.cell_param_low;
        });
    d_.cell_param = known.param;
    d_.cell_param_low = known.param_low;
    return known.code;
}

void Reader::read_form() {
    expect_name();
    const int kw = keyword();
    if (kw == KW_DEF_MODULE) input_fault(d_, "error");
    if (kw == KW_DEF_PIN)
        read_def_pin();
    else if (kw == KW_DEF_COMP && !pcd_)
        read_def_comp();
    else if (kw == KW_DEF_NET && !pcd_)
        read_def_net();
    else
        skip_form();
}

// The keyword after `type` or `note`: any keyword is accepted.
int Reader::keyword_value() {
    expect_name();
    const int code = keyword();
    if (code == NOT_FOUND) input_fault(d_, "error");
    return code;
}

void Reader::read_def_pin() {
    expect_name();
    Instance* port = d_.make<Instance>();
    port->set_cell(CELL_PORT);
    port->name = copy_name();
    port->owner = module_;
    push_front(module_->ports, port);
    records_.put_port(port, {port->name, lex_.name().size()}, lex_.name_hash());

    bool typed = false;
    int token = next();
    for (;;) {
        if (token == TOK_CLOSE) {
            --d_.depth;
            if (!typed) silent_fault();
            return;
        }
        if (token != TOK_NAME) input_fault(d_, "error");
        const int kw = keyword();
        if (kw == KW_TYPE) {
            if (typed) silent_fault();
            typed = true;
            port->set_pin_type(keyword_value());
        } else if (kw == KW_NOTE) {
            port->set_note(keyword_value());
        } else if (kw == KW_LOAD && pcd_) {
            token = skip_value();
            continue;
        } else {
            input_fault(d_, "error");
        }
        token = next();
    }
}

void Reader::read_def_comp() {
    expect_name();
    const int cell = cell_of_name();
    if (is_xor(cell)) d_.has_xor = 1;
    if (is_register(cell)) d_.has_registers = 1;
    const char* module_name = cell == CELL_SUBMODULE ? d_.copy_string(d_.token) : nullptr;
    for (;;) {
        const int token = next();
        if (token == TOK_CLOSE) {
            --d_.depth;
            return;
        }
        if (token != TOK_NAME) input_fault(d_, "error");
        Instance* inst = d_.make<Instance>();
        inst->name = copy_name();
        inst->set_cell(cell);
        inst->set_param(d_.cell_param_low);
        inst->owner = module_;
        inst->module_name = module_name;
        push_front(module_->insts, inst);
        records_.put_inst(inst, {inst->name, lex_.name().size()}, lex_.name_hash(),
                          pin_limit(*inst));
        if (cell == CELL_INV) ++d_.inverter_count;
    }
}

void Reader::read_def_net() {
    Net* net = d_.make<Net>();
    push_front(module_->nets, net);
    for (;;) {
        const int token = next();
        if (token == TOK_CLOSE) {
            --d_.depth;
            return;
        }
        if (token != TOK_NAME) input_fault(d_, "error");
        read_net_node(net);
    }
}

// One connection of a def-net: a port name, or instance "." pin.
Node* Reader::read_net_node(Net* net) {
    Node* node = d_.make<Node>();
    node->net = net;
    node->same_inst = node;
    push_front(net->nodes, node);
    RecordIndex::Entry* entry = records_.find(lex_.name(), lex_.name_hash());
    if (entry && entry->port) {
        Instance* port = entry->port;
        node->inst = port;
        node->pin = port->name;
        node->set_pin_type(port->pin_type());
        port->node = node;
        return node;
    }
    // Look the instance up now, while its name is the token; a missing one
    // is reported only after the "." and the pin name have been read.
    if (entry && !entry->inst) entry = nullptr;
    const std::string missing = entry ? std::string() : std::string(d_.token) + " undefined";
    if (next() != TOK_DOT) input_fault(d_, "error");
    expect_name();
    if (!entry) input_fault(d_, missing.c_str());
    PinText& pin = pin_text();
    node->set_pin_type(pin.type_on(entry->cell));
    if (node->pin_type() == 0) silent_fault();
    node->inst = entry->inst;
    node->pin = pin.name;
    // The ring runs in reading order, as the pin-count check would build it.
    if (RecordIndex::bind(*entry, node)) d_.pins_over_limit = 1;
    return node;
}

// The pin name token as a text shared with every node on a pin of that name.
Reader::PinText& Reader::pin_text() {
    if (PinText* known = pins_.find(lex_.name(), lex_.name_hash())) return *known;
    pin_texts_.emplace_back(copy_name());
    pins_.put(&pin_texts_.back(), lex_.name_hash());
    return pin_texts_.back();
}

bool any_of(const char* pin, std::initializer_list<const char*> names) {
    for (const char* name : names)
        if (std::strcmp(pin, name) == 0) return true;
    return false;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// Whether a gate's suffix number fits its cell; other cells take any number.
bool suffix_fits(int cell, unsigned long long value) {
    switch (cell) {
        case CELL_AND:
        case CELL_NAND:
        case CELL_OR:
        case CELL_NOR:
            return value >= 2;
        case CELL_EOR:
        case CELL_ENOR:
            return value == 2;
        case CELL_AOI:
        case CELL_OAI:
            return value == 21 || value == 22 || value == 31 || value == 32 || value == 33 ||
                   value == 211 || value == 221 || value == 222;
        default:
            return true;
    }
}

}  // namespace

Module* read_nld(Design& d, std::string_view text) {
    return Reader(d, text, false).read();
}
Module* read_pcd(Design& d, std::string_view text) {
    return Reader(d, text, true).read();
}

int parse_cell_name(Design& d, const char* text) {
    d.cell_param = 0;
    d.cell_param_low = 0;
    const int whole = lookup_keyword(text, CellTable);
    if (whole != NOT_FOUND) return whole;
    const char* hyphen = std::strchr(text, '-');
    if (!hyphen || hyphen[1] != '-') return NOT_FOUND;
    const char* digits = hyphen + 2;
    for (const char* p = digits; *p; ++p)
        if (!is_digit(*p)) return NOT_FOUND;
    // Exact value, saturated where it no longer fits, and modulo 256 apart.
    constexpr unsigned long long kMax = std::numeric_limits<unsigned long long>::max();
    unsigned long long value = 0;
    unsigned low = 0;
    for (const char* p = digits; *p; ++p) {
        const unsigned digit = static_cast<unsigned>(*p - '0');
        value = value > (kMax - digit) / 10 ? kMax : value * 10 + digit;
        low = (low * 10 + digit) % 256;
    }
    d.cell_param = value;
    d.cell_param_low = low;
    const std::string base(text, static_cast<std::size_t>(hyphen + 1 - text));
    const int cell = lookup_keyword(base.c_str(), CellTable);
    if (cell == NOT_FOUND) return NOT_FOUND;
    if (!suffix_fits(cell, value)) silent_fault();
    return cell;
}

int pin_limit(const Instance& inst) {
    switch (inst.cell()) {
        case CELL_INV:
        case CELL_NINV:
            return 2;
        case CELL_AND:
        case CELL_NAND:
        case CELL_OR:
        case CELL_NOR:
        case CELL_EOR:
        case CELL_ENOR:
            return inst.param() + 1;
        case CELL_AOI:
        case CELL_OAI:
            switch (inst.param()) {
                case 21:
                    return 4;
                case 22:
                case 31:
                case 211:
                    return 5;
                case 32:
                case 221:
                    return 6;
                case 33:
                case 222:
                    return 7;
                default:
                    return 0;
            }
        default:
            return 0;
    }
}

int pin_type_of(const char* pin, int cell) {
    static constexpr std::initializer_list<const char*> kRegIn = {"in", "clk_enb", "m_clock",
                                                                  "s_clock", "p_reset"};
    static constexpr std::initializer_list<const char*> kReg3In = {"set", "reset", "m_clock",
                                                                   "s_clock", "p_reset"};
    static constexpr std::initializer_list<const char*> kSregIn = {
        "in", "scan_in", "clk_enb", "scan_enb", "m_clock", "s_clock", "scan_clock", "p_reset"};
    static constexpr std::initializer_list<const char*> kSreg3In = {
        "set", "reset", "scan_in", "scan_enb", "m_clock", "s_clock", "scan_clock", "p_reset"};
    const bool is_out = std::strcmp(pin, "out") == 0;
    const bool is_nout = std::strcmp(pin, "nout") == 0;
    switch (cell) {
        case CELL_INV:
            return is_nout ? KW_OUTPUT : any_of(pin, {"in"}) ? KW_INPUT : 0;
        case CELL_NINV:
            return is_out ? KW_OUTPUT : any_of(pin, {"in"}) ? KW_INPUT : 0;
        case CELL_AND:
        case CELL_OR:
            return is_out ? KW_OUTPUT : KW_INPUT;
        case CELL_NAND:
        case CELL_NOR:
        case CELL_AOI:
        case CELL_OAI:
            return is_nout ? KW_OUTPUT : KW_INPUT;
        case CELL_EOR:
            return is_out ? KW_OUTPUT : any_of(pin, {"in1", "in2"}) ? KW_INPUT : 0;
        case CELL_ENOR:
            return is_nout ? KW_OUTPUT : any_of(pin, {"in1", "in2"}) ? KW_INPUT : 0;
        case CELL_REG:
        case CELL_REGR:
        case CELL_REGS:
        case CELL_REG2:
            return is_out || is_nout ? KW_OUTPUT : any_of(pin, kRegIn) ? KW_INPUT : 0;
        case CELL_REG3:
            return is_out || is_nout ? KW_OUTPUT : any_of(pin, kReg3In) ? KW_INPUT : 0;
        case CELL_SREG:
        case CELL_SRGR:
        case CELL_SRGS:
        case CELL_SREG2:
            return is_out || is_nout || any_of(pin, {"scan_out"}) ? KW_OUTPUT
                   : any_of(pin, kSregIn)                         ? KW_INPUT
                                                                  : 0;
        case CELL_SREG3:
            return is_out || is_nout || any_of(pin, {"scan_out"}) ? KW_OUTPUT
                   : any_of(pin, kSreg3In)                        ? KW_INPUT
                                                                  : 0;
        case CELL_HIGH:
            return is_out ? KW_OUTPUT : 0;
        case CELL_LOW:
            return is_nout ? KW_OUTPUT : 0;
        case CELL_TS_BUF:
            return is_out ? KW_TRISTATE : any_of(pin, {"in", "nenb"}) ? KW_INPUT : 0;
        case CELL_BGATE:
            return is_nout ? KW_OUTPUT : any_of(pin, {"enb", "clock"}) ? KW_INPUT : 0;
        case CELL_SUBMODULE:
            return CELL_SUBMODULE;
        default:
            return 0;
    }
}

}  // namespace vorp
