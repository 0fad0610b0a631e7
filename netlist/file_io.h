// File access for the readers and both writers: whole-file reads in large
// blocks, and output files that appear complete or not at all.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorp {

// Read the whole file at `path` into `out`. False when it cannot be opened.
// A directory opens as an empty file, as the C library's streams do.
bool read_whole_file(const char* path, std::string& out);

// True when replacing `dest` would replace the existing file that `source`
// names (same device and inode). A link in `dest`'s place is not followed:
// the writers replace the link itself.
bool same_file(const char* source, const char* dest);

// An output file written through a large buffer into a temporary file beside
// its destination ("<path>.vorp-tmp-<pid>") and renamed into place by
// `commit`, so that a crash, a kill or a full disk never leaves a truncated
// file at the destination. An existing destination file keeps its permission
// bits; a symbolic link in the destination's place is replaced by the new
// file, never followed. Write errors are not reported; a file that could not
// be written whole is discarded and the destination keeps what it had.
class OutputFile {
   public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    // False when the destination cannot be created (missing or read-only
    // directory, a directory in the destination's place, or an existing
    // file that the caller may not write; a link is never refused for
    // what it points to).
    bool open(const char* path);
    void write(std::string_view text) { write(text.data(), text.size()); }
    void write(const char* data, std::size_t size);
    void put(char c) {
        if (used_ == kBufferSize) flush();
        buffer_[used_++] = c;
    }
    void write_int(long long value);
    // Flush, close and move the file into place.
    void commit();

   private:
    static constexpr std::size_t kBufferSize = 1 << 20;
    void flush();
    void discard();

    int fd_ = -1;
    bool failed_ = false;
    std::string path_;
    std::string temp_path_;
    std::string buffer_storage_;
    char* buffer_ = nullptr;
    std::size_t used_ = 0;
};

// The temporary files that runs killed while writing left beside their
// destinations. A file is removed only when its name is a destination's
// name, ".vorp-tmp-" and a process id, and that process no longer exists.
// Each directory is listed once, when its first destination is handled.
class StaleTempFiles {
   public:
    // Remove the temporary files of ended processes left beside `path`.
    void remove_beside(const char* path);

   private:
    struct Left {
        std::string name;
        long pid;
    };
    using ByDestination = std::unordered_map<std::string, std::vector<Left>>;
    const ByDestination& listing(const std::string& dir);

    std::unordered_map<std::string, ByDestination> dirs_;
};

}  // namespace vorp
