#include "db/design.h"

#include <cstring>
#include <ostream>

namespace vorp {

Design::Design(std::ostream& err_stream) : err(&err_stream) {}

void Design::memory_full() {
    *err << "memory full\n";
    throw Fatal{1};
}

void* Design::alloc_or_die(std::size_t size, Arena::Pool pool) {
    void* block = size ? arena.allocate(size, pool) : nullptr;
    if (!block) memory_full();
    return block;
}

char* Design::copy_string(const char* text) {
    return text ? copy_string(text, std::strlen(text)) : nullptr;
}

char* Design::copy_string(const char* text, std::size_t length) {
    char* copy = arena.allocate_text(length + 1);
    if (!copy) memory_full();
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

void Design::reset() {
    top_name = nullptr;
    read_dirs = ref_dirs = write_dirs = nullptr;
    inverter_count = 0;
    has_xor = 0;
    has_registers = 0;
    opt_a = 0;
    write_mode = WRITE_HIERARCHY;
}

}  // namespace vorp
