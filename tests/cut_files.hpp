// SPDX-License-Identifier: MIT
//
// Files that are large enough to be mapped, most of them holes on the disk, and processes that cut and
// overwrite them.
#ifndef LINDRA_TESTS_CUT_FILES_HPP
#define LINDRA_TESTS_CUT_FILES_HPP

#include "dds_builder.hpp"
#include "shapefile_files.hpp"
#include "temporary_directory.hpp"

#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace lindra::test {

inline constexpr uint64_t page = 4096; // some whole number of pages, wherever the test runs
inline constexpr uint64_t megabyte = 1 << 20;

// Another process, which cuts a file when it is told to.
class Cutter {
  public:
    Cutter(const std::string &path, uint64_t size) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("pipe failed");
        child_ = fork();
        if (child_ == 0) {
            close(ends[1]);
            char word;
            const bool told = read(ends[0], &word, 1) == 1;
            _exit(told && truncate(path.c_str(), static_cast<off_t>(size)) == 0 ? 0 : 1);
        }
        close(ends[0]);
        word_ = ends[1];
    }
    ~Cutter() {
        close(word_);
        if (child_ > 0) waitpid(child_, nullptr, 0);
    }
    Cutter(const Cutter &) = delete;
    Cutter &operator=(const Cutter &) = delete;

    // Returns when the file is cut.
    void cut() {
        int status = 1;
        if (write(word_, "c", 1) != 1 || waitpid(std::exchange(child_, -1), &status, 0) < 0 || status != 0)
            throw std::runtime_error("the file could not be cut");
    }

  private:
    pid_t child_;
    int word_;
};

// Another process, which overwrites words of a part of a file with numbers of every kind, over and over.
class Rewriter {
  public:
    Rewriter(const std::string &path, uint64_t begin, uint64_t end) : child_(fork()) {
        if (child_ == 0) rewrite(path, begin, end);
    }
    ~Rewriter() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    Rewriter(const Rewriter &) = delete;
    Rewriter &operator=(const Rewriter &) = delete;

  private:
    [[noreturn]] static void rewrite(const std::string &path, uint64_t begin, uint64_t end) {
        const int file = open(path.c_str(), O_WRONLY);
        std::mt19937_64 random(1);
        const uint64_t numbers[] = {0, 1, 0x7fffffff, ~uint64_t{0}, 0x7ff0000000000000, 0x0100000001000000};
        for (;;) {
            const uint64_t number = numbers[random() % std::size(numbers)];
            const uint64_t at = begin + random() % ((end - begin) / 4) * 4;
            if (pwrite(file, &number, sizeof number, static_cast<off_t>(at)) < 0) _exit(1);
        }
    }

    pid_t child_;
};

inline void write_at(const std::string &path, uint64_t offset, const std::string &bytes) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file << bytes;
}

// The contents of a record without a shape, which readers pass over, and which make a file a large one.
inline std::string large_null_shape() {
    return std::string(16 * megabyte, '\0');
}

// Three records of many points at 0, 0.
struct LargeShapes {
    static constexpr uint64_t count = 3;
    static constexpr uint64_t points = 700'000;
    static constexpr uint64_t contents = 40 + 16 * points;
    static constexpr uint64_t size = 100 + count * (8 + contents);

    // Where the record's header begins.
    static constexpr uint64_t begin(uint64_t record) { return 100 + record * (8 + contents); }

    static std::string write(const TemporaryDirectory &directory, const std::string &name = "large.shp") {
        const std::string path = directory.write(name, file_header(size, SHAPE_MULTIPOINT));
        std::filesystem::resize_file(path, size);
        for (uint64_t i = 0; i < count; i++)
            write_at(path, begin(i),
                     shp::record_header(static_cast<int32_t>(i + 1), contents / 2) +
                         multipoint_shape({}).replace(36, 4, le32(points)));
        return path;
    }
};

// A texture of one level of 2048 x 2048 black pixels for each of the six faces of a cube.
struct LargeTexture {
    static constexpr uint64_t faces = 6;
    static constexpr uint64_t image = uint64_t{2048} * 2048 * 4;
    static constexpr uint64_t size = 128 + faces * image;

    static std::string write(const TemporaryDirectory &directory) {
        dds::Header header;
        header.sized(2048, 2048, 1).with(dds::Header::caps2, 0xfe00);
        header.with(dds::Header::format_flags, 0x40).with(dds::Header::format_fourcc, 0);
        header.with(dds::Header::bits, 32).with(dds::Header::red, 0xff0000);
        header.with(dds::Header::green, 0xff00).with(dds::Header::blue, 0xff);
        const std::string path = directory.write("large.dds", header.bytes());
        std::filesystem::resize_file(path, size);
        return path;
    }
};

} // namespace lindra::test

#endif
