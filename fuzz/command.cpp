// SPDX-License-Identifier: MIT
//
// The command as a user meets it, over damaged files of every kind that it reads. The first byte of the input
// chooses the file that it is and the command lines that are run over it. Whatever the file holds, a run ends
// with 0 or 1; when it failed it has said so, with the name of a file that is at fault; it leaves nothing
// half-written, and what it has imported can be read.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/steps.hpp"

#include "binned_file_maker.hpp"
#include "classic_file_maker.hpp"
#include "gmt_builder.hpp"
#include "gshhs_builder.hpp"
#include "index_database.hpp"
#include "run_command.hpp"
#include "shapefile_files.hpp"
#include "texture_builder.hpp"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <unistd.h>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

namespace fs = std::filesystem;

// --- What is run ---

struct Run {
    std::string line;
    const char *output;     // its stem and ending begin and end the names of all files that the run may make
    bool is_all_or_nothing; // whether a run that failed leaves no output
    bool reads_back =
        false; // whether it reads what the run before it made in out, and must succeed when that did
};

// What a run may take beside what its file accounts for.
struct Allowance {
    size_t heap;
    uint64_t steps;
};

// Every run makes the options of all commands anew.
constexpr uint64_t steps_for_each_byte = 1000;
constexpr Allowance text = {2 << 20, 700'000};
constexpr Allowance picture = {memory_of_picture, 4'000'000};
constexpr Allowance database = {text.heap + memory_of_sqlite, 700'000};

struct Scenario {
    std::string file;               // the one that the input is, or of_every_type
    std::vector<const char *> told; // a run that fails names one of these
    std::vector<Run> runs;
    Allowance allowance = text;
};

std::string draw(const std::string &shapes) {
    return "draw " + shapes + " -o out/map.png --size 48x --style text=none --layers coast --resolution c";
}

// There is a fixture for each shape type.
constexpr const char *of_every_type = "shapes.shp";

const std::vector<Scenario> &scenarios() {
    static const Run dump_stem = {"dump points", "", true};
    static const Run index = {"index points.shp -o out/made.db", "out/made.db", false};
    static const Run fetch = {"fetch out/made.db --format geojson -o out/all.json", "out/all.json", false};
    static const std::vector<Scenario> all = {
        // Of a file without shapes no index is left for the fetch.
        {"points.shp",
         {"points", "made.db"},
         {{"dump points.shp", "", true},
          {"dump --json points.shp", "", true},
          dump_stem,
          index,
          fetch,
          {"fetch out/made.db", "", true}}},
        {"points.dbf",
         {"points"},
         {{"dump points.dbf", "", true}, {"dump --json points.dbf", "", true}, dump_stem, index, fetch}},
        {"points.shx", {"points"}, {dump_stem, index, fetch}},
        {"points.shp", {"points"}, {{draw("points.shp"), "out/map.png", true}}, picture},
        {"points.prj", {"points"}, {{draw("points.shp"), "out/map.png", true}}, picture},
        {"brick.dds",
         {"brick"},
         {{"dump brick.dds", "", true},
          {"dump --json brick.dds", "", true},
          {"texture brick.dds -o out/brick.png", "out/brick.png", true},
          {"texture brick.dds --level all -o out/level.png", "out/level.png", false}}},
        {"brick.dds",
         {"brick"},
         {{"texture brick.dds --sheet -o out/sheet.png", "out/sheet.png", false}},
         picture},
        {"shapes.db",
         {"shapes.db", "points", "lindra: /"}, // the last: whatever it calls the shapefile, in full
         {{"fetch shapes.db", "", true},
          {"fetch shapes.db --format geojson -o out/all.json", "out/all.json", false}},
         database},
        {"maps/lindra/gshhs_c.b",
         {"gshhs_c.b"},
         {{"segments --resolution c -o out/coast.txt", "out/coast.txt", true},
          {"segments --resolution c --format geojson -o out/coast.json", "out/coast.json", true}}},
        {"maps/lindra/gshhs_c.b",
         {"gshhs_c.b"},
         {{"draw -o out/map.png --size 48x --style text=none --resolution c --layers land,lakes,coast",
           "out/map.png", true}},
         picture},
        {"maps/lindra/binned_border_c.cdf",
         {"binned_border_c.cdf"},
         {{"dump maps/lindra/binned_border_c.cdf", "", true},
          {"dump --json maps/lindra/binned_border_c.cdf", "", true},
          {"segments --resolution c --layers borders,rivers -o out/lines.txt", "out/lines.txt", true}}},
        {"lines/binned_border_c.nc",
         {"binned_border_c.nc"},
         {{"import lines -o out", "binned_border_c.cdf", true},
          {"segments --resolution c --layers borders -o out/lines.txt", "out/lines.txt", true, true}}},
        {"coast/binned_GSHHS_c.nc",
         {"binned_GSHHS_c.nc"},
         {{"import coast -o out", "gshhs_c.b", true},
          {"segments --resolution c -o out/coast.txt", "out/coast.txt", true, true}}},
        {of_every_type,
         {"shapes.shp", "made.db"},
         {{"dump shapes.shp", "", true},
          {"dump --json shapes.shp", "", true},
          {"index shapes.shp -o out/made.db", "out/made.db", false},
          fetch,
          {"fetch out/made.db", "", true}}},
        {of_every_type, {"shapes.shp"}, {{draw(of_every_type), "out/map.png", true}}, picture},
    };
    return all;
}

// --- The files, undamaged ---

// Two bins, and a triangle in one of them.
std::string coast_to_import() {
    BinnedFileMaker maker(2, 1);
    maker.add({.ring = {maker.at(12, 6), maker.at(24, 6), maker.at(24, 18)}});
    return classic_file(maker.variables());
}

std::string line_file() {
    return BinnedFile{
        2, 1, {{0, {{1, {{0, 0}, {9999, 20000}, {65535, 65535}}}}}, {1, {{1, {{5, 5}, {9, 9}}}}}}}
        .bytes();
}

std::string main_file_with(const std::string &shape) {
    return main_file_of(SHAPE_POLYGON, {shape});
}

std::string polygon() {
    return path_shape(SHAPE_POLYGON, {{{1, 1}, {1, 9}, {9, 9}, {1, 1}}});
}

std::map<std::string, std::string> good_files() {
    using namespace dds;
    const std::string shp = main_file_with(polygon());
    return {{"points.shp", shp},
            {"points.shx", index_file(SHAPE_POLYGON, {{100, shp.size() - 108}})},
            {"points.dbf", table_file({{"NAME", 'C', 4}, {"N", 'N', 3}}, {" Bonn 12"})},
            {"points.prj", R"(GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],)"
                           R"(PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]])"},
            {"brick.dds", Texture{.width = 4, .height = 4, .levels = 2}.file()},
            {of_every_type, main_file_with(polygon())},
            {"shapes.db", small_index("points.shp")},
            {"maps/lindra/gshhs_c.b", file_of({square(5, 45, 20), square(10, 50, 5, 2)})},
            {"maps/lindra/binned_border_c.cdf", line_file()},
            {"maps/lindra/binned_river_c.cdf", line_file()},
            {"lines/binned_border_c.nc", line_file()},
            {"coast/binned_GSHHS_c.nc", coast_to_import()}};
}

// What is drawn is damaged behind the header, of which drawing sees the same with every type.
void add_every_type(std::vector<Fixture> &all, size_t scenario, bool is_drawn) {
    const std::string head(1, static_cast<char>(scenario));
    for (const auto &[type, name] : shp::types) {
        const std::string file = shp::file(type, {shp::record(1, shp::shape(type))});
        const size_t kept = is_drawn ? 100 : 0;
        all.push_back({std::to_string(scenario) + "-" + name + ".shp", file.substr(kept),
                       behind(head + file.substr(0, kept))});
    }
}

std::vector<Fixture> all_fixtures() {
    std::vector<Fixture> all;
    const auto good = good_files();
    for (size_t i = 0; i < scenarios().size(); i++) {
        const Scenario &scenario = scenarios()[i];
        if (scenario.file == of_every_type) {
            add_every_type(all, i, scenario.allowance.heap == picture.heap);
            continue;
        }
        const std::string name = std::to_string(i) + "-" + fs::path(scenario.file).filename().string();
        all.push_back({name, good.at(scenario.file), behind({static_cast<char>(i)})});
    }
    return all;
}

std::string model(Random &random) {
    static const std::vector<Fixture> all = all_fixtures();
    const Fixture &fixture = all[random.below(static_cast<unsigned>(all.size()))];
    return fixture.input(fixture.file);
}

// --- Running ---

// The directory that the command is run in, with all files undamaged but one.
class Place {
  public:
    Place() {
        for (const auto &[name, bytes] : files_)
            directory_.write(name, bytes);
        fs::create_directory(directory_.path() / "out");
        for (const char *variable : {"XDG_DATA_HOME", "HOME"})
            setenv(variable, directory_.path().c_str(), 1);
        expect(chdir(directory_.path().c_str()) == 0, "chdir");
    }

    // Where a run finds the library's data files.
    void find_data_for(const Run &run) const {
        const fs::path data = run.reads_back ? directory_.path() / "out" : directory_.path();
        setenv("LINDRA_DATA", data.c_str(), 1);
    }

    void damage(const std::string &name, Bytes bytes) {
        if (!damaged_.empty() && damaged_ != name) directory_.write(damaged_, files_.at(damaged_));
        damaged_ = name;
        directory_.write(name, text_of(bytes));
    }

  private:
    std::map<std::string, std::string> files_ = good_files();
    std::string damaged_;
    TemporaryDirectory directory_;
};

struct Result : Ended {
    const Run &run;
};

Result execute(const Run &run) {
    std::istringstream words(run.line);
    return {run_command({std::istream_iterator<std::string>(words), {}}), run};
}

// --- What is claimed ---

void claim(bool holds, const char *promise, const Result &result) {
    result.claim(holds, promise, result.run.line);
}

void check_messages(const Scenario &scenario, const Result &result) {
    result.check(result.run.line);
    const auto is_told = [&](const char *name) { return result.said.find(name) != std::string::npos; };
    claim(result.code == 0 || std::ranges::any_of(scenario.told, is_told), "a run that fails names the file",
          result);
}

bool is_output(const fs::path &file, const fs::path &output) {
    const std::string name = file.filename().string();
    return name.starts_with(output.stem().string()) && name.ends_with(output.extension().string());
}

// What other runs of the scenario have made may be there too.
void check_outputs(const Scenario &scenario, const Result &result) {
    const bool may_leave = result.code == 0 || !result.run.is_all_or_nothing;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator("out")) {
        if (entry.is_directory()) continue;
        const auto made_it = [&](const Run &run) {
            return *run.output && is_output(entry.path(), run.output);
        };
        claim(std::ranges::any_of(scenario.runs, made_it), "no file is left but the output", result);
        claim(may_leave || !made_it(result.run), "a run that failed leaves no output", result);
    }
}

void clear_outputs() {
    for (const fs::directory_entry &entry : fs::directory_iterator("out"))
        fs::remove_all(entry.path());
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    return all_fixtures();
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static Place place;
    Parameters parameters({data, size});
    const Scenario &scenario = scenarios()[parameters.byte() % scenarios().size()];
    place.damage(scenario.file, parameters.rest());
    const HeapLimit limit(size, scenario.allowance.heap);
    const StepLimit steps(size, steps_for_each_byte, scenario.allowance.steps);
    bool is_good = true;
    for (const Run &each : scenario.runs) {
        if (each.reads_back && !is_good) continue;
        place.find_data_for(each);
        const Result result = execute(each);
        is_good = is_good && result.code == 0;
        claim(result.code != 2, "no file makes a command line wrong", result);
        claim(result.code == 0 || !each.reads_back, "what a run has made can be read", result);
        check_messages(scenario, result);
        check_outputs(scenario, result);
    }
    clear_outputs();
    if (is_good) accept();
    return 0;
}
