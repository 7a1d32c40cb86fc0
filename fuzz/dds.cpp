// SPDX-License-Identifier: MIT
//
// Textures, by the strict reader, whole and a level at a time, and as they are met. What both expand must be
// the same.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/model.hpp"
#include "harness/steps.hpp"

#include "texture_builder.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <span>
#include <vector>

using namespace lindra::fuzz;
namespace dds = lindra::test::dds;

namespace {

// --- Model ---

dds::Storage random_storage(Random &random) {
    static constexpr uint32_t numbers[] = {24, 28, 35, 49, 56, 61, 65, 71, 74, 77, 85, 86, 87, 88, 115};
    switch (random.below(6)) {
    case 0:
        return dds::compressed(3, dds::fourcc("DXT3"));
    case 1:
        return dds::compressed(5, dds::fourcc("DXT5"));
    case 2:
        return dds::plain(dds::bgra, dds::rgba);
    case 3:
        return dds::numbered(dds::dxt1(), random.one_of(numbers));
    default:
        return dds::dxt1();
    }
}

std::string model(Random &random) {
    dds::Texture texture{.storage = random_storage(random),
                         .width = 1 + random.below(20),
                         .height = 1 + random.below(20),
                         .levels = 1 + random.below(5)};
    if (random.one_in(6)) texture.depth = 1 + random.below(4);
    if (random.one_in(6)) texture.faces = {random.below(3), 3 + random.below(3)};
    if (random.one_in(6)) texture.elements = 1 + random.below(3);
    return texture.file();
}

// --- The strict reader ---

struct Decoded {
    Decoded() = default;
    ~Decoded() { lindra_free_dds(file); }
    Decoded(const Decoded &) = delete;
    Decoded &operator=(const Decoded &) = delete;

    int decode(const Input &input, int mipmap) {
        const HeapLimit limit(input.size());
        unsigned char *pos = input.data();
        const int status = dds_decode_file(&file, mipmap, input.data(), &pos);
        expect(input.has(pos), "the position stays in the file");
        consumed = static_cast<size_t>(pos - input.data());
        return status;
    }

    DdsFile *file = nullptr;
    size_t consumed = 0;
};

void decode_strictly(const Input &input, Decoded &all) {
    const int status = all.decode(input, -1);
    dds_print_file("", all.file);
    const size_t consumed = all.consumed;
    Decoded one;
    for (int mipmap : {0, 3, 1 << 20}) {
        expect(one.decode(input, mipmap) == status, "one level is as good as all");
        expect(one.consumed == consumed, "one level ends where all do");
        dds_print_file("  ", one.file);
    }
}

// --- Textures as they are met ---

// How many images of one input are expanded.
constexpr uint64_t most_images = 64;

bool is_plain_dxt1(const LindraTexture &texture) {
    return texture.format == LINDRA_DXT1 && texture.data == 128 && texture.faces == 1 && texture.depth == 1;
}

// Levels of the strict reader have no pixels where a side would be 0; these have one.
void compare(const LindraTexture &texture, const LindraImage &image, const std::vector<uint32_t> &pixels,
             DdsFile *strict) {
    const auto *others = static_cast<uint32_t *>(gettbl(strict->mipmaps, static_cast<int>(image.level)));
    const bool has_sides = texture.width >> image.level && texture.height >> image.level;
    if (!others || !has_sides || !is_plain_dxt1(texture)) return;
    expect(std::ranges::equal(pixels, std::span(others, pixels.size())), "both readers expand the same");
}

void expand_all(const Input &input, DdsFile *strict) {
    const auto ignore = [](void *, uint64_t, const char *) {};
    LindraTexture texture;
    const HeapLimit limit(input.size());
    if (lindra_unstuff_texture(&texture, input.data(), input.size(), ignore, nullptr) < 0) return;
    accept();
    expect(texture.nimages > 0, "a texture has an image");
    for (uint64_t i = 0; i < std::min(texture.nimages, most_images); i++) {
        LindraImage image;
        expect(lindra_texture_image(&texture, i, &image) == 0, "an image is found by its number");
        expect(image.offset <= input.size() && image.size <= input.size() - image.offset,
               "an image lies in the file");
        std::vector<uint32_t> pixels(uint64_t{image.width} * image.height);
        expect(lindra_expand_image(&texture, &image, pixels.data()) == 0, "an image is expanded");
        compare(texture, image, pixels, strict);
    }
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    constexpr uint32_t luminance = 0x20000, alpha_only = 2;
    const std::pair<const char *, dds::Texture> textures[] = {
        {"dxt1", {.width = 8, .height = 8, .levels = 4}},
        {"dxt1-odd-sides", {.width = 5, .height = 3, .levels = 3}},
        {"dxt3", {.storage = dds::compressed(3, dds::fourcc("DXT3")), .levels = 4}},
        {"dxt5", {.storage = dds::compressed(5, dds::fourcc("DXT5")), .levels = 4}},
        {"dxt4", {.storage = dds::compressed(5, dds::fourcc("DXT4"))}},
        {"bgra", {.storage = dds::plain(dds::bgra, dds::rgba), .width = 4, .height = 2, .levels = 3}},
        {"bgr", {.storage = dds::plain({24, 0xff0000, 0xff00, 0xff, 0}, dds::rgb), .width = 3, .height = 2}},
        {"b5g6r5", {.storage = dds::plain({16, 0xf800, 0x7e0, 0x1f, 0}, dds::rgb), .width = 3, .height = 2}},
        {"luminance", {.storage = dds::plain({8, 0xff, 0, 0, 0}, luminance), .width = 3, .height = 2}},
        {"alpha", {.storage = dds::plain({8, 0, 0, 0, 0xff}, alpha_only), .width = 3, .height = 2}},
        {"dx10-dxt1", {.storage = dds::numbered(dds::dxt1(), 71), .levels = 4}},
        {"dx10-bgra",
         {.storage = dds::numbered(dds::plain(dds::bgra, dds::rgba), 87), .width = 2, .height = 2}},
        {"dx10-array", {.storage = dds::numbered(dds::dxt1(), 71), .levels = 2, .elements = 3}},
        {"dx10-cubes",
         {.storage = dds::numbered(dds::dxt1(), 71),
          .width = 4,
          .height = 4,
          .faces = dds::all_faces,
          .elements = 2}},
        {"cube", {.width = 4, .height = 4, .levels = 2, .faces = dds::all_faces}},
        {"cube-of-two-faces", {.width = 4, .height = 4, .faces = {0, 4}}},
        {"volume", {.levels = 3, .depth = 4}},
    };
    std::vector<Fixture> all = {
        large({"large-dxt1", dds::Texture{.width = 512, .height = 512, .levels = 10}.file()}),
        large({"line-of-dxt1", dds::Texture{.width = 65536, .height = 1, .levels = 17}.file()})};
    for (const auto &[name, texture] : textures)
        all.push_back({name, texture.file()});
    return all;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    const Input input({data, size});
    const StepLimit steps(size, 40, 10'000);
    Decoded strict;
    decode_strictly(input, strict);
    expand_all(input, strict.file);
    return 0;
}
