// SPDX-License-Identifier: MIT
//
// The registry of texture structures: what is registered under which str_type, how its words are taken from
// the file and how they are printed, and the names of codes and flags.

#include "dds_strdefs/registry.hpp"

#include "dds_strdefs/tables.hpp"
#include "fail.hpp"

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <span>

namespace lindra::dds {

namespace {

static_assert(std::endian::native == std::endian::little, "little-endian words are copied as they are");

constexpr Codedef DDS_Codedef[] = {
    {1, "File"},
    {2, "Header"},
    {3, "Header10"},
    {4, "PixelFormat"},
};
static_assert(std::size(DDS_Codedef) == 4);

// Deliberate: the fifth name is misspelt as it has always been printed, and two types have none.
constexpr Codedef DDSTYPE_Codedef[] = {
    {dword, "DWord"},
    {header, "Header"},
    {header10, "Header10"},
    {dxgi_format, "DXGIFormat"},
    {resource_dimension, "D3D!)ResourceDimension"},
    {pixelformat, "Pixelformat"},
    {header_flags, "HeaderDwFlags"},
    {pixelformat_flags, "PixelformatDwFlags"},
};
static_assert(std::size(DDSTYPE_Codedef) == 8);

// Deliberate: the prefixes of the flags are shorter than those of the format's document.
constexpr Codedef DDSDBITMAP_Codedef[] = {
    {0x1, "DSD_CAPS"},           {0x2, "DSD_HEIGHT"},         {0x4, "DSD_WIDTH"},
    {0x8, "DSD_PITCH"},          {0x1000, "DSD_PIXELFORMAT"}, {0x20000, "DSD_MIPMAPCOUNT"},
    {0x80000, "DSD_LINEARSIZE"}, {0x800000, "DSD_DEPTH"},
};
static_assert(std::size(DDSDBITMAP_Codedef) == 8);

constexpr Codedef DDPFBITMAP_Codedef[] = {
    {0x1, "DPF_ALPHAPIXELS"}, {0x2, "DPF_ALPHA"}, {0x4, "DPF_FOURCC"},
    {0x40, "DPF_RGB"},        {0x200, "DPF_YUV"}, {0x20000, "DPF_LUMINANCE"},
};
static_assert(std::size(DDPFBITMAP_Codedef) == 6);

// Deliberate: not in the order of the bits.
constexpr Codedef DDSCAPSBITMAP_Codedef[] = {
    {0x8, "DDSCAPS_COMPLEX"},
    {0x400000, "DDSCAPS_MIPMAP"},
    {0x1000, "DDSCAPS_TEXTURE"},
};
static_assert(std::size(DDSCAPSBITMAP_Codedef) == 3);

char *names_of_bits(std::span<const Codedef> bits, int flags, char *buf) {
    char *end = buf;
    *end = '\0';
    for (const Codedef &bit : bits) {
        if (!(flags & bit.code)) continue;
        if (end != buf) *end++ = ' ';
        end = stpcpy(end, bit.name);
    }
    return buf;
}

// --- Entries ----------------------------------------------------------------------------------------------

template <class Structure, size_t rows>
constexpr StrdefsEntry described(int32_t str_type, const Strdef (&fields)[rows]) {
    return {str_type, sizeof(Structure), fields, rows, nullptr, nullptr};
}

constexpr StrdefsEntry dds_strdefs[] = {
    described<DDS_HEADER>(DDS_TYPE_HEADER, DDS_HEADER_Strdef),
    described<DDS_HEADER10>(DDS_TYPE_HEADER10, DDS_HEADER10_Strdef),
    described<DDS_PIXELFORMAT>(DDS_TYPE_PIXELFORMAT, DDS_PIXELFORMAT_Strdef),
};
static_assert(std::size(dds_strdefs) == 3);

// --- Elements ---------------------------------------------------------------------------------------------

constexpr Element word(Type type) {
    return {static_cast<size_t>(size_of(type)), memory_size_of(type), dds2h4, 0, false, true};
}

constexpr Element structure(Type type, int32_t str_type) {
    return {static_cast<size_t>(size_of(type)), memory_size_of(type), nullptr, str_type, false, true};
}

// --- Printing ---------------------------------------------------------------------------------------------

uint64_t slot(const void *from) {
    uint64_t value;
    memcpy(&value, from, sizeof value);
    return value;
}

int print_number(const Strdef &, const char *, const void *from, int) {
    printf("%lu", static_cast<unsigned long>(slot(from)));
    return 1;
}

int print_pixelformat(const Strdef &, const char *indentation, const void *from, int) {
    Engine::print(indentation, DDS_TYPE_PIXELFORMAT, from);
    return 1;
}

template <char *names(int flags, char *buf)>
int print_flags(const Strdef &, const char *, const void *from, int) {
    std::array<char, 128> buf;
    const uint64_t flags = slot(from);
    printf("0x%lx %s", static_cast<unsigned long>(flags), names(static_cast<int>(flags), buf.data()));
    return 1;
}

int print_characters(const Strdef &, const char *, const void *from, int) {
    const auto *characters = static_cast<const char *>(from);
    printf("%c%c%c%c", characters[0], characters[1], characters[2], characters[3]);
    return 1;
}

// Deliberate: in a row of fixed count a slot is shown at every word, so that neighbouring words run together.
constexpr Shown shown_word(Shown::Print *print) {
    return {10, true, true, 4, 8, print};
}

// Deliberate: a row of fixed count shows its first element again and again.
constexpr Shown shown_structure(Shown::Print *print, ptrdiff_t size) {
    return {10, false, true, 0, size, print};
}

} // namespace

// --- The registry -----------------------------------------------------------------------------------------

const std::span<const StrdefsEntry> Registry::entries = dds_strdefs;

// Deliberate: the types of the DX10 header's first fields are not decoded, so that it is always refused.
const Element *Registry::element(int32_t type) {
    static constexpr Element elements[] = {
        word(dword),
        structure(header, DDS_TYPE_HEADER),
        structure(header10, DDS_TYPE_HEADER10),
        {},
        {},
        structure(pixelformat, DDS_TYPE_PIXELFORMAT),
        word(header_flags),
        word(pixelformat_flags),
        word(four_characters),
        word(capabilities),
    };
    if (type < dword || type > capabilities) return nullptr;
    const Element *element = &elements[type - dword];
    return element->size ? element : nullptr;
}

const Shown *Registry::shown(int32_t type) {
    static constexpr Shown table[] = {
        shown_word(print_number),
        {},
        {},
        {},
        {},
        shown_structure(print_pixelformat, memory_size_of(pixelformat)),
        shown_word(print_flags<dds_get_dds_bitmap>),
        shown_word(print_flags<dds_get_pixelformat_bitmap>),
        shown_word(print_characters),
        shown_word(print_flags<dds_get_ddscaps_bitmap>),
    };
    if (type < dword || type > capabilities) return nullptr;
    const Shown *shown = &table[type - dword];
    return shown->print ? shown : nullptr;
}

// Deliberate: words are written one after the other, not one to a slot.
int dds2h4(void *dest, Stream &stream, uint32_t n, int32_t big_endian) {
    const size_t size = size_t{n} * 4;
    const unsigned char *from = stream.bytes(size);
    if (!from) return -1;
    if (big_endian)
        N2H4(dest, from, static_cast<int>(n));
    else
        memcpy(dest, from, size);
    return 0;
}

} // namespace lindra::dds

// --- Exported ---------------------------------------------------------------------------------------------

using namespace lindra::dds;

int dds_strdefs_init(void) {
    return Engine::init();
}

int dds_unstuff_stream(int str_type, void **out, unsigned char *base, unsigned char **pos) {
    lindra::Source source(base, pos);
    return Engine::unstuff(str_type, out, source);
}

const char *dds_get_type(int code) {
    return lindra::name_of(DDS_Codedef, static_cast<uint32_t>(code), "Unknown");
}

const char *dds_get_word_type(int code) {
    return lindra::name_of(DDSTYPE_Codedef, static_cast<uint32_t>(code), "Unknown");
}

char *dds_get_dds_bitmap(int flags, char *buf) {
    return names_of_bits(DDSDBITMAP_Codedef, flags, buf);
}

char *dds_get_pixelformat_bitmap(int flags, char *buf) {
    return names_of_bits(DDPFBITMAP_Codedef, flags, buf);
}

char *dds_get_ddscaps_bitmap(int flags, char *buf) {
    return names_of_bits(DDSCAPSBITMAP_Codedef, flags, buf);
}
