// SPDX-License-Identifier: MIT
//
// What the machine can do, on the files that the families read.

#include "files.hpp"
#include "limits/memory.hpp"
#include "limits/polygons.hpp"
#include "works.hpp"

#include <malloc.h>
#include <memory>
#include <vector>

namespace bench {
namespace {

using Run = std::function<void()>;

void add_limit(const std::string &name, const Run &run, const Run &release = {}) {
    const auto run_once = [=] {
        run();
        return Delivered{1, 0};
    };
    add_work("limits/" + name, {{"limit", run_once, {}, {}, release}});
}

void add_reading() {
    const std::string path = data_file("polygons.shp");
    const auto mapped = std::make_shared<FreshMapping>(path);
    add_limit("sum_fresh_mapping", [=] { sum_bytes(FreshMapping(path).bytes()); });
    add_limit("sum_mapped_before", [=] { sum_bytes(mapped->bytes()); });
}

std::shared_ptr<void> make_block(size_t size) {
    constexpr size_t page = 4096;
    std::shared_ptr<void> block(aligned_alloc(page, (size + page - 1) / page * page), free);
    memset(block.get(), 1, size);
    return block;
}

void add_copying() {
    const auto mapped = std::make_shared<FreshMapping>(data_file("polygons.shp"));
    const auto block = make_block(mapped->bytes().size());
    add_limit("memcpy", [=] {
        memcpy(block.get(), mapped->bytes().data(), mapped->bytes().size());
        benchmark::ClobberMemory();
    });
    const auto copy = std::make_shared<unsigned char *>(nullptr);
    add_limit(
        "copy_to_fresh_heap", [=] { *copy = copy_to_fresh_heap(mapped->bytes()); },
        [=] {
            free(*copy);
            malloc_trim(0);
        });
}

void add_storing() {
    constexpr size_t size = 64 << 20; // the pixels of a texture
    const auto block = make_block(size);
    add_limit("streaming_stores_64_MiB", [=] { store_streaming(block.get(), size); });
    add_limit("memset_64_MiB", [=] {
        memset(block.get(), 2, size);
        benchmark::ClobberMemory();
    });
}

// As many blocks of each size as a header of ten thousand variables takes, all of them held at once.
void add_allocating() {
    constexpr size_t count = 100'000;
    const auto blocks = std::make_shared<std::vector<void *>>(count);
    for (const size_t size : {size_t{16}, size_t{64}, size_t{512}, size_t{4096}})
        add_limit("malloc_free_100000_of_" + std::to_string(size), [=] {
            for (void *&block : *blocks)
                block = malloc(size);
            benchmark::DoNotOptimize(blocks->data());
            benchmark::ClobberMemory();
            for (void *block : *blocks)
                free(block);
        });
}

void add_converting() {
    const auto file = std::make_shared<FreshMapping>(data_file("gshhg/maps/lindra/gshhs_f.b"));
    add_limit("convert_be32_plain", [=] { convert_polygons(file->bytes(), convert_points); });
    if (has_avx2())
        add_limit("convert_be32_avx2", [=] { convert_polygons(file->bytes(), convert_points_avx2); });
}

} // namespace

void add_works() {
    add_reading();
    add_copying();
    add_storing();
    add_allocating();
    add_converting();
}

} // namespace bench
