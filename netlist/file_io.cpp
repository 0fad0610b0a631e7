#include "netlist/file_io.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

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

constexpr std::string_view kTempMark = ".vorp-tmp-";

// The process id that ends a temporary file's name, as `std::to_string`
// writes it; 0 when the name ends otherwise.
long temp_owner(std::string_view digits) {
    if (digits.empty() || digits.size() > 9 || digits[0] == '0') return 0;
    long pid = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') return 0;
        pid = pid * 10 + (c - '0');
    }
    return pid;
}

bool process_ended(long pid) {
    return ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

// Our own process id names the file: one already there was left by an
// earlier process of that id. Never opened through a link.
int create_temp(const std::string& path) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    int fd = ::open(path.c_str(), flags, 0666);
    if (fd < 0 && errno == EEXIST && ::unlink(path.c_str()) == 0)
        fd = ::open(path.c_str(), flags, 0666);
    return fd;
}

// Fill `out[used, out.size())` from the file; returns the bytes now held.
// A read error (a directory gives one) ends the text, as end of file would.
std::size_t read_into(int fd, std::string& out, std::size_t used) {
    while (used < out.size()) {
        const ssize_t n = ::read(fd, out.data() + used, out.size() - used);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        used += static_cast<std::size_t>(n);
    }
    return used;
}

}  // namespace

bool read_whole_file(const char* path, std::string& out) {
    out.clear();
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    const bool sized = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    // A regular file comes in one read of its whole size; anything else (a
    // pipe, a file still growing) in blocks until the end.
    std::size_t used = 0;
    if (sized && st.st_size > 0) {
        out.resize(static_cast<std::size_t>(st.st_size));
        used = read_into(fd, out, 0);
    }
    // Past the expected end (or for a file of unknown size) read on in
    // blocks; one empty read confirms the end.
    if (used == out.size()) {
        char probe[4096];
        for (;;) {
            const ssize_t n = ::read(fd, probe, sizeof probe);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            out.append(probe, static_cast<std::size_t>(n));
            if (static_cast<std::size_t>(n) == sizeof probe) {
                out.resize(out.size() + kReadBlock);
                out.resize(read_into(fd, out, out.size() - kReadBlock));
            }
        }
        used = out.size();
    }
    out.resize(used);
    ::close(fd);
    return true;
}

bool same_file(const char* source, const char* dest) {
    struct stat sa {
    }, sb{};
    if (::stat(source, &sa) != 0 || ::lstat(dest, &sb) != 0) return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

OutputFile::~OutputFile() {
    if (fd_ >= 0) discard();
}

bool OutputFile::open(const char* path) {
    struct stat st {};
    // A link is replaced by the rename, whatever it points to.
    const bool exists = ::lstat(path, &st) == 0 && !S_ISLNK(st.st_mode);
    if (exists && S_ISDIR(st.st_mode)) return false;
    // Opening for writing would refuse a file we may not write: so do we,
    // although the replacement by rename would pass.
    if (exists && ::access(path, W_OK) != 0) return false;
    path_ = path;
    temp_path_ = path_;
    temp_path_.append(kTempMark).append(std::to_string(::getpid()));
    fd_ = create_temp(temp_path_);
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

void StaleTempFiles::remove_beside(const char* path) {
    const std::string_view whole(path);
    const std::size_t slash = whole.rfind('/');
    const std::string dir(slash == std::string_view::npos ? "." : whole.substr(0, slash));
    const std::string file(whole.substr(slash == std::string_view::npos ? 0 : slash + 1));
    const ByDestination& left = listing(dir);
    const auto it = left.find(file);
    if (it == left.end()) return;
    for (const Left& temp : it->second)
        if (temp.pid != ::getpid() && process_ended(temp.pid))
            ::unlink((dir + "/" + temp.name).c_str());
}

const StaleTempFiles::ByDestination& StaleTempFiles::listing(const std::string& dir) {
    const auto [at, fresh] = dirs_.try_emplace(dir);
    if (!fresh) return at->second;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::string name = it->path().filename().string();
        const std::size_t mark = name.rfind(kTempMark);
        if (mark == std::string::npos || mark == 0) continue;
        const long pid = temp_owner(std::string_view(name).substr(mark + kTempMark.size()));
        if (pid == 0) continue;
        at->second[name.substr(0, mark)].push_back(Left{std::move(name), pid});
    }
    return at->second;
}

}  // namespace vorp
