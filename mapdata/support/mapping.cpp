// SPDX-License-Identifier: MIT
//
// Files in memory. A small file is copied into private pages, so that nobody else's write or truncation can
// reach the reader, and laid so that its last byte is the last one before an unreadable page: reading past
// the end of the file is a fault, never somebody else's data. A large file is mapped, with such a page behind
// it.

#include "support.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int64_t private_limit = 16 << 20;
constexpr int no_descriptor = -1; // what open returns when it fails

struct Mapping {
    char *data;
    int64_t size;
};

class File {
  public:
    // Anything but a regular file is refused before it is opened: opening a FIFO or a device can block or
    // act.
    explicit File(const char *path) {
        struct stat found;
        if (stat(path, &found) != 0 || !S_ISREG(found.st_mode)) return;
        descriptor_ = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (descriptor_ == no_descriptor) return;
        if (fstat(descriptor_, &found) != 0 || !S_ISREG(found.st_mode)) {
            close(descriptor_);
            descriptor_ = no_descriptor;
            return;
        }
        size_ = found.st_size;
    }
    ~File() {
        if (is_open()) close(descriptor_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    bool is_open() const { return descriptor_ != no_descriptor; }
    int64_t size() const { return size_; }
    int descriptor() const { return descriptor_; }

    // Returns false when the file does not hold exactly size bytes: it changed, or the kernel makes it up as
    // it is read (/proc).
    bool read_whole(char *to, int64_t size) const {
        int64_t done = 0;
        while (done < size) {
            const ssize_t got = read_some(to + done, static_cast<size_t>(size - done));
            if (got <= 0) return false;
            done += got;
        }
        char beyond;
        return read_some(&beyond, sizeof beyond) == 0;
    }

  private:
    ssize_t read_some(char *to, size_t size) const {
        ssize_t got;
        do
            got = read(descriptor_, to, size);
        while (got < 0 && errno == EINTR);
        return got;
    }

    int descriptor_ = no_descriptor;
    int64_t size_ = 0;
};

void *map_memory(size_t size, int rights) {
    return mmap(nullptr, size, rights, MAP_PRIVATE | MAP_ANONYMOUS, no_descriptor, 0);
}

bool copy_file(const File &file, Mapping &out) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const auto size = static_cast<size_t>(file.size());
    const size_t room = (size + page - 1) / page * page;
    void *region = map_memory(room + page, PROT_READ | PROT_WRITE);
    if (region == MAP_FAILED) return false;
    char *data = static_cast<char *>(region) + (room - size);
    const bool done = file.read_whole(data, file.size()) &&
                      (!room || mprotect(region, room, PROT_READ) == 0) &&
                      mprotect(static_cast<char *>(region) + room, page, PROT_NONE) == 0;
    if (!done) {
        munmap(region, room + page);
        return false;
    }
    out = {data, file.size()};
    return true;
}

// A page that cannot be read follows here too: no other memory then begins where the file ends, and the end
// address of its extent belongs to nobody else.
bool map_large_file(const File &file, Mapping &out) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const auto size = static_cast<size_t>(file.size());
    const size_t room = (size + page - 1) / page * page;
    void *region = map_memory(room + page, PROT_NONE);
    if (region == MAP_FAILED) return false;
    if (mmap(region, size, PROT_READ, MAP_PRIVATE | MAP_FIXED, file.descriptor(), 0) == MAP_FAILED) {
        munmap(region, room + page);
        return false;
    }
    out = {static_cast<char *>(region), file.size()};
    return true;
}

bool map_whole(const char *path, Mapping &out) {
    const File file(path);
    if (!file.is_open()) return false;
    return file.size() <= private_limit ? copy_file(file, out) : map_large_file(file, out);
}

// The room for the cache is taken before the file is mapped, so that no mapping is made that cannot be kept.
int64_t map_through_cache(const char *path, Arr **cache, char **data) {
    if (!*cache) *cache = newarr(nullptr);
    if (!*cache) return -1;
    auto *entry = static_cast<Mapping *>(getarr(*cache, path));
    if (!entry) {
        entry = static_cast<Mapping *>(calloc(1, sizeof(Mapping)));
        if (!entry) return -1;
        if (setarr(*cache, path, entry) < 0) {
            free(entry);
            return -1;
        }
    }
    // An entry without data is a file that could not be mapped before: it is tried again.
    if (!entry->data && !map_whole(path, *entry)) return -1;
    *data = entry->data;
    return entry->size;
}

} // namespace

int64_t mapfile(const char *path, Arr **cache, char **data) {
    *data = nullptr;
    if (!path) return -1;
    if (cache) return map_through_cache(path, cache, data);
    Mapping mapping = {};
    if (!map_whole(path, mapping)) return -1;
    *data = mapping.data;
    return mapping.size;
}

// Both kinds of mapping begin at a page, hold the file and end with one page that cannot be read.
void lindra_unmapfile(char *data, int64_t size) {
    if (!data) return;
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t before = reinterpret_cast<uintptr_t>(data) % page;
    const size_t room = (before + static_cast<size_t>(size) + page - 1) / page * page;
    munmap(data - before, room + page);
}
