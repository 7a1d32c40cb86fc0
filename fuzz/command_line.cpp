// SPDX-License-Identifier: MIT
//
// Whole command lines: each line of the input is an argument. They are run in a directory that holds a small
// file of every kind, and no map data, so that no map is drawn. Whatever the arguments are, a run ends with
// 0, 1 or 2, and what it says is the command's own; one that refuses its arguments has written nothing.

#include "harness/expect.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/model.hpp"

#include "dbase_builder.hpp"
#include "index_database.hpp"
#include "netcdf_builder.hpp"
#include "run_command.hpp"
#include "shapefile_files.hpp"
#include "temporary_directory.hpp"
#include "texture_builder.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <unistd.h>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

namespace fs = std::filesystem;

// --- Model ---

constexpr const char *commands[] = {"draw",  "segments", "dump",   "import",    "index",
                                    "fetch", "texture",  "--help", "--version", "nothing"};

constexpr const char *options[] = {
    "-o",         "--output", "--window", "--projection", "--center", "--centre",  "--resolution",
    "--layers",   "--size",   "--style",  "--title",      "--format", "--where",   "--id",
    "--encoding", "--level",  "--face",   "--element",    "--slice",  "--sheet",   "--json",
    "-q",         "--quiet",  "--help",   "--",           "-",        "--windows", "-x"};

constexpr const char *values[] = {
    // files
    "points.shp", "points", "points.dbf", "brick.dds", "shapes.db", "lines.cdf", "absent", ".", "made.png",
    "made.svg", "made.pdf", "made.json", "made.db", "absent.png",
    // windows and centres
    "0/10/0/10", "170/-170/-50/-10", "-180/180/-90/90", "1/2/3", "20/5", "0/90", "1000/0", "1e308/1e308",
    // names
    "plate-carree", "merc", "robin", "ortho", "laea", "stere", "aeqd", "eqc", "c", "full", "auto", "x",
    "coast", "land,lakes", "borders:national", "rivers:1-2", "night,coast=gold", "text-size=1e9", "text",
    "geojson", "geojsonseq", "UTF-8", "CP1252", "no such encoding",
    // numbers
    "all", "0", "1", "-1", "2", "4294967296", "99999999999999999999", "1,2,1", "1,", "1x1", "48x", "x48",
    "0x", "20001x1", "1200x800", "x",
    // expressions and what is nothing
    "1", "NAME LIKE 'B%'", "(", "", " ", "\xff", "=", "\t"};

std::string model(Random &random) {
    std::string text = random.one_of(commands);
    for (unsigned count = random.below(7); count > 0; count--) {
        text += '\n';
        if (!random.one_in(4)) text += std::string(random.one_of(options)) + (random.one_in(4) ? '=' : '\n');
        text += random.one_of(values);
    }
    return text;
}

// --- The place ---

std::map<std::string, std::string> good_files() {
    return {{"points.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4)})},
            {"points.shx", index_file(SHAPE_POINT, {{100, 20}, {128, 20}})},
            {"points.dbf", table_file({{"NAME", 'C', 4}}, {" Bonn", " K\xf6ln"})},
            {"brick.dds", dds::Texture{.width = 4, .height = 4, .levels = 2}.file()},
            {"shapes.db", small_tree("points.shp")},
            {"lines.cdf", rich_header().bytes()}};
}

// The directory that everything is run in.
class Place {
  public:
    Place() {
        for (const char *variable : {"XDG_DATA_HOME", "XDG_DATA_DIRS", "HOME", "LINDRA_DATA"})
            setenv(variable, directory_.path().c_str(), 1);
        expect(chdir(directory_.path().c_str()) == 0, "chdir");
    }

    // As it was in the beginning.
    void restore() const {
        for (const fs::directory_entry &entry : fs::directory_iterator(directory_.path()))
            fs::remove_all(entry.path());
        for (const auto &[name, bytes] : files_)
            directory_.write(name, bytes);
    }

    bool is_untouched() const {
        size_t count = 0;
        for (const fs::directory_entry &entry : fs::directory_iterator(directory_.path())) {
            const auto found = files_.find(entry.path().filename().string());
            if (found == files_.end() || entry.file_size() != found->second.size()) return false;
            count++;
        }
        return count == files_.size();
    }

  private:
    std::map<std::string, std::string> files_ = good_files();
    TemporaryDirectory directory_;
};

// A slash stands behind a digit, as in windows, and no two dots follow one another: then no argument is, or
// holds, a path that leads out of the directory.
bool stays_inside(std::string_view argument) {
    for (size_t i = 0; i < argument.size(); i++)
        if (argument[i] == '/' && (i == 0 || !isdigit(static_cast<unsigned char>(argument[i - 1]))))
            return false;
    return argument.find("..") == argument.npos;
}

// An argument ends at its first zero byte.
std::vector<std::string> arguments_of(std::string_view text) {
    std::vector<std::string> all;
    for (size_t end = 0; end != text.npos; text.remove_prefix(std::min(end + 1, text.size()))) {
        end = text.find('\n');
        all.emplace_back(std::string(text.substr(0, end)).c_str());
        if (end == text.npos) break;
    }
    return all;
}

// For people.
std::string line_of(const std::vector<std::string> &arguments) {
    std::string line;
    for (const std::string &argument : arguments)
        line += '\'' + argument + "' ";
    return line;
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const Place place;
    const std::vector<std::string> arguments = arguments_of(text_of({data, size}));
    if (!std::ranges::all_of(arguments, stays_inside)) return 0;
    place.restore();
    const HeapLimit limit(size, memory_of_picture);
    const Ended ended = run_command(arguments);
    const HeapPause pause;
    const std::string line = line_of(arguments);
    ended.check(line);
    if (ended.code == 2) {
        ended.claim(std::ranges::count(ended.said, '\n') == 1, "wrong arguments are refused in one line",
                    line);
        ended.claim(place.is_untouched(), "wrong arguments leave everything as it was", line);
    }
    return 0;
}
