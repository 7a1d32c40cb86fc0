// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_MEMORY_FILE_HPP
#define LINDRA_FUZZ_MEMORY_FILE_HPP

#include "expect.hpp"
#include "input.hpp"

#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace lindra::fuzz {

// A regular file that stands in memory, for what is told a path.
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
        expect(descriptor_ >= 0, "memfd_create");
        path_ = "/proc/self/fd/" + std::to_string(descriptor_);
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    const char *path() const { return path_.c_str(); }

    void write(Bytes bytes) const {
        resize(bytes.size());
        expect(pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
               "pwrite");
    }

    // What is added reads as zeros and takes no memory.
    void resize(size_t size) const {
        expect(ftruncate(descriptor_, static_cast<off_t>(size)) == 0, "ftruncate");
    }

  private:
    int descriptor_;
    std::string path_;
};

} // namespace lindra::fuzz

#endif
