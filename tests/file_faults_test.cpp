// SPDX-License-Identifier: MIT
//
// Files that another process cuts while the command reads them, and files that are no files.

#include "command.hpp"
#include "cut_files.hpp"
#include "gshhs_builder.hpp"
#include "shapefile_files.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/input_file.hpp"
#include "common/output_file.hpp"
#include "program.hpp"
#include "shapes/file_stamp.hpp"
#include "shapes/index_writer.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <regex>
#include <sys/mman.h>
#include <sys/stat.h>

// The file that is cut, and how much of it stays: when the command has mapped it, or when it takes the first
// line of a map from it.
static std::string cut_when_mapped, cut_when_walked;
static uint64_t cut_to = 0;

static void cut(std::string &path) {
    if (truncate(path.c_str(), static_cast<off_t>(cut_to)) != 0) abort();
    path.clear();
}

extern "C" {
decltype(mapfile) __real_mapfile;
decltype(gshhsmap_nextseg) __real_gshhsmap_nextseg;
decltype(gmtmap_nextseg) __real_gmtmap_nextseg;

int64_t __wrap_mapfile(const char *path, Arr **cache, char **data) {
    const int64_t size = __real_mapfile(path, cache, data);
    if (cut_when_mapped == path) cut(cut_when_mapped);
    return size;
}
int __wrap_gshhsmap_nextseg(GshhsMap *map, int *count, int *room, float **lon, float **lat, char *type,
                            int *level, int *inside) {
    if (!cut_when_walked.empty()) cut(cut_when_walked);
    return __real_gshhsmap_nextseg(map, count, room, lon, lat, type, level, inside);
}

int __wrap_gmtmap_nextseg(GmtMap *map, int *count, int *room, float **lon, float **lat, char *type,
                          int *level) {
    if (!cut_when_walked.empty()) cut(cut_when_walked);
    return __real_gmtmap_nextseg(map, count, room, lon, lat, type, level);
}
}

namespace lindra::test {
namespace {

using tools::DataError;

class FileFaults : public testing::Test {
  protected:
    TemporaryDirectory directory;

    std::string path(const std::string &name) const { return (directory.path() / name).string(); }

    // That the file changed, at a byte from there on, and nothing else.
    static void expect_complaint(const Result &result, const std::string &file, uint64_t from) {
        EXPECT_EQ(result.code, 1);
        const std::string begin = "lindra: " + file + " changed while it was read (byte ";
        ASSERT_TRUE(result.errors.starts_with(begin)) << result.errors;
        size_t digits = 0;
        EXPECT_GE(std::stoull(result.errors.substr(begin.size()), &digits), from);
        EXPECT_EQ(result.errors.substr(begin.size() + digits), "); run the command again\n");
    }
};

// The command, running until its standard output is read.
class RunningCommand {
  public:
    explicit RunningCommand(const std::string &arguments)
        : errors_((scratch_.path() / "errors").string()),
          output_(
              popen((std::string(LINDRA_COMMAND_PATH) + " " + arguments + " 2>" + errors_).c_str(), "r")) {
        if (!output_) throw std::runtime_error("popen failed");
    }

    // Returns when the command has begun to write.
    void read_byte() { text_ += static_cast<char>(fgetc(output_)); }

    Result finish() {
        for (int c; (c = fgetc(output_)) != EOF;)
            text_ += static_cast<char>(c);
        const int status = pclose(output_);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_, read_file(errors_)};
    }

  private:
    TemporaryDirectory scratch_;
    std::string errors_;
    FILE *output_;
    std::string text_;
};

// The command in a process of the test's own, in which the calls above are replaced.
Result run_here(std::vector<std::string> words) {
    const TemporaryDirectory scratch;
    const std::string output = (scratch.path() / "output").string();
    const std::string errors = (scratch.path() / "errors").string();
    words.insert(words.begin(), "lindra");
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!freopen(output.c_str(), "w", stdout) || !freopen(errors.c_str(), "w", stderr)) _exit(99);
        const int code = tools::run_program(static_cast<int>(arguments.size()), arguments.data());
        fflush(nullptr);
        _exit(code);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(output), read_file(errors)};
}

// Files of every kind that are large enough to be mapped. Most of each is passed over, so that it is read
// fast.

std::string write_large_lines(const TemporaryDirectory &directory, size_t lines) {
    std::vector<std::string> shapes(lines, path_shape(SHAPE_POLYLINE, {Path(4'000, {1.0, 2.0})}));
    shapes.push_back(large_null_shape());
    return directory.write("large.shp", main_file_of(SHAPE_POLYLINE, shapes));
}

// The rest belongs to no record: a null shape that is gone would be read as two million records of nothing.
std::string write_large_shapefile(const TemporaryDirectory &directory) {
    const std::string line = path_shape(SHAPE_POLYLINE, {Path(4'000, {1.0, 2.0})});
    const std::string main = directory.write("large.shp", main_file_of(SHAPE_POLYLINE, {line}));
    std::filesystem::resize_file(main, 17 * megabyte);
    return main;
}

std::string write_large_table(const TemporaryDirectory &directory) {
    const std::vector<std::string> rows(1'000, " a row" + std::string(4, ' '));
    const std::string table = directory.write("large.dbf", table_file({{"NAME", 'C', 9}}, rows));
    std::filesystem::resize_file(table, 17 * megabyte);
    return table;
}

// What is behind the first polygon lies elsewhere.
std::string write_large_coast(const TemporaryDirectory &directory) {
    RawPolygon near = square(10, 10), far = square(100, 10);
    near.n = 10'000;
    far.n = 2'200'000;
    const uint64_t begin_of_far = near.header().size() + 8 * uint64_t{10'000};
    const std::string coast = directory.write("maps/lindra/gshhs_c.b", near.bytes());
    std::filesystem::resize_file(coast, begin_of_far + far.header().size() + 8 * uint64_t{2'200'000});
    write_at(coast, begin_of_far, far.bytes());
    return coast;
}

// Behind the last value of a binned file may be anything.
std::string write_large_rivers(const TemporaryDirectory &directory) {
    const std::string rivers = directory.write("maps/lindra/binned_river_c.cdf",
                                               read_file(LINDRA_TEST_DATA "/maps/lindra/binned_river_c.cdf"));
    std::filesystem::resize_file(rivers, 17 * megabyte);
    return rivers;
}

constexpr const char *window_of_maps = "5/15/5/15";
constexpr std::pair<std::string (*)(const TemporaryDirectory &), const char *> large_maps[] = {
    {write_large_coast, "coast"}, {write_large_rivers, "rivers"}};

// A FIFO that holds one page: who writes more waits until it is read.
class SlowReader {
  public:
    explicit SlowReader(const std::string &path) {
        if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("mkfifo failed");
        descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        fcntl(descriptor_, F_SETPIPE_SZ, static_cast<int>(page));
    }
    ~SlowReader() { close(descriptor_); }
    SlowReader(const SlowReader &) = delete;
    SlowReader &operator=(const SlowReader &) = delete;

    // Returns when something is written.
    void wait() const {
        pollfd state = {descriptor_, POLLIN, 0};
        if (poll(&state, 1, -1) != 1) throw std::runtime_error("poll failed");
    }

    std::string read_all() const {
        fcntl(descriptor_, F_SETFL, 0);
        std::string all;
        char block[page];
        for (ssize_t got; (got = read(descriptor_, block, sizeof block)) > 0;)
            all.append(block, static_cast<size_t>(got));
        return all;
    }

  private:
    int descriptor_;
};

// --- The command ------------------------------------------------------------------------------------------

TEST_F(FileFaults, coastline_cut_while_it_is_exported_is_an_error) {
    const Environment data("LINDRA_DATA", directory.path().c_str());
    std::vector<RawPolygon> polygons;
    for (int i = 0; i < 220'000; i++)
        polygons.push_back(square(1 + i % 350, 1 + i % 80));
    const std::string coast = directory.write("maps/lindra/gshhs_c.b", file_of(polygons));
    ASSERT_GT(std::filesystem::file_size(coast), 17 * megabyte);
    constexpr uint64_t rest = 8 * megabyte;
    RunningCommand command("segments --resolution c");
    command.read_byte(); // a block is larger than the pipe: the command waits until more is read
    Cutter(coast, rest).cut();
    const Result result = command.finish();
    expect_complaint(result, coast, rest);
    EXPECT_FALSE(result.output.empty());
    EXPECT_EQ(result.output.find("\n0 0"), std::string::npos) << "nothing of what is gone is written";
}

TEST_F(FileFaults, file_cut_while_it_is_dumped_is_an_error) {
    for (const auto write : {write_large_shapefile, write_large_table})
        for (const char *form : {"--json", "--"}) {
            const std::string file = write(directory);
            cut_when_mapped = file;
            cut_to = page;
            const Result result = run_here({"dump", form, file});
            expect_complaint(result, file, page);
            EXPECT_EQ(result.output, "");
        }
}

TEST_F(FileFaults, file_emptied_while_its_header_is_dumped_is_an_error) {
    for (const std::string &file : {LargeTexture::write(directory), write_large_rivers(directory)}) {
        cut_when_mapped = file;
        cut_to = 0;
        const Result result = run_here({"dump", file});
        expect_complaint(result, file, 0);
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(FileFaults, map_data_cut_while_it_is_drawn_is_an_error) {
    const Environment data("LINDRA_DATA", directory.path().c_str());
    for (const auto &[write, layer] : large_maps)
        for (const char *ending : {".png", ".svg"}) {
            const std::string file = write(directory), picture = path(layer) + ending;
            cut_when_walked = file;
            cut_to = page;
            const Result result =
                run_here({"draw", "--layers", layer, "--resolution", "c", "--window", window_of_maps,
                          "--style", "text=none", "--size", "200x", "-o", picture});
            expect_complaint(result, file, page);
            EXPECT_FALSE(std::filesystem::exists(picture));
        }
}

TEST_F(FileFaults, shapefile_cut_while_it_is_drawn_is_an_error) {
    const std::string file = LargeShapes::write(directory), picture = path("map.png");
    directory.write("map.png", "before");
    cut_when_mapped = file;
    cut_to = 12 * megabyte;
    const Result result = run_here({"draw", file, "--style", "text=none", "-o", picture});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(std::regex_match(
        result.errors,
        std::regex("lindra: .*large\\.shp: byte [0-9]+: changed while it was read; try again\n")))
        << result.errors;
    EXPECT_EQ(read_file(picture), "before");
}

// What is read then may be old or new; it is read to its end, by all that reads shapes.
TEST_F(FileFaults, file_that_is_overwritten_while_it_is_read_does_no_harm) {
    const std::string main = write_large_lines(directory, 10);
    ASSERT_GT(std::filesystem::file_size(main), 16 * megabyte);
    const std::string database = path("shapes.db");
    ASSERT_EQ(run_lindra("index " + main + " -o " + database).code, 0);
    const Rewriter rewriter(main, 100, std::filesystem::file_size(main) - large_null_shape().size());
    for (const std::string &command : std::vector<std::string>{
             "dump --json " + main, "index " + main + " -o " + path("new.db"),
             "fetch --format geojson " + database, "draw " + main + " -o " + path("map.png")}) {
        const Result result = run_lindra(command);
        EXPECT_TRUE(result.code == 0 || result.code == 1) << command << ": " << result.code;
        EXPECT_TRUE(result.code == 0 || result.errors.starts_with("lindra: ")) << result.errors;
    }
}

// Both of a map: as it is selected and as it is walked.
TEST_F(FileFaults, map_data_that_is_overwritten_while_it_is_drawn_does_no_harm) {
    const Environment data("LINDRA_DATA", directory.path().c_str());
    for (const auto &[write, layer] : large_maps) {
        const std::string file = write(directory), picture = path(layer) + ".png";
        const Rewriter rewriter(file, 0, 400'000);
        for (int round = 0; round < 3; round++) {
            const Result result =
                run_lindra(std::string("draw --resolution c --style text=none --size 200x --layers ") +
                           layer + " -o " + picture);
            EXPECT_TRUE(result.code == 0 || result.code == 1) << result.code;
            EXPECT_EQ(result.code == 0, result.errors.empty()) << result.errors;
            EXPECT_EQ(result.code == 0, std::filesystem::remove(picture));
        }
    }
}

TEST_F(FileFaults, shapefile_cut_while_it_is_fetched_is_an_error) {
    std::vector<std::string> shapes(300, multipoint_shape(Path(4'000, {1.0, 2.0})));
    const std::string main = directory.write("large.shp", main_file_of(SHAPE_MULTIPOINT, shapes));
    ASSERT_GT(std::filesystem::file_size(main), 17 * megabyte);
    const std::string database = path("shapes.db");
    ASSERT_EQ(run_lindra("index " + main + " -o " + database).code, 0);
    constexpr uint64_t rest = 12 * megabyte;
    for (const char *format : {"text", "geojsonseq"}) {
        directory.write("large.shp", main_file_of(SHAPE_MULTIPOINT, shapes));
        RunningCommand command("fetch " + database + " --format " + format);
        command.read_byte();
        Cutter(main, rest).cut();
        const Result result = command.finish();
        EXPECT_EQ(result.output.find("[0,0]"), std::string::npos);
        EXPECT_EQ(result.code, 1) << format;
        // Which byte is missed first is a matter of how far the command had come.
        const std::string begin = "large.shp changed while it was read (byte ";
        const size_t told = result.errors.find(begin);
        ASSERT_NE(told, std::string::npos) << result.errors;
        EXPECT_GE(std::stoull(result.errors.substr(told + begin.size())), rest);
        EXPECT_TRUE(result.errors.ends_with("); run the command again\n")) << result.errors;
    }
}

TEST_F(FileFaults, texture_cut_between_two_pictures_is_an_error) {
    const std::string texture = LargeTexture::write(directory);
    SlowReader first_picture(path("out-face0.png"));
    RunningCommand command("texture " + texture + " --face all -o " + path("out.png"));
    first_picture.wait();
    Cutter(texture, page).cut();
    EXPECT_EQ(first_picture.read_all().substr(1, 3), "PNG");
    const Result result = command.finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(std::regex_search(result.errors, std::regex("large\\.dds: byte [0-9]+: changed while it was "
                                                            "read; try again\n$")))
        << result.errors;
    EXPECT_FALSE(std::filesystem::exists(path("out-face1.png")));
}

TEST_F(FileFaults, index_leaves_out_what_was_cut_and_keeps_the_rest) {
    const std::string main = LargeShapes::write(directory);
    const std::string database = path("shapes.db");
    const auto stamp = tools::stamp_of(main, "");
    ASSERT_TRUE(stamp);
    tools::IndexWriter writer(database);
    Cutter cutter(main, page);
    const shapefile file(main);
    size_t seen = 0;
    const auto look = [&](const shape_record &) {
        if (seen++ == 0) cutter.cut();
    };
    EXPECT_THROW(writer.replace("large.shp", *stamp, file, look), error);
    EXPECT_EQ(seen, LargeShapes::count);
    EXPECT_EQ(writer.shapes(), 0);
    EXPECT_TRUE(writer.files().empty());
}

// --- The watch, each in a process of its own --------------------------------------------------------------

using FileFaultsDeathTest = FileFaults;

// Looks at a byte of a file that is cut, and then calls publish. Says what was thrown.
template <class Publish>
[[noreturn]] void publish_what_is_gone(const std::string &path, Publish publish) {
    tools::watch_files();
    const tools::InputFile file(path);
    Cutter(path, page).cut();
    const volatile unsigned char *bytes = file.data();
    if (bytes[17 * megabyte] != 0 || bytes[5 * page + 7] != 0 || bytes[0] != 'x') _exit(3);
    try {
        publish();
    } catch (const DataError &reason) {
        fprintf(stderr, "%s\n", reason.what());
        _exit(1);
    }
    _exit(0);
}

std::string large_file(const TemporaryDirectory &directory) {
    const std::string path = directory.write("large file", std::string(page, 'x'));
    std::filesystem::resize_file(path, 18 * megabyte);
    return path;
}

TEST_F(FileFaultsDeathTest, file_and_the_first_byte_that_was_gone_are_named) {
    const std::string file = large_file(directory);
    EXPECT_EXIT(publish_what_is_gone(file, [] { tools::require_unchanged_files(); }),
                testing::ExitedWithCode(1),
                "/large file changed while it was read \\(byte 17825792\\); run the command again");
}

TEST_F(FileFaultsDeathTest, output_file_is_not_put_in_place) {
    const std::string file = large_file(directory);
    const std::string output = path("output");
    EXPECT_EXIT(publish_what_is_gone(file,
                                     [&] {
                                         tools::OutputFile out(output);
                                         out.write("made of zeros");
                                         out.commit();
                                     }),
                testing::ExitedWithCode(1), "changed while it was read");
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(FileFaultsDeathTest, fault_in_memory_that_can_be_written_ends_the_process) {
    const std::string file = large_file(directory);
    EXPECT_EXIT(
        {
            tools::watch_files();
            const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
            auto *bytes = static_cast<volatile char *>(
                mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0));
            Cutter(file, page).cut();
            bytes[page] = 'y';
        },
        testing::KilledBySignal(SIGBUS), "");
}

TEST_F(FileFaults, nothing_changed_is_no_complaint) {
    const std::string file = large_file(directory);
    const tools::InputFile input(file);
    EXPECT_EQ(input.data()[0], 'x');
    EXPECT_NO_THROW(tools::require_unchanged_files());
}

// --- Files that are no files ------------------------------------------------------------------------------

class SpecialFileCommand : public FileFaults, public testing::WithParamInterface<const char *> {
  protected:
    std::string make(const std::string &name) const {
        const std::string kind = GetParam();
        const std::string at = path(name);
        std::filesystem::create_directories(std::filesystem::path(at).parent_path());
        if (kind == "fifo")
            EXPECT_EQ(mkfifo(at.c_str(), 0600), 0);
        else if (kind == "directory")
            std::filesystem::create_directory(at);
        else if (kind == "loop")
            std::filesystem::create_symlink(at, at);
        else
            std::filesystem::create_symlink(kind, at);
        return at;
    }

    // What an index is called, to which links are followed; of the directory of a process, only the end.
    static std::string followed(const std::string &path) {
        const std::string kind = GetParam();
        if (kind == "/proc/self/maps") return "/maps";
        return kind == "/dev/zero" ? kind : path;
    }

    // One complaint that names the file, and no output.
    static void expect_refusal(const std::string &arguments, const std::string &file) {
        const Result result = run_lindra(arguments);
        EXPECT_EQ(result.code, 1) << arguments;
        EXPECT_EQ(result.output, "") << arguments;
        EXPECT_NE(result.errors.find(file), std::string::npos) << result.errors;
        EXPECT_TRUE(result.errors.starts_with("lindra: ")) << result.errors;
    }
};

TEST_P(SpecialFileCommand, dump_refuses_it) {
    const std::string file = make("special.shp");
    expect_refusal("dump " + file, file);
    expect_refusal("dump --json " + file, file);
}

TEST_P(SpecialFileCommand, texture_refuses_it) {
    const std::string file = make("special.dds");
    expect_refusal("texture " + file + " -o " + path("out.png"), file);
    EXPECT_FALSE(std::filesystem::exists(path("out.png")));
}

TEST_P(SpecialFileCommand, draw_refuses_it) {
    const std::string file = make("special.shp");
    expect_refusal("draw " + file + " -o " + path("out.png"), file);
    EXPECT_FALSE(std::filesystem::exists(path("out.png")));
}

TEST_P(SpecialFileCommand, draw_takes_no_coordinate_system_from_it) {
    directory.write("roads.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    make("roads.prj");
    // Without text: the fonts that are looked up for it are never given back (see leak_suppressions.cpp).
    const Result result =
        run_lindra("draw " + path("roads.shp") + " --style text=none -o " + path("out.png"));
    const bool is_regular = GetParam() == std::string("/proc/self/maps"); // and no coordinate system
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.errors.find(is_regular ? "PROJ does not understand" : "roads.prj"), std::string::npos)
        << result.errors;
    EXPECT_FALSE(std::filesystem::exists(path("out.png")));
}

TEST_P(SpecialFileCommand, index_refuses_it) {
    const std::string file = make("special.shp");
    const Result result = run_lindra("index " + file + " -o " + path("shapes.db"));
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.errors.find(file), std::string::npos) << result.errors;
}

TEST_P(SpecialFileCommand, index_is_not_kept_in_it) {
    directory.write("roads.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    const std::string file = make("special.db");
    expect_refusal("index " + path("roads.shp") + " -o " + file, followed(file));
}

TEST_P(SpecialFileCommand, fetch_refuses_it) {
    const std::string file = make("special.db");
    expect_refusal("fetch " + file, followed(file));
}

TEST_P(SpecialFileCommand, import_refuses_it) {
    for (const char *name : {"binned_GSHHS_c.nc", "binned_border_c.nc"}) {
        const std::string file = make(name);
        const Result result = run_lindra("import " + directory.path().string() + " -o " + path("data"));
        EXPECT_EQ(result.code, 1) << name;
        EXPECT_NE(result.errors.find(directory.path().string()), std::string::npos) << result.errors;
        std::filesystem::remove(file);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SpecialFileCommand,
                         testing::Values("fifo", "directory", "loop", "/dev/zero", "/proc/self/maps"),
                         [](const auto &kind) {
                             std::string name = kind.param;
                             std::ranges::replace(name, '/', '_');
                             return name;
                         });

// --- Files that are closed to the user --------------------------------------------------------------------

// Root may read everything: then the command is run as another user.
std::string as_another_user() {
    return geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
}

int run_as_another_user(const std::string &arguments, const std::string &errors) {
    const int status = std::system(
        (as_another_user() + LINDRA_COMMAND_PATH + " " + arguments + " >/dev/null 2>" + errors).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(FileFaults, unreadable_files_are_refused_with_the_reason) {
    const std::string errors = path("errors");
    if (run_as_another_user("--version", errors) != 0)
        GTEST_SKIP() << "no other user can run the command here";
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    for (const std::string name : {"closed.shp", "closed.dds", "closed.db", "binned_border_c.nc"})
        std::filesystem::permissions(directory.write(name, std::string(200, 'x')),
                                     std::filesystem::perms::none);
    const std::string output = " -o " + path("out.png");
    for (const std::string &arguments :
         {"dump " + path("closed.shp"), "draw " + path("closed.shp") + output,
          "texture " + path("closed.dds") + output, "fetch " + path("closed.db"),
          "index " + path("closed.shp") + " -o " + path("shapes.db"),
          "import " + directory.path().string() + " -o " + path("data")}) {
        EXPECT_EQ(run_as_another_user(arguments, errors), 1) << arguments;
        const std::string said = read_file(errors);
        EXPECT_TRUE(said.starts_with("lindra: ")) << arguments << ": " << said;
        EXPECT_NE(said.find(directory.path().string()), std::string::npos) << said;
    }
}

} // namespace
} // namespace lindra::test
