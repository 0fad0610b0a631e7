// The vorp command: one run over the command line, messages on standard error.
#include <unistd.h>

#include <cerrno>
#include <ostream>
#include <streambuf>

#include "db/design.h"
#include "driver/run.h"

namespace {

// Standard error through a block buffer: a run may print many lines.
class ErrorBuffer : public std::streambuf {
   public:
    ErrorBuffer() { setp(buffer_, buffer_ + sizeof buffer_); }
    ~ErrorBuffer() override { sync(); }

   protected:
    int overflow(int c) override {
        if (sync() != 0) return traits_type::eof();
        if (c != traits_type::eof()) {
            *pptr() = static_cast<char>(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }
    int sync() override {
        const char* p = pbase();
        while (p < pptr()) {
            const ssize_t n = ::write(2, p, static_cast<std::size_t>(pptr() - p));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            p += n;
        }
        setp(buffer_, buffer_ + sizeof buffer_);
        return 0;
    }

   private:
    char buffer_[1 << 16];
};

}  // namespace

int main(int argc, char** argv) {
    ErrorBuffer buffer;
    std::ostream err(&buffer);
    int status;
    {
        vorp::Design d(err);
        status = vorp::run_vorp(d, argc - 1, argv + 1);
    }
    err.flush();
    return status;
}
