// SPDX-License-Identifier: MIT
//
// Does one work on small fixed input, so that compare.py can have its instructions counted.
//
// usage: bench_instructions [WORK]; without WORK it lists them.

#include "lindra/coast.hpp"
#include "lindra/header.hpp"
#include "lindra/lines.hpp"
#include "lindra/shapes.hpp"
#include "lindra/table.hpp"
#include "small_inputs.hpp"
#include "temporary_directory.hpp"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

using bench::Delivered;
using Work = std::function<Delivered()>;

// Alone in this function instructions are counted: compare.py knows its name.
extern "C" __attribute__((noinline)) void counted_work(const Work *work, Delivered *out) {
    *out = (*work)();
}

class Works {
  public:
    Works() {
        add_coast();
        add_lines();
        add_shapes();
        add_table();
        add_headers();
        add_textures();
    }

    const std::map<std::string, Work> &all() const { return works_; }

  private:
    void add_coast() {
        works_["gshhs/first_select"] = [] { return bench::Coast().select("crude", bench::globe); };
        works_["gshhs/globe"] = [] {
            bench::Coast coast;
            coast.select("crude", bench::globe);
            return coast.read();
        };
        works_["gshhs/window"] = [this] {
            coast_.select("crude", bench::europe);
            return coast_.read();
        };
        coast_.select("crude", bench::globe); // warm
    }

    void add_lines() {
        works_["lines/globe"] = [] { return read_rivers(bench::globe); };
        works_["lines/europe"] = [] { return read_rivers(bench::europe); };
    }

    static Delivered read_rivers(const bench::Window &window) {
        bench::Lines lines;
        lines.select("r:1023", "crude", window);
        return lines.read();
    }

    void add_shapes() {
        for (const auto &[name, text] :
             {std::pair("polygons", bench::polygons_text()), std::pair("points", bench::points_text())}) {
            const std::string path = directory_.write(std::string(name) + ".shp", text);
            works_[std::string("shapefile/") + name + "_kept"] = [=] {
                return bench::KeptRecords(path).size();
            };
            works_[std::string("shapefile/") + name + "_viewed"] = [=] {
                return bench::look_at_points(path);
            };
        }
    }

    void add_table() {
        const std::string path = directory_.write("table.dbf", bench::table_text());
        works_["dbase/texts"] = [=] { return bench::read_fields(path); };
        works_["dbase/views"] = [=] { return bench::view_values(path); };
        works_["dbase/values"] = [=] { return bench::read_values(path); };
    }

    void add_headers() {
        for (const auto &[name, text] : {std::pair("variables", bench::variables_text()),
                                         std::pair("attributes", bench::attributes_text())}) {
            const std::string path = directory_.write(std::string(name) + ".nc", text);
            works_[std::string("netcdf/") + name] = [=] {
                const bench::BoundFile file(path);
                return bench::Header(file.begin()).count();
            };
        }
    }

    void add_textures() {
        const auto decode = [this](auto expand) {
            return [this, expand] {
                expand(size, size, reinterpret_cast<const unsigned char *>(blocks_.data()), pixels_.data());
                return Delivered{static_cast<double>(pixels_.size()), 0};
            };
        };
        works_["s3tc/dxt1"] = decode(BlockDecompressImageDXT1);
        works_["s3tc/dxt5"] = decode(BlockDecompressImageDXT5);
    }

    static constexpr size_t size = 256; // pixels, both ways

    lindra::test::TemporaryDirectory directory_;
    bench::Coast coast_;
    std::string blocks_ = bench::blocks_text(2 * size * size / 16);
    std::vector<uint32_t> pixels_ = std::vector<uint32_t>(size * size);
    std::map<std::string, Work> works_;
};

int list(const Works &works) {
    for (const auto &[name, work] : works.all())
        puts(name.c_str());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv) {
    setenv("LINDRA_DATA", BENCH_TREE_DATA, 1);
    const Works works;
    if (argc == 1) return list(works);
    const auto found = works.all().find(argv[1]);
    if (found == works.all().end()) {
        fprintf(stderr, "bench_instructions: there is no work %s\n", argv[1]);
        return 2;
    }
    Delivered delivered;
    counted_work(&found->second, &delivered);
    return delivered.records > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
