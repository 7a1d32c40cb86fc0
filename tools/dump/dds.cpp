// SPDX-License-Identifier: MIT
//
// A texture, by the library's strict reader: "Programming Guide for DDS" (Microsoft, 2018).

#include "dump/dds.hpp"

#include "common/captured_log.hpp"
#include "common/damage.hpp"
#include "common/standard_output.hpp"
#include "dump/record_list.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <sstream>
#include <string>

namespace lindra::tools {

namespace {

constexpr size_t header_offset = 4;
constexpr size_t format_offset = 76;
constexpr size_t images_offset = 128;
constexpr uint64_t most_pixels = 10;
constexpr uint64_t block_size = 8;

struct FreeDds {
    void operator()(DdsFile *file) const { lindra_free_dds(file); }
};
using Texture = std::unique_ptr<DdsFile, FreeDds>;

Json names_of(char *bitmap(int flags, char *buf), uint64_t flags) {
    std::array<char, 128> text;
    std::istringstream words(bitmap(static_cast<int>(flags), text.data()));
    Json names = Json::array();
    for (std::string word; words >> word;)
        names.push_back(word);
    return names;
}

std::string four_characters(uint64_t word) {
    std::string text;
    for (int shift = 0; shift < 32; shift += 8)
        text += static_cast<char>(word >> shift & 0xff);
    return text;
}

Json reserved_words(const DDS_HEADER &header) {
    std::array<uint32_t, 11> words; // packed, two in a slot
    memcpy(words.data(), header.dwReserved, sizeof words);
    return words;
}

Json format_facts(const DDS_PIXELFORMAT &format) {
    return {{"dwSize", format.dwSize},
            {"dwFlags", format.dwFlags},
            {"flags", names_of(dds_get_pixelformat_bitmap, format.dwFlags)},
            {"dwFourCC", four_characters(format.dwFourCC)},
            {"dwRGBBitCount", format.dwRGBBitCount},
            {"dwRBitMask", format.dwRBitMask},
            {"dwGBitMask", format.dwGBitMask},
            {"dwBBitMask", format.dwBBitMask},
            {"dwABitMask", format.dwABitMask},
            {"offset", format_offset}};
}

Json header_facts(const DDS_HEADER &header) {
    return {{"dwSize", header.dwSize},
            {"dwFlags", header.dwFlags},
            {"flags", names_of(dds_get_dds_bitmap, header.dwFlags)},
            {"dwHeight", header.dwHeight},
            {"dwWidth", header.dwWidth},
            {"dwPitchOrLinearSize", header.dwPitchOrLinearSize},
            {"dwDepth", header.dwDepth},
            {"dwMipMapCount", header.dwMipMapCount},
            {"dwReserved", reserved_words(header)},
            {"ddspf", format_facts(header.ddspf)},
            {"dwCaps", header.dwCaps},
            {"caps", names_of(dds_get_ddscaps_bitmap, header.dwCaps)},
            {"dwCaps2", header.dwCaps2},
            {"dwCaps3", header.dwCaps3},
            {"dwCaps4", header.dwCaps4},
            {"dwReserved2", header.dwReserved2},
            {"offset", header_offset}};
}

// The first pixels, as 0xAARRGGBB in hexadecimal digits.
Json pixel_facts(const uint32_t *pixels, uint64_t count) {
    Json all = Json::array();
    for (uint64_t i = 0; i < std::min(count, most_pixels); i++)
        all.push_back(fmt::format("{:08x}", pixels[i]));
    return all;
}

uint64_t size_of_level(uint64_t width, uint64_t height) {
    return std::max<uint64_t>(1, (width + 3) / 4) * std::max<uint64_t>(1, (height + 3) / 4) * block_size;
}

void add_images(RecordList &list, const DdsFile &texture) {
    uint64_t width = texture.header.dwWidth;
    uint64_t height = texture.header.dwHeight;
    uint64_t offset = images_offset;
    for (int i = 0; i < counttbl(texture.mipmaps); i++, width >>= 1, height >>= 1) {
        const auto *pixels = static_cast<const uint32_t *>(gettbl(texture.mipmaps, i));
        const uint64_t size = size_of_level(width, height);
        list.add({{"level", i},
                  {"width", width},
                  {"height", height},
                  {"pixels", pixel_facts(pixels, width * height)},
                  {"offset", offset},
                  {"size", size}});
        offset += size;
    }
}

void print_json(const DdsFile &texture) {
    RecordList list({{"format", "DDS texture"},
                     {"magic", four_characters(texture.magic)},
                     {"header", header_facts(texture.header)}},
                    "images");
    add_images(list, texture);
    list.finish();
}

// Whether the reader stopped at a DX10 header.
bool stopped_at_dx10(const DdsFile &texture, const InputFile &file, const unsigned char *cursor) {
    return cursor == file.data() + images_offset && (texture.header.ddspf.dwFlags & 0x4) &&
           four_characters(texture.header.ddspf.dwFourCC) == "DX10";
}

} // namespace

bool is_dds(const InputFile &file) {
    return file.has_at(0, "DDS ");
}

void dump_dds(const InputFile &file, bool json) {
    unsigned char *cursor = file.data();
    const CapturedLog log;
    DdsFile *decoded = nullptr;
    const int status = dds_decode_file(&decoded, -1, file.data(), &cursor);
    const Texture texture(decoded);
    if (!texture) throw std::bad_alloc();
    if (json)
        print_json(*texture);
    else
        print_to_standard_output([&] { dds_print_file("", texture.get()); });
    if (status < 0 && stopped_at_dx10(*texture, file, cursor))
        throw DataError(file.path() + " has a DX10 header at byte " + std::to_string(images_offset) +
                        ", which is not listed; `lindra texture` reads such files");
    if (status < 0) throw damage(file, cursor, log);
}

} // namespace lindra::tools
