// SPDX-License-Identifier: MIT
//
// The image walk over textures of 4096 x 4096 pixels: against libsquish.

#include "files.hpp"
#include "limits/memory.hpp"
#include "works.hpp"

#include "lindra/lindra.h"

#include <cstdlib>
#include <memory>
#include <squish.h>
#include <vector>

namespace bench {
namespace {

constexpr size_t size = 4096; // pixels, both ways
constexpr size_t header_size = 128;

struct FreeBlock {
    void operator()(uint32_t *block) const { free(block); }
};
using Pixels = std::unique_ptr<uint32_t, FreeBlock>;

Pixels make_pixels() {
    constexpr size_t page = 4096;
    Pixels pixels(static_cast<uint32_t *>(aligned_alloc(page, size * size * sizeof(uint32_t))));
    std::fill_n(pixels.get(), size * size, 0);
    return pixels;
}

// records: pixels; points: what is green in them, the same place in lindra's pixels and squish's.
Delivered count_green(const uint32_t *pixels) {
    double green = 0;
    for (size_t i = 0; i < size * size; i++)
        green += pixels[i] >> 8 & 0xff;
    return {static_cast<double>(size * size), green};
}

using Decode = void (*)(const unsigned char *blocks, uint32_t *image);

template <int format>
void decode_by_squish(const unsigned char *blocks, uint32_t *image) {
    squish::DecompressImage(reinterpret_cast<squish::u8 *>(image), size, size, blocks, format);
}

Doer decoder(const std::string &name, const std::shared_ptr<BoundFile> &file,
             const std::shared_ptr<Pixels> &pixels, Decode decode) {
    const auto run = [=] {
        decode(file->begin() + header_size, pixels->get());
        benchmark::ClobberMemory();
        return Delivered{static_cast<double>(size * size), 0};
    };
    const auto count = [=] {
        std::fill_n(pixels->get(), size * size, 0);
        run();
        return count_green(pixels->get());
    };
    return {name, run, {}, count, {}};
}

Doer store(const std::shared_ptr<Pixels> &pixels) {
    const auto run = [=] {
        store_streaming(pixels->get(), size * size * sizeof(uint32_t));
        return Delivered{static_cast<double>(size * size), 0};
    };
    return {"limit", run, not_compared};
}

void add_format(const std::string &name, Decode lindra, Decode squish) {
    const auto file = std::make_shared<BoundFile>(data_file(name + ".dds"));
    const auto pixels = std::make_shared<Pixels>(make_pixels());
    add_work("s3tc/" + name, {decoder("lindra", file, pixels, lindra),
                              decoder("squish", file, pixels, squish), store(pixels)});
}

} // namespace

void add_works() {
    add_format(
        "dxt1",
        [](const unsigned char *blocks, uint32_t *image) {
            BlockDecompressImageDXT1(size, size, blocks, image);
        },
        decode_by_squish<squish::kDxt1>);
    add_format(
        "dxt5",
        [](const unsigned char *blocks, uint32_t *image) {
            BlockDecompressImageDXT5(size, size, blocks, image);
        },
        decode_by_squish<squish::kDxt5>);
}

} // namespace bench
