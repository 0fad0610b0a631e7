// File access for the readers and both writers: whole-file reads in large
// blocks, and output files that appear complete or not at all.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vorp {

// Read the whole file at `path` into `out`. False when it cannot be opened.
// A directory opens as an empty file, as the C library's streams do.
bool read_whole_file(const char* path, std::string& out);

// True when both paths name one existing file (same device and inode).
bool same_file(const char* a, const char* b);

// An output file written through a large buffer into a temporary file beside
// its destination and renamed into place by `commit`, so that a crash, a
// kill or a full disk never leaves a truncated file at the destination. An
// existing destination keeps its permission bits. Write errors are not
// reported; a file that could not be written whole is discarded and the
// destination keeps what it had.
class OutputFile {
   public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    // False when the destination cannot be created (missing or read-only
    // directory, a directory in the destination's place, or an existing
    // file that the caller may not write).
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

}  // namespace vorp
