// SPDX-License-Identifier: MIT
//
// `lindra texture`: the images of a texture as PNG files, or all of them on a sheet.

#include "subcommands.hpp"

#include "common/counted.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "common/presence.hpp"
#include "common/progress.hpp"
#include "common/standard_error.hpp"
#include "texture/image_filter.hpp"
#include "texture/png_file.hpp"
#include "texture/sheet.hpp"

#include "lindra/lindra.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <strings.h>
#include <system_error>
#include <tuple>
#include <vector>

namespace lindra::tools {

namespace {

constexpr const char *footer =
    R"(Textures of the formats DXT1 to DXT5 are read, and those of plain pixels with
8 to 32 bits; DX10 headers that name one of these, cube maps, arrays and
volumes, whether or not the header counts their levels. DXT1 gives no
transparent pixels: what other programs may show as transparent is black.

Without a choice the first image is written: the largest level of the first
face. With 'all' there is a file for each, its number in the name where there
are several: brick-level0.png, brick-level1.png. A file that is there already
is replaced when -o names it. Colours are written as they stand in the
file; in those of DXT2 and DXT4 they are multiplied with alpha already.

Faces of a cube: 0 +x, 1 -x, 2 +y, 3 -y, 4 +z, 5 -z.

A sheet shows every image of the choice, all where there is none, in a square
of its own: the levels side by side, a row for each face, array element or
slice. Small ones are enlarged, large ones reduced. Colours are shown without
alpha, which, where the format has it, is a row of greys under them.

Exit status: 0; 1 when the file is missing, damaged or of no known format, or
cut where all of something is asked for (what there is is written);
2 for wrong arguments.

Examples:
  lindra texture brick.dds
      the largest image, as brick.png
  lindra texture brick.dds --level all -o levels/brick.png
      a file for each level: levels/brick-level0.png and so on
  lindra texture sky.dds --face 4 -o front.png
      one face of a cube map
  lindra texture brick.dds --sheet -o sheet.png
      all levels on one page)";

struct Options {
    std::string file;
    std::string output;
    ImageChoice choice;
    bool sheet = false;
};

std::string size_of(const texture_image &image) {
    return std::to_string(image.width) + " x " + std::to_string(image.height);
}

// In the directory where the command is run, named after the texture.
std::string usual_output(const Options &options) {
    const std::string stem = std::filesystem::path(options.file).stem().string();
    return stem + (options.sheet ? "-sheet.png" : ".png");
}

std::string output_of(const Options &options) {
    std::string output = options.output.empty() ? usual_output(options) : options.output;
    if (strcasecmp(std::filesystem::path(output).extension().c_str(), ".png") != 0)
        throw UsageError("images are written as PNG, and '" + output + "' does not end in .png");
    return output;
}

std::string with_suffix(const std::string &output, const std::string &suffix) {
    std::filesystem::path path(output);
    path.replace_filename(path.stem().string() + suffix + path.extension().string());
    return path.string();
}

// A picture never takes the place of the texture, nor of a file that the user has not named.
void check_place(const std::string &path, const Options &options) {
    std::error_code none;
    if (std::filesystem::equivalent(path, options.file, none))
        throw UsageError(path + " is the texture itself; name another file with -o");
    if (options.output.empty() && is_there(path))
        throw UsageError(path + " exists; name it with -o to have it replaced");
}

PixelImage expanded(const texture &file, const texture_image &image) {
    return {image.width, image.height, file.expand(image)};
}

[[noreturn]] void refuse_absent(const Options &options) {
    throw DataError(options.file +
                    " holds no such image: it is cut before it, its cube lacks the face, or its "
                    "level has fewer slices; `lindra texture --sheet` shows those that are there");
}

uint64_t images_told(const texture &file) {
    uint64_t slices = 0;
    for (uint32_t level = 0; level < file.levels(); level++)
        slices += std::max(1U, file.depth() >> level);
    return slices * file.faces() * file.elements();
}

// Where all of something was asked for, a file that is cut has failed, though what there is was written.
void require_whole(const texture &file, const Options &options) {
    const ImageChoice &choice = options.choice;
    const bool asks_for_all = options.sheet || choice.element == "all" || choice.face == "all" ||
                              choice.level == "all" || choice.slice == "all";
    if (asks_for_all && file.images().size() < images_told(file))
        throw DataError(options.file + " is cut: " + std::to_string(file.images().size()) + " of " +
                        std::to_string(images_told(file)) + " images are there; copy it anew");
}

// Looked at before the pixels are expanded, which can be gigabytes.
void require_side_of_png(const texture &file, const texture_image &image, const Options &options) {
    const auto fits = [&](uint32_t levels_down) {
        return std::max(image.width, image.height) >> levels_down <= longest_side_of_png;
    };
    if (fits(0)) return;
    uint32_t smaller = 1;
    while (!fits(smaller))
        smaller++;
    const uint32_t level = image.level + smaller;
    throw DataError(options.file + ": level " + std::to_string(image.level) + " is " + size_of(image) +
                    " pixels, and a PNG file has at most " + std::to_string(longest_side_of_png) +
                    " to a side; " +
                    (level < file.levels() ? "ask for --level " + std::to_string(level) + ", or " : "") +
                    "see it reduced with --sheet");
}

// --- Files ------------------------------------------------------------------------------------------------

void write_images(const texture &file, const Options &options) {
    const std::string output = output_of(options);
    const ImageFilter filter(file, options.choice, ImageFilter::first);
    size_t written = 0;
    for (const texture_image &image : file.images()) {
        if (!filter.takes(image)) continue;
        const std::string path = with_suffix(output, filter.suffix(image));
        check_place(path, options);
        require_side_of_png(file, image, options);
        write_png(expanded(file, image), path);
        tell(path + ": " + size_of(image));
        written++;
    }
    if (written == 0) refuse_absent(options);
    require_whole(file, options);
}

// --- The sheet --------------------------------------------------------------------------------------------

// The places of the images of the choice: a row for each element, face and slice, a column for each level.
class Places {
  public:
    Places(const texture &file, const ImageFilter &filter) : rows_for_each_(file.has_alpha() ? 2 : 1) {
        for (const texture_image &image : file.images()) {
            if (!filter.takes(image)) continue;
            rows_.insert(row_key(image));
            columns_.insert(image.level);
            if (rows() > Sheet::most_rows)
                throw UsageError("a sheet has " + std::to_string(Sheet::most_rows) +
                                 " rows at most; choose with --element, --face or --slice");
        }
    }

    int rows() const { return static_cast<int>(rows_.size()) * rows_for_each_; }
    int columns() const { return static_cast<int>(columns_.size()); }
    int row(const texture_image &image) const { return place(rows_, row_key(image)) * rows_for_each_; }
    int column(const texture_image &image) const { return place(columns_, image.level); }

  private:
    using Key = std::tuple<uint32_t, uint32_t, uint32_t>;

    static Key row_key(const texture_image &image) { return {image.element, image.face, image.slice}; }

    template <class Value>
    static int place(const std::set<Value> &set, const Value &value) {
        return static_cast<int>(std::distance(set.begin(), set.find(value)));
    }

    int rows_for_each_; // colours, and alpha
    std::set<Key> rows_;
    std::set<uint32_t> columns_;
};

std::string caption(const texture &file, const texture_image &image) {
    std::string text;
    if (file.elements() > 1) text += "element " + std::to_string(image.element) + ", ";
    if (file.faces() > 1) text += "face " + std::to_string(image.face) + ", ";
    if (file.depth() > 1) text += "slice " + std::to_string(image.slice) + ", ";
    return text + "level " + std::to_string(image.level) + ": " + size_of(image);
}

PixelImage greys_of_alpha(PixelImage image) {
    for (uint32_t &pixel : image.pixels)
        pixel = (pixel >> 24) * 0x010101;
    return image;
}

void write_sheet(const texture &file, const Options &options) {
    const std::string output = output_of(options);
    const ImageFilter filter(file, options.choice, ImageFilter::all);
    const Places places(file, filter);
    if (places.rows() == 0) refuse_absent(options);
    Sheet sheet(places.columns(), places.rows());
    Progress progress("drawing", static_cast<double>(file.images().size()));
    double done = 0;
    for (const texture_image &image : file.images()) {
        progress.update(done++);
        if (!filter.takes(image)) continue;
        const PixelImage pixels = expanded(file, image);
        sheet.add(places.column(image), places.row(image), pixels, caption(file, image));
        if (file.has_alpha())
            sheet.add(places.column(image), places.row(image) + 1, greys_of_alpha(pixels), "alpha");
    }
    check_place(output, options);
    sheet.write(output);
    progress.hide();
    tell(output + ": " + counted(places.columns(), "level") + ", " + counted(places.rows(), "row"));
    require_whole(file, options);
}

void show_texture(const Options &options) {
    require_readable(options.file);
    try {
        const texture file(options.file, {[](const repair &told) {
                               tell(told.file + ": byte " + std::to_string(told.offset) + ": " + told.text);
                           }});
        if (options.sheet)
            write_sheet(file, options);
        else
            write_images(file, options);
    } catch (const error &reason) {
        throw DataError(reason.what());
    }
}

} // namespace

void add_texture(CommandLine &program) {
    const auto options = std::make_shared<Options>();
    const Subcommand command = program.add("texture", "Write the images of a DDS texture as PNG.");
    command.add("FILE", options->file, "", "The texture").required();
    command.add("-o,--output", options->output, "FILE",
                "The picture; without it NAME.png in this\n"
                "directory, of a sheet NAME-sheet.png");
    command.add("--level", options->choice.level, "K|all", "0 is the largest");
    command.add("--face", options->choice.face, "K|all", "Of a cube map, see below");
    command.add("--element", options->choice.element, "K|all", "Of an array, from 0");
    command.add("--slice", options->choice.slice, "K|all", "Of a volume, from 0");
    command.add_flag("--sheet", options->sheet, "Write one picture of all images");
    command.footer(footer);
    command.action([options] { show_texture(*options); });
}

} // namespace lindra::tools
