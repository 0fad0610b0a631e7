#include "netlist/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vorp {

namespace {

constexpr std::size_t kReadBlock = 1 << 20;

bool write_all(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

bool read_whole_file(const char* path, std::string& out) {
    out.clear();
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0)
        out.reserve(static_cast<std::size_t>(st.st_size));
    // A read error (a directory gives one) ends the text, as end of file would.
    std::size_t used = 0;
    for (;;) {
        out.resize(used + kReadBlock);
        const ssize_t n = ::read(fd, out.data() + used, kReadBlock);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        used += static_cast<std::size_t>(n);
    }
    out.resize(used);
    ::close(fd);
    return true;
}

bool same_file(const char* a, const char* b) {
    struct stat sa {
    }, sb{};
    if (::stat(a, &sa) != 0 || ::stat(b, &sb) != 0) return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

OutputFile::~OutputFile() {
    if (fd_ >= 0) discard();
}

bool OutputFile::open(const char* path) {
    struct stat st {};
    const bool exists = ::stat(path, &st) == 0;
    if (exists && S_ISDIR(st.st_mode)) return false;
    // Opening for writing would refuse a file we may not write: so do we,
    // although the replacement by rename would pass.
    if (exists && ::access(path, W_OK) != 0) return false;
    path_ = path;
    temp_path_ = path_ + ".vorp-tmp-" + std::to_string(::getpid());
    fd_ = ::open(temp_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) return false;
    if (exists) ::fchmod(fd_, st.st_mode & 07777);
    failed_ = false;
    if (buffer_storage_.empty()) buffer_storage_.resize(kBufferSize);
    buffer_ = buffer_storage_.data();
    used_ = 0;
    return true;
}

void OutputFile::write(const char* data, std::size_t size) {
    if (size >= kBufferSize) {
        flush();
        if (!failed_ && !write_all(fd_, data, size)) failed_ = true;
        return;
    }
    if (used_ + size > kBufferSize) flush();
    std::memcpy(buffer_ + used_, data, size);
    used_ += size;
}

void OutputFile::write_int(long long value) {
    char text[24];
    const int n = std::snprintf(text, sizeof text, "%lld", value);
    write(text, static_cast<std::size_t>(n));
}

void OutputFile::flush() {
    if (used_ > 0 && !failed_ && !write_all(fd_, buffer_, used_)) failed_ = true;
    used_ = 0;
}

void OutputFile::commit() {
    if (fd_ < 0) return;
    flush();
    if (::close(fd_) != 0) failed_ = true;
    fd_ = -1;
    if (failed_ || ::rename(temp_path_.c_str(), path_.c_str()) != 0) ::unlink(temp_path_.c_str());
}

void OutputFile::discard() {
    ::close(fd_);
    fd_ = -1;
    ::unlink(temp_path_.c_str());
}

}  // namespace vorp
