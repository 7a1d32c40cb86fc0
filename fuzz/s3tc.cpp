// SPDX-License-Identifier: MIT
//
// S3TC blocks: every path of the processor makes of an image what the routine for one block makes of it.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/steps.hpp"

#include "lindra/lindra.h"
#include "s3tc.hpp"

#include <algorithm>
#include <string>
#include <vector>

using namespace lindra::fuzz;
using lindra::s3tc::blocks_over;
using lindra::s3tc::Expand;
using lindra::s3tc::Path;

namespace {

constexpr uint32_t untouched = 0x5a5a5a5a;

using BlockRoutine = void(uint64_t x, uint64_t y, uint64_t width, const unsigned char *block,
                          uint32_t *image);
using Image = std::vector<uint32_t>;

struct Size {
    uint64_t width, height;

    uint64_t blocks() const { return blocks_over(width) * blocks_over(height); }
    Image image() const { return Image(width * 4 * blocks_over(height), untouched); }
};

constexpr unsigned longest_side = 40;

std::string model(Random &random) {
    const Size size = {random.below(longest_side), random.below(longest_side)};
    std::string input = {static_cast<char>(size.width), static_cast<char>(size.height),
                         static_cast<char>(random.below(longest_side + 4)), random.byte()};
    return input + random.bytes(16 * size.blocks());
}

Image by_block(BlockRoutine *routine, Size size, size_t block_size, const unsigned char *blocks) {
    Image image = size.image();
    for (uint64_t y = 0; y < size.height; y += 4)
        for (uint64_t x = 0; x < size.width; x += 4, blocks += block_size)
            routine(x, y, size.width, blocks, image.data());
    return image;
}

// rows: of the image that are written, the others are as they were.
void compare(Expand *expand, Size size, uint64_t rows, const unsigned char *blocks, const Image &expected) {
    Image image = size.image();
    expand(size.width, size.height, rows, blocks, image.data());
    const auto end = static_cast<ptrdiff_t>(size.width * std::min(rows, 4 * blocks_over(size.height)));
    expect(std::equal(image.begin(), image.begin() + end, expected.begin()), "all paths expand the same");
    expect(std::all_of(image.begin() + end, image.end(), [](uint32_t pixel) { return pixel == untouched; }),
           "rows from the last one on are left alone");
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    Random random(1);
    const std::string blocks = random.bytes(64);
    // Width, height, rows and whether it is DXT1 are damaged too.
    return {{"dxt1", std::string("\x8\x8\x8\x1") + blocks.substr(0, 32)},
            {"dxt1-odd-sides", std::string("\x5\x3\x2\x1") + blocks.substr(0, 16)},
            {"dxt5", std::string("\x8\x8\x8\x0", 4) + blocks}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    Parameters parameters({data, size});
    const Size image = {parameters.byte() % longest_side, parameters.byte() % longest_side};
    const uint64_t rows = parameters.byte() % (longest_side + 4);
    const bool is_dxt1 = parameters.byte() % 2;
    const size_t block_size = is_dxt1 ? 8 : 16;
    if (parameters.rest().size() < image.blocks() * block_size) return 0;
    accept();
    const StepLimit steps(size, 30, 500);
    const ExactCopy blocks(parameters.rest().first(image.blocks() * block_size));
    const Image expected =
        by_block(is_dxt1 ? DecompressBlockDXT1 : DecompressBlockDXT5, image, block_size, blocks.data());
    for (const Path &path : lindra::s3tc::paths())
        compare(is_dxt1 ? path.dxt1 : path.dxt5, image, rows, blocks.data(), expected);
    return 0;
}
