// SPDX-License-Identifier: MIT
//
// Which file it was, and how far its mapping goes, is asked of the kernel when the fault comes: a line of
// /proc/self/maps for each mapping (proc(5), Linux man-pages, 2022). The library's mappings are private and
// read-only; a fault anywhere else ends the process as ever.

#include "common/file_faults.hpp"

#include "common/errors.hpp"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace lindra::tools {

namespace {

// The first fault. Written by the handler of signals, read behind it by the same thread.
struct Loss {
    char path[PATH_MAX];
    uint64_t offset;
};

Loss first_loss;
volatile std::sig_atomic_t has_loss = 0;

// --- What the handler calls; none of it allocates ---

struct MappedPart {
    uint64_t begin, end; // addresses
    uint64_t offset;     // in the file, of begin
    std::string_view path;
};

// The lines of a file, without their ends. One that is longer than any of the kernel's is cut.
class Lines {
  public:
    explicit Lines(const char *path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC)) {}
    ~Lines() { close(descriptor_); }
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;

    bool next(std::string_view &out) {
        size_t size = 0;
        while (at_ < filled_ || fill()) {
            const char letter = block_[at_++];
            if (letter == '\n') {
                out = {line_, size};
                return true;
            }
            if (size < sizeof line_) line_[size++] = letter;
        }
        return false;
    }

  private:
    bool fill() {
        const ssize_t got = read(descriptor_, block_, sizeof block_);
        at_ = 0;
        filled_ = got > 0 ? static_cast<size_t>(got) : 0;
        return filled_ > 0;
    }

    int descriptor_;
    size_t at_ = 0, filled_ = 0;
    char block_[4096];
    char line_[PATH_MAX + 128];
};

// Takes a number and the one character behind it.
bool take_number(std::string_view &line, uint64_t &out) {
    const auto [stop, error] = std::from_chars(line.data(), line.data() + line.size(), out, 16);
    if (error != std::errc() || stop == line.data() + line.size()) return false;
    line.remove_prefix(static_cast<size_t>(stop - line.data()) + 1);
    return true;
}

// begin-end rights offset device inode path. False for other mappings than the library's.
bool parse(std::string_view line, MappedPart &out) {
    constexpr std::string_view rights = "r--p ";
    if (!take_number(line, out.begin) || !take_number(line, out.end)) return false;
    if (!line.starts_with(rights)) return false;
    line.remove_prefix(rights.size());
    if (!take_number(line, out.offset)) return false;
    const size_t path = line.find('/');
    if (path == line.npos) return false;
    out.path = line.substr(path);
    return true;
}

void remember(const MappedPart &part, uint64_t at) {
    if (has_loss) return;
    const size_t size = part.path.copy(first_loss.path, sizeof first_loss.path - 1);
    first_loss.path[size] = '\0';
    first_loss.offset = part.offset + (at - part.begin);
    has_loss = 1;
}

// Puts zeros in the place of the mapping from the page of that address on.
bool put_zeros(const MappedPart &part, void *at) {
    const auto address = reinterpret_cast<uintptr_t>(at);
    const uint64_t into_page = address % static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    return mmap(static_cast<char *>(at) - into_page, part.end - (address - into_page), PROT_READ,
                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0) != MAP_FAILED;
}

bool is_mended(void *at) {
    const auto address = reinterpret_cast<uintptr_t>(at);
    Lines lines("/proc/self/maps");
    MappedPart part;
    for (std::string_view line; lines.next(line);)
        if (parse(line, part) && address >= part.begin && address < part.end) {
            remember(part, address);
            return put_zeros(part, at);
        }
    return false;
}

void on_fault(int number, siginfo_t *info, void *) {
    const int kept = errno;
    const bool is_fault = info->si_code == BUS_ADRERR;
    if (!is_fault || !is_mended(info->si_addr)) {
        // A fault comes again as soon as this returns.
        std::signal(number, SIG_DFL);
        if (info->si_code <= 0) std::raise(number);
    }
    errno = kept;
}

} // namespace

void watch_files() {
    struct sigaction action = {};
    action.sa_sigaction = on_fault;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &action, nullptr);
}

void require_unchanged_files() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (!has_loss) return;
    throw DataError(std::string(first_loss.path) + " changed while it was read (byte " +
                    std::to_string(first_loss.offset) + "); run the command again");
}

} // namespace lindra::tools
