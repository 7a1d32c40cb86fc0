// SPDX-License-Identifier: MIT
//
// What looking at every coordinate of a shapefile takes, by its size: generates a file of so many points in
// lines of a thousand, walks it by the views of lindra.hpp, and prints the time, ms, and the memory, bytes,
// that it takes besides the pages of the file.
//
// usage: bench_scale POINTS DIRECTORY

#include "lindra/shapes.hpp"
#include "resident.hpp"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr size_t points_in_line = 1000;

class ShapefileWriter {
  public:
    ShapefileWriter(const std::string &path, size_t lines) : out_(path, std::ios::binary) {
        header(lines);
        for (size_t i = 0; i < lines; i++)
            line(i);
        out_.close();
        if (!out_) throw std::runtime_error(path + " cannot be written");
    }

  private:
    static constexpr size_t contents = 4 + 32 + 4 + 4 + 4 + 16 * points_in_line;

    // Both, for a machine of either byte order.
    void be32(size_t value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            out_.put(static_cast<char>(value >> shift));
    }
    void le32(size_t value) {
        for (int shift = 0; shift <= 24; shift += 8)
            out_.put(static_cast<char>(value >> shift));
    }
    void le_double(double value) {
        const auto bits = std::bit_cast<uint64_t>(value);
        le32(bits & 0xffffffff);
        le32(bits >> 32);
    }
    void box() {
        for (const double edge : {-180., -90., 180., 90.})
            le_double(edge);
    }

    void header(size_t lines) {
        be32(9994);
        for (int i = 0; i < 5; i++)
            be32(0);
        be32((100 + lines * (8 + contents)) / 2);
        le32(1000);
        le32(SHAPE_POLYLINE);
        box();
        for (int i = 0; i < 4; i++)
            le_double(0);
    }

    void line(size_t number) {
        be32(number + 1);
        be32(contents / 2);
        le32(SHAPE_POLYLINE);
        box();
        le32(1);
        le32(points_in_line);
        le32(0);
        for (size_t i = 0; i < points_in_line; i++) {
            le_double(static_cast<double>(number % 360) - 180 + static_cast<double>(i) * 1e-3);
            le_double(static_cast<double>(number % 179) - 90 + static_cast<double>(i) * 1e-3);
        }
    }

    std::ofstream out_;
};

double processor_ms() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

// The median of a few walks behind one that warms the page cache.
double time_of(const std::string &path) {
    std::vector<double> times;
    for (int i = 0; i < 5; i++) {
        const double begin = processor_ms();
        bench::look_at_points(path);
        times.push_back(processor_ms() - begin);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// While the file is open and all of it has been looked at.
int64_t memory_of(const std::string &path) {
    const int64_t before = bench::resident("RssAnon");
    const lindra::shapefile file(path);
    double sum = 0;
    for (const auto &record : file)
        for (const auto &point : record.points())
            sum += point.x;
    benchmark::DoNotOptimize(sum);
    return bench::resident("RssAnon") - before;
}

} // namespace

int main(int argc, char **argv) try {
    if (argc != 3) return 2;
    const auto points = static_cast<size_t>(std::stoull(argv[1]));
    const std::string path = std::string(argv[2]) + "/scale.shp";
    const ShapefileWriter written(path, points / points_in_line);
    const int64_t memory = memory_of(path);
    if (bench::look_at_points(path).points != static_cast<double>(points)) {
        fprintf(stderr, "bench_scale: not all of %zu points were read\n", points);
        return EXIT_FAILURE;
    }
    printf("%.4f %lld\n", time_of(path), static_cast<long long>(memory));
} catch (const std::exception &reason) {
    fprintf(stderr, "bench_scale: %s\n", reason.what());
    return EXIT_FAILURE;
}
