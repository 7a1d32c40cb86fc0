// SPDX-License-Identifier: MIT

#include "binned_file_maker.hpp"
#include "classic_file_maker.hpp"
#include "cut_files.hpp"
#include "gone_reader.hpp"
#include "native_polygons.hpp"
#include "ordinary_user.hpp"
#include "sanitized.hpp"
#include "temporary_directory.hpp"

#include "common/errors.hpp"
#include "common/memory.hpp"
#include "import/coastlines.hpp"
#include "import/netcdf_file.hpp"
#include "import/trial.hpp"
#include "program.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <netcdf.h>
#include <new>
#include <random>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Calls that the trial makes; each fails for the reason, an errno, that is set.
static int failing_read = 0, failing_pipe = 0, failing_fork = 0;

// What is done to a file when libnetcdf has opened it.
static std::function<void(const char *path)> on_nc_open;

extern "C" {
int __real_nc_open(const char *path, int mode, int *id);
int __wrap_nc_open(const char *path, int mode, int *id) {
    const int status = __real_nc_open(path, mode, id);
    if (on_nc_open) on_nc_open(path);
    return status;
}
ssize_t __real_read(int file, void *to, size_t size);
int __real_pipe2(int *ends, int flags);
pid_t __real_fork();
ssize_t __wrap_read(int file, void *to, size_t size) {
    if (failing_read) return errno = failing_read, -1;
    return __real_read(file, to, size);
}
int __wrap_pipe2(int *ends, int flags) {
    if (failing_pipe) return errno = failing_pipe, -1;
    return __real_pipe2(ends, flags);
}
pid_t __wrap_fork() {
    if (failing_fork) return errno = failing_fork, -1;
    return __real_fork();
}
}

namespace lindra::test {

namespace {

// Sets one of those above while it lives.
class FailingCall {
  public:
    FailingCall(int &call, int reason) : call_(call) { call_ = reason; }
    ~FailingCall() { call_ = 0; }
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;

  private:
    int &call_;
};

namespace fs = std::filesystem;
using tools::DataError;

constexpr const char *debian_directory = "/usr/share/gmt-gshhg";
constexpr int32_t degree = 1000000;

// Each test has a directory of its own, with the binned files in from/ and the data directory to/.
class Import : public testing::Test {
  protected:
    Import() {
        std::string name = (fs::temp_directory_path() / "lindra-import-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory");
        directory_ = name;
        fs::create_directory(from());
    }
    ~Import() override { fs::remove_all(directory_); }

    fs::path from() const { return directory_ / "from"; }
    fs::path to() const { return directory_ / "to"; }
    fs::path binned(char letter) const { return from() / (std::string("binned_GSHHS_") + letter + ".nc"); }
    fs::path native(char letter) const {
        return to() / "maps/lindra" / (std::string("gshhs_") + letter + ".b");
    }

    void run(bool quiet = true) const { tools::import_all({from(), to(), quiet}); }

    std::vector<RecordedPolygon> import_one(const Variables &variables, char letter) const {
        write_variables(binned(letter), variables);
        run();
        return read_polygons(native(letter));
    }

    // What import says when it refuses; nothing may be left of what it was writing.
    std::string refusal() const {
        try {
            run();
        } catch (const DataError &error) {
            EXPECT_FALSE(fs::is_directory(to()) && fs::is_empty(to()));
            EXPECT_FALSE(fs::exists(to() / "maps/lindra"));
            return error.what();
        }
        ADD_FAILURE() << "import did not refuse";
        return {};
    }

    void expect_refused(const Variables &variables, const std::string &message) const {
        write_variables(binned('c'), variables);
        EXPECT_EQ(refusal(), binned('c').string() + ": " + message);
    }

    fs::path directory_;
};

// Bins of 20 degrees. Multiples of 4 degrees from the south pole and from Greenwich are whole units; borders
// lie at the multiples of 20 degrees of longitude and at 10, 30, 50 and 70 degrees of latitude.
const BinnedFileMaker crude_grid(18, 9);

Shore shore(std::initializer_list<std::array<double, 2>> degrees) {
    Shore made;
    for (const auto &[longitude, latitude] : degrees)
        made.ring.push_back(crude_grid.at(longitude, latitude));
    return made;
}

Variables binned_with(std::initializer_list<Shore> shores) {
    BinnedFileMaker maker = crude_grid;
    for (const Shore &each : shores)
        maker.add(each);
    return maker.variables();
}

// A triangle in one bin and a square over four.
const Shore triangle = shore({{104, -6}, {116, -2}, {108, 6}});
const Shore square = shore({{92, 6}, {108, 6}, {108, 14}, {92, 14}});

Variables triangle_and_square() {
    return binned_with({triangle, square});
}

template <class Value>
Value &value(Variables &variables, const char *name, size_t index) {
    return std::get<std::vector<Value>>(variables.at(name)).at(index);
}

using Points = std::vector<std::pair<int32_t, int32_t>>;

Points in_udeg(std::initializer_list<std::array<int32_t, 2>> degrees) {
    Points points;
    for (const auto &[longitude, latitude] : degrees)
        points.emplace_back(longitude * degree, latitude * degree);
    return points;
}

// The same closed ring beginning at its smallest point.
Points from_smallest(Points points) {
    points.pop_back();
    std::rotate(points.begin(), std::ranges::min_element(points), points.end());
    points.push_back(points.front());
    return points;
}

TEST_F(Import, polygon_inside_a_bin_stays_as_it_is) {
    const auto polygons = import_one(binned_with({triangle}), 'c');
    ASSERT_EQ(polygons.size(), 1U);
    EXPECT_EQ(polygons[0].id, 0);
    EXPECT_EQ(polygons[0].points, in_udeg({{104, -6}, {116, -2}, {108, 6}, {104, -6}}));
    EXPECT_EQ(polygons[0].crossings(), 0U);
    EXPECT_EQ(polygons[0].west, 104 * degree);
    EXPECT_EQ(polygons[0].east, 116 * degree);
    EXPECT_EQ(polygons[0].south, -6 * degree);
    EXPECT_EQ(polygons[0].north, 6 * degree);
}

TEST_F(Import, polygon_across_two_bins_is_joined_without_the_points_of_the_cut) {
    const auto polygons = import_one(binned_with({shore({{92, -6}, {112, -6}, {104, 6}})}), 'c');
    EXPECT_EQ(from_smallest(polygons.at(0).points), in_udeg({{92, -6}, {112, -6}, {104, 6}, {92, -6}}));
}

TEST_F(Import, polygon_across_four_bins_is_joined) {
    const auto polygons = import_one(binned_with({square}), 'c');
    EXPECT_EQ(from_smallest(polygons.at(0).points),
              in_udeg({{92, 6}, {108, 6}, {108, 14}, {92, 14}, {92, 6}}));
}

TEST_F(Import, piece_without_own_vertices_is_passed_through) {
    // The long edges cross the bin between the two others.
    const auto polygons = import_one(binned_with({shore({{96, -6}, {124, -2}, {124, 2}, {96, 6}})}), 'c');
    EXPECT_EQ(from_smallest(polygons.at(0).points),
              in_udeg({{96, -6}, {124, -2}, {124, 2}, {96, 6}, {96, -6}}));
}

TEST_F(Import, polygon_across_greenwich_jumps_and_has_a_negative_west) {
    const auto polygons = import_one(binned_with({shore({{-8, 42}, {12, 42}, {4, 46}})}), 'c');
    EXPECT_EQ(from_smallest(polygons.at(0).points), in_udeg({{4, 46}, {352, 42}, {12, 42}, {4, 46}}));
    EXPECT_EQ(polygons[0].west, -8 * degree);
    EXPECT_EQ(polygons[0].east, 12 * degree);
    EXPECT_EQ(polygons[0].crossings(), 1U);
}

TEST_F(Import, polygon_across_the_dateline_has_no_jump) {
    const auto polygons = import_one(binned_with({shore({{172, -6}, {188, -2}, {184, 6}})}), 'c');
    EXPECT_EQ(polygons.at(0).west, 172 * degree);
    EXPECT_EQ(polygons[0].east, 188 * degree);
    EXPECT_EQ(polygons[0].crossings(), 2U);
}

TEST_F(Import, polygon_across_both_meridians_tells_so) {
    // Round the globe but for 56 degrees, north of the equator.
    const Shore long_one = shore({{-36, 42},
                                  {12, 42},
                                  {64, 42},
                                  {112, 42},
                                  {164, 42},
                                  {196, 42},
                                  {196, 46},
                                  {164, 46},
                                  {112, 46},
                                  {64, 46},
                                  {12, 46},
                                  {-36, 46}});
    const auto polygons = import_one(binned_with({long_one}), 'c');
    EXPECT_EQ(polygons.at(0).west, -36 * degree);
    EXPECT_EQ(polygons[0].east, 196 * degree);
    EXPECT_EQ(polygons[0].crossings(), 3U);
}

TEST_F(Import, vertex_that_the_cutting_moved_off_the_antimeridian_is_put_back_and_comes_first) {
    Shore moved = shore({{168, -6}, {188, -6}, {188, 2}});
    const GridPoint east_of_antimeridian{9 * 65535 + 1, crude_grid.at(0, 6).y};
    moved.ring.push_back(east_of_antimeridian);
    const auto polygons = import_one(binned_with({moved}), 'c');
    EXPECT_EQ(polygons.at(0).points, in_udeg({{180, 6}, {168, -6}, {188, -6}, {188, 2}, {180, 6}}));
}

TEST_F(Import, vertex_on_greenwich_comes_first_and_is_at_zero) {
    Shore moved = shore({{-12, -6}, {8, -6}, {8, 2}});
    const GridPoint west_of_greenwich{-1, crude_grid.at(0, 6).y};
    moved.ring.push_back(west_of_greenwich);
    const auto polygons = import_one(binned_with({moved}), 'c');
    EXPECT_EQ(polygons.at(0).points, in_udeg({{0, 6}, {348, -6}, {8, -6}, {8, 2}, {0, 6}}));
}

// A ring at 78 degrees south, from the antimeridian on in the given direction.
Shore round_the_pole(int direction) {
    Shore made;
    made.ring.push_back({9 * 65535 + 1, crude_grid.at(0, -78).y});
    for (const int longitude : {168, 144, 116, 88, 64, 36, 8, -16, -44, -72, -96, -124, -152, -176})
        made.ring.push_back(crude_grid.at(longitude, -78));
    if (direction > 0) std::reverse(made.ring.begin() + 1, made.ring.end());
    // Made continuous: eastward the ring goes on beyond 180.
    for (GridPoint &point : made.ring)
        if (direction > 0 && point.x < made.ring.front().x) point.x += 18 * 65535;
    return made;
}

TEST_F(Import, ring_round_the_south_pole_runs_open_from_180_to_minus_180) {
    const auto polygons = import_one(binned_with({round_the_pole(-1)}), 'c');
    const Points &points = polygons.at(0).points;
    EXPECT_EQ(points.size(), 16U);
    EXPECT_EQ(points.front(), std::pair(180 * degree, -78 * degree));
    EXPECT_EQ(points.back(), std::pair(-180 * degree, -78 * degree));
    EXPECT_TRUE(std::ranges::is_sorted(points, std::ranges::greater()));
    EXPECT_EQ(polygons[0].west, -180 * degree);
    EXPECT_EQ(polygons[0].east, 180 * degree);
    EXPECT_EQ(polygons[0].south, -90 * degree);
    EXPECT_EQ(polygons[0].north, -78 * degree);
    EXPECT_EQ(polygons[0].crossings(), 3U);
}

TEST_F(Import, ring_round_the_south_pole_may_run_eastward) {
    const Shore eastward = round_the_pole(1);
    const auto polygons = import_one(binned_with({eastward}), 'c');
    const Points &points = polygons.at(0).points;
    EXPECT_EQ(points.size(), 16U);
    EXPECT_EQ(points.front().first, -180 * degree);
    EXPECT_EQ(points.back().first, 180 * degree);
    EXPECT_TRUE(std::ranges::is_sorted(points));
}

TEST_F(Import, repeated_vertex_of_a_polar_ring_is_kept_at_full_resolution_only) {
    Shore doubled = round_the_pole(-1);
    doubled.ring.insert(doubled.ring.begin() + 3, doubled.ring[3]);
    const Variables variables = binned_with({doubled});
    EXPECT_EQ(import_one(variables, 'c').at(0).points.size(), 16U);
    EXPECT_EQ(import_one(variables, 'f').at(0).points.size(), 17U);
}

TEST_F(Import, ring_round_the_globe_that_the_native_files_cannot_hold_is_refused) {
    Shore northern = round_the_pole(-1);
    for (GridPoint &point : northern.ring)
        point.y = crude_grid.at(0, 78).y;
    expect_refused(binned_with({northern}),
                   "polygon 0 runs round the globe, but not round the south pole alone");
    Shore without_start = round_the_pole(-1);
    without_start.ring.front() = crude_grid.at(176, -78);
    expect_refused(binned_with({without_start}),
                   "polygon 0 runs round the south pole without a vertex on the meridian of 180 degrees");
}

TEST_F(Import, levels_sources_and_river_lakes_are_told_apart) {
    std::vector<Shore> shores(6, triangle);
    for (size_t i = 0; i < 4; i++)
        shores[i].level = static_cast<int>(i) + 1;
    shores[1].area = -500;
    shores[4].ice_front = true;
    shores[5].level = 6;
    const auto polygons =
        import_one(binned_with({shores[0], shores[1], shores[2], shores[3], shores[4], shores[5]}), 'c');
    ASSERT_EQ(polygons.size(), 6U);
    for (uint32_t i = 0; i < 6; i++) {
        EXPECT_EQ(polygons[i].level(), i + 1);
        EXPECT_EQ(polygons[i].version(), 13U);
        EXPECT_EQ(polygons[i].source(), i == 0 ? 1U : 0U);
        EXPECT_EQ(polygons[i].river_lake(), i == 1 ? 1U : 0U);
    }
}

TEST_F(Import, areas_are_stored_as_finely_as_a_word_allows) {
    Shore large = triangle, small = triangle, shrunk = triangle;
    large.area = 50654050.6945;
    small.area = 0.0625;
    shrunk.area = 400;
    shrunk.fraction = 250000;
    const auto polygons = import_one(binned_with({large, small, shrunk}), 'c');
    EXPECT_EQ(polygons.at(0).magnitude(), 1U);
    EXPECT_EQ(polygons[0].area_full, 506540507);
    EXPECT_EQ(polygons.at(1).magnitude(), 8U);
    EXPECT_EQ(polygons[1].area_full, 6250000);
    EXPECT_EQ(polygons.at(2).magnitude(), 6U);
    EXPECT_EQ(polygons[2].area_full, 400000000);
    EXPECT_EQ(polygons[2].area, 100000000);
}

TEST_F(Import, container_is_taken_over) {
    Shore lake = triangle;
    lake.level = 2;
    lake.container = 0;
    const auto polygons = import_one(binned_with({square, lake}), 'c');
    EXPECT_EQ(polygons.at(0).container, -1);
    EXPECT_EQ(polygons.at(1).container, 0);
}

// A jagged closed line round a point, for cutting at every border it meets.
Shore random_shore(std::mt19937 &random) {
    const auto between = [&](double low, double high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    const double unit = 65535 / 20.0, longitude = between(-200, 200), latitude = between(-45, 45);
    const double reach = between(1, 40);
    const int count = std::uniform_int_distribution(3, 80)(random);
    Shore made;
    for (int i = 0; i < count; i++) {
        const double angle = 2 * 3.14159265358979 * i / count, radius = reach * between(0.3, 1);
        GridPoint point{std::llround((longitude + radius * std::cos(angle)) * unit),
                        std::llround((latitude + 90 + radius * std::sin(angle)) * unit)};
        if (point.x % 65535 == 0) point.x++;
        if (point.y % 65535 == 0) point.y++;
        made.ring.push_back(point);
    }
    return made;
}

// Whether the polygon is the shore, from whichever vertex on, but for the rounding to micro-degrees.
bool is_shore(const RecordedPolygon &polygon, const Shore &whole) {
    const size_t count = whole.ring.size();
    if (polygon.points.size() != count + 1 || polygon.points.front() != polygon.points.back()) return false;
    const auto same = [&](size_t recorded, size_t given) {
        const auto [x, y] = polygon.points[recorded];
        const GridPoint point = whole.ring[given % count];
        const double turns = (static_cast<double>(point.x) * 20e6 / 65535 - x) / 360e6;
        const double off = std::abs(turns - std::round(turns)) * 360e6;
        return x >= 0 && x <= 360 * degree && off <= 1 &&
               std::abs(static_cast<double>(point.y) * 20e6 / 65535 - 90e6 - y) <= 1;
    };
    for (size_t start = 0; start < count; start++) {
        size_t i = 0;
        while (i < count && same(i, start + i))
            i++;
        if (i == count) return true;
    }
    return false;
}

TEST_F(Import, any_polygon_comes_back_as_it_was_before_it_was_cut) {
    std::mt19937 random(20170615);
    std::vector<Shore> shores;
    BinnedFileMaker maker = crude_grid;
    for (int i = 0; i < 400; i++) {
        shores.push_back(random_shore(random));
        maker.add(shores.back());
    }
    const Variables variables = maker.variables();
    EXPECT_GT(std::get<std::vector<int32_t>>(variables.at("Id_of_GSHHS_ID")).size(), 2000U);
    const auto polygons = import_one(variables, 'c');
    ASSERT_EQ(polygons.size(), shores.size());
    for (size_t i = 0; i < shores.size(); i++)
        EXPECT_TRUE(is_shore(polygons[i], shores[i])) << "polygon " << i;
}

TEST_F(Import, reduced_file_takes_box_and_ancestor_from_the_full_one) {
    Shore far_away = shore({{204, -6}, {216, -2}, {208, 6}});
    Shore reduced = square;
    reduced.ring.pop_back();
    write_variables(binned('f'), binned_with({triangle, far_away, square}));
    write_variables(binned('c'), binned_with({reduced}));
    run();
    const auto full = read_polygons(native('f')), crude = read_polygons(native('c'));
    // All areas are alike; the square's box is the nearest.
    EXPECT_EQ(crude.at(0).ancestor, 2);
    EXPECT_EQ(crude[0].points.size(), 4U);
    EXPECT_EQ(std::tie(crude[0].west, crude[0].east, crude[0].south, crude[0].north),
              std::tie(full.at(2).west, full[2].east, full[2].south, full[2].north));
    for (int32_t i = 0; i < 3; i++)
        EXPECT_EQ(full.at(static_cast<size_t>(i)).ancestor, i);
}

TEST_F(Import, polygon_without_counterpart_in_the_full_file_keeps_its_box) {
    Shore other = square;
    other.area = 999;
    write_variables(binned('f'), binned_with({triangle}));
    write_variables(binned('c'), binned_with({other}));
    run();
    const auto crude = read_polygons(native('c'));
    EXPECT_EQ(crude.at(0).ancestor, -1);
    EXPECT_EQ(crude[0].west, 92 * degree);
}

TEST_F(Import, reduced_file_alone_has_its_own_box_and_no_ancestor) {
    const auto polygons = import_one(binned_with({square}), 'l');
    EXPECT_EQ(polygons.at(0).ancestor, -1);
    EXPECT_EQ(polygons[0].west, 92 * degree);
}

TEST_F(Import, one_line_is_printed_for_each_file) {
    write_variables(binned('c'), triangle_and_square());
    testing::internal::CaptureStdout();
    run(false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              native('c').string() +
                  ": 2 polygons, 9 points, 160 bytes, levels 1:2; own boxes, no ancestors: "
                  "binned_GSHHS_f.nc is not there\n");
    write_variables(binned('f'), triangle_and_square());
    testing::internal::CaptureStdout();
    run(false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              native('f').string() + ": 2 polygons, 9 points, 160 bytes, levels 1:2; own boxes\n" +
                  native('c').string() +
                  ": 2 polygons, 9 points, 160 bytes, levels 1:2; boxes and ancestors of 2 "
                  "polygons from binned_GSHHS_f.nc\n");
}

TEST_F(Import, quiet_prints_nothing) {
    write_variables(binned('c'), triangle_and_square());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    run(true);
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

TEST_F(Import, missing_directory_is_named_with_the_packages) {
    fs::remove(from());
    const std::string message = refusal();
    EXPECT_NE(message.find("there is no directory " + from().string()), std::string::npos) << message;
    EXPECT_NE(message.find("gmt-gshhg-low, gmt-gshhg-high and gmt-gshhg-full"), std::string::npos) << message;
}

TEST_F(Import, directory_without_the_files_is_named_with_what_was_looked_for) {
    const std::string message = refusal();
    EXPECT_EQ(
        message.find(from().string() +
                     " has none of binned_{GSHHS,border,river}_{c,l,i,h,f}.nc; install the Debian packages"),
        0U)
        << message;
}

TEST_F(Import, file_in_place_of_the_directory_is_refused) {
    fs::remove(from());
    std::ofstream(from()) << "text";
    EXPECT_EQ(refusal(),
              from().string() + " is not a directory; name the one that holds the binned_*.nc files");
}

TEST_F(Import, unreadable_file_is_refused) {
    write_variables(binned('c'), triangle_and_square());
    fs::permissions(binned('c'), fs::perms::none);
    const OrdinaryUser user(directory_);
    EXPECT_EQ(refusal(), binned('c').string() + " cannot be read: Permission denied");
}

TEST_F(Import, unreadable_directory_is_refused) {
    fs::permissions(from(), fs::perms::none);
    {
        const OrdinaryUser user(directory_);
        EXPECT_EQ(refusal(), "the directory " + from().string() + " cannot be read: Permission denied");
    }
    fs::permissions(from(), fs::perms::owner_all);
}

TEST_F(Import, file_that_may_not_be_looked_up_is_refused) {
    write_variables(binned('c'), triangle_and_square());
    fs::create_directory(directory_ / "locked");
    fs::create_symlink(directory_ / "locked/l.nc", binned('l'));
    const LockedDirectory locked(directory_ / "locked");
    const OrdinaryUser user(directory_);
    EXPECT_EQ(refusal(), binned('l').string() + " cannot be looked up: Permission denied");
}

TEST_F(Import, file_that_is_not_netcdf_is_refused) {
    std::ofstream(binned('c')) << "this is text";
    EXPECT_EQ(refusal().find(binned('c').string() + " is not a usable netCDF file ("), 0U);
    fs::remove(binned('c'));
    fs::create_directory(binned('c'));
    EXPECT_EQ(refusal().find(binned('c').string() + " cannot be read: "), 0U);
}

TEST_F(Import, truncated_file_is_refused) {
    write_variables(binned('c'), triangle_and_square());
    fs::resize_file(binned('c'), fs::file_size(binned('c')) / 2);
    EXPECT_EQ(refusal().find(binned('c').string()), 0U);
}

TEST_F(Import, every_missing_variable_is_named) {
    const Variables good = triangle_and_square();
    for (const auto &[name, values] : good) {
        Variables damaged = good;
        damaged.erase(name);
        expect_refused(damaged, "variable " + name + " is missing; this is not a binned coastline file");
    }
}

TEST_F(Import, every_variable_of_a_wrong_type_is_named) {
    const Variables good = triangle_and_square();
    for (const auto &[name, values] : good) {
        Variables damaged = good;
        const bool was_double = std::holds_alternative<std::vector<double>>(values);
        damaged[name] = was_double ? Values(std::vector<int32_t>(2)) : Values(std::vector<double>(2));
        write_variables(binned('c'), damaged);
        const std::string message = refusal(),
                          start = binned('c').string() + ": variable " + name + " is of type ";
        EXPECT_EQ(message.find(start + (was_double ? "int, not double" : "double, not ")), 0U) << message;
    }
}

TEST_F(Import, every_variable_of_a_wrong_length_is_named) {
    const Variables good = triangle_and_square();
    for (const auto &[name, values] : good) {
        Variables damaged = good;
        const size_t length = std::visit(
            [](auto &all) {
                all.push_back(all.back());
                return all.size();
            },
            damaged[name]);
        expect_refused(damaged, "variable " + name + " has " + std::to_string(length) + " values, not " +
                                    std::to_string(length - 1));
    }
}

TEST_F(Import, variable_of_two_dimensions_is_refused) {
    Variables variables = triangle_and_square();
    variables.erase("Id_of_GSHHS_ID");
    write_variables(binned('c'), variables);
    int file = 0, variable = 0;
    std::array<int, 2> dimensions{};
    ASSERT_EQ(nc_open(binned('c').c_str(), NC_WRITE, &file), NC_NOERR);
    nc_def_dim(file, "rows", 2, &dimensions[0]);
    nc_def_dim(file, "columns", 3, &dimensions[1]);
    nc_def_var(file, "Id_of_GSHHS_ID", NC_INT, 2, dimensions.data(), &variable);
    ASSERT_EQ(nc_close(file), NC_NOERR);
    EXPECT_EQ(refusal(), binned('c').string() + ": variable Id_of_GSHHS_ID has 2 dimensions, not one");
}

TEST_F(Import, claim_of_more_values_than_the_file_can_hold_is_refused_before_memory_is_asked_for) {
    Variables variables = triangle_and_square();
    constexpr int32_t absurd = 2000000000;
    variables.erase("Id_of_parent_polygons");
    value<int32_t>(variables, "N_polygons_in_file", 0) = absurd;
    write_variables(binned('c'), variables);
    int file = 0, dimension = 0, variable = 0;
    const size_t chunk = 1 << 20;
    ASSERT_EQ(nc_open(binned('c').c_str(), NC_WRITE, &file), NC_NOERR);
    nc_def_dim(file, "absurd", absurd, &dimension);
    nc_def_var(file, "Id_of_parent_polygons", NC_INT, 1, &dimension, &variable);
    nc_def_var_chunking(file, variable, NC_CHUNKED, &chunk);
    ASSERT_EQ(nc_close(file), NC_NOERR);
    const std::string size = std::to_string(fs::file_size(binned('c')));
    EXPECT_EQ(refusal(), binned('c').string() +
                             ": variable Id_of_parent_polygons claims more values than a file of " + size +
                             " bytes can hold");
}

TEST_F(Import, line_file_that_claims_more_values_than_it_can_hold_is_refused) {
    const fs::path name = from() / "binned_river_c.nc";
    int file = 0, dimension = 0, variable = 0;
    const size_t chunk = 1 << 20;
    ASSERT_EQ(nc_create(name.c_str(), NC_NETCDF4, &file), NC_NOERR);
    nc_def_dim(file, "absurd", 100000000, &dimension);
    nc_def_var(file, "values", NC_INT, 1, &dimension, &variable);
    nc_def_var_chunking(file, variable, NC_CHUNKED, &chunk);
    ASSERT_EQ(nc_close(file), NC_NOERR);
    EXPECT_EQ(refusal(), name.string() + " claims more values than a file of " +
                             std::to_string(fs::file_size(name)) + " bytes can hold");
}

// --- Files in the classic form

constexpr const char *reinstall = "; reinstall the package that it comes from";

class ImportClassic : public Import {
  protected:
    fs::path border() const { return from() / "binned_border_c.nc"; }
    fs::path installed_border() const { return to() / "maps/lindra/binned_border_c.cdf"; }

    static void write(const fs::path &path, const std::string &bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    std::string complaint() const {
        try {
            run();
        } catch (const DataError &error) {
            return error.what();
        }
        return "";
    }

    // Every shorter beginning of the file under this name is refused, and what a whole one has made stays.
    void expect_whole_or_nothing(const fs::path &name, const std::string &whole, const fs::path &made) const {
        write(name, whole);
        run();
        const std::string before = read_bytes(made);
        for (size_t size = whole.size(); size-- > 0;) {
            fs::resize_file(name, size);
            EXPECT_EQ(complaint().find(name.string() + " "), 0U) << size;
            ASSERT_TRUE(read_bytes(made) == before) << size;
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(made.parent_path()), {}), 1);
    }

    // The most memory, in KiB, that an import and its children took to refuse the file under this name alone.
    long memory_of_refusal(const fs::path &name, const std::string &bytes) const {
        fs::remove_all(from());
        fs::create_directory(from());
        write(name, bytes);
        const pid_t child = fork();
        if (child == 0) _exit(complaint().empty() ? 1 : 0);
        int status = 1;
        rusage usage{};
        EXPECT_EQ(wait4(child, &status, 0, &usage), child);
        EXPECT_EQ(status, 0);
        return usage.ru_maxrss;
    }
};

std::string two_borders() {
    return BinnedFile{
        2, 1, {{0, {{1, {{0, 0}, {9999, 20000}, {65535, 65535}}}}}, {1, {{1, {{5, 5}, {9, 8}, {9, 9}}}}}}}
        .bytes();
}

std::string rivers_of_the_world() {
    return read_bytes(fs::path(LINDRA_SOURCE_DIR) / "data/maps/lindra/binned_river_c.cdf");
}

TEST_F(ImportClassic, line_file_is_taken_over_as_it_is) {
    write(from() / "binned_river_c.nc", rivers_of_the_world());
    run();
    EXPECT_TRUE(read_bytes(to() / "maps/lindra/binned_river_c.cdf") == rivers_of_the_world());
}

// Of no file more than this comes onto the disk.
void allow_file_size(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit most = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &most);
}

TEST_F(ImportClassic, lack_of_room_for_the_copy_is_not_blamed_on_the_file) {
    write(from() / "binned_river_c.nc", rivers_of_the_world());
    const std::string copy = to() / "maps/lindra/binned_river_c.cdf";
    EXPECT_EXIT(
        {
            allow_file_size(4096);
            std::cerr << complaint();
            _exit(0);
        },
        testing::ExitedWithCode(0), testing::Eq(copy + " cannot be written: File too large"));
    EXPECT_FALSE(fs::exists(to() / "maps"));
}

TEST_F(ImportClassic, coastline_comes_out_as_of_the_later_form) {
    write_variables(binned('c'), triangle_and_square());
    run();
    const std::string expected = read_bytes(native('c'));
    write(binned('c'), classic_file(triangle_and_square()));
    run();
    EXPECT_EQ(read_bytes(native('c')), expected);
}

TEST_F(ImportClassic, cut_line_file_is_refused_at_every_length) {
    expect_whole_or_nothing(border(), two_borders(), installed_border());
}

TEST_F(ImportClassic, cut_coastline_is_refused_at_every_length) {
    expect_whole_or_nothing(binned('c'), classic_file(triangle_and_square()), native('c'));
}

TEST_F(ImportClassic, cut_rivers_of_the_world_are_refused_and_named_with_the_place) {
    const std::string whole = rivers_of_the_world();
    for (const size_t size : {3000U, 227355U, 432000U, 432357U}) {
        write(from() / "binned_river_c.nc", whole.substr(0, size));
        const std::string message = refusal(), end = " bytes" + std::string(reinstall);
        EXPECT_EQ(message.find((from() / "binned_river_c.nc").string() + " is damaged: variable "), 0U);
        EXPECT_NE(message.find(" does not end in the file, which has " + std::to_string(size) + end),
                  std::string::npos)
            << message;
    }
}

TEST_F(ImportClassic, padding_at_the_end_may_be_missing) {
    const std::string whole =
        BinnedFile{1, 1, {{0, {{1, {{0, 0}, {1, 1}, {2, 2}}}}}}}.bytes(); // 3 points: 2 bytes of padding
    write(border(), whole.substr(0, whole.size() - 2));
    EXPECT_NO_THROW(run());
}

TEST_F(ImportClassic, header_takes_no_memory_for_what_it_claims) {
    const std::string head = nc::magic() + be32(0), rest(200, '\0');
    const std::string attribute = be32(nc::attribute_tag) + be32(1) + nc::name("a") + be32(nc::double_code);
    const std::string absent = nc::absent();
    for (const std::string &bytes :
         {head + be32(nc::dimension_tag) + be32(0x07ffffff) + rest,
          head + absent + attribute + be32(0x0fffffff) + rest,
          head + absent + absent + be32(nc::variable_tag) + be32(0x7fffffff) + rest})
        for (const fs::path &name : {border(), binned('c')})
            EXPECT_LT(memory_of_refusal(name, bytes), 200'000);
}

// A variable changed in the header of a good file, and what is said of it then.
struct HeaderDamage {
    RawVariable variable;
    std::string message;
};

TEST_F(ImportClassic, variable_that_does_not_lie_in_the_file_is_named) {
    const RawVariable good{"v", {0}, {}, nc::int_code, 4, 100};
    const auto with = [&](auto member, auto value) {
        RawVariable variable = good;
        variable.*member = value;
        return variable;
    };
    const auto outside = [](int begin) {
        return "begins at byte " + std::to_string(begin) + " and does not end in the file, which has ";
    };
    using Ids = std::vector<int32_t>;
    for (const auto &[variable, message] :
         std::vector<HeaderDamage>{{with(&RawVariable::begin, -1), outside(-1)},
                                   {with(&RawVariable::begin, 2147483647), outside(2147483647)},
                                   {with(&RawVariable::type, nc::double_code), outside(100)},
                                   {with(&RawVariable::ids, Ids{0, 0, 0, 0}), outside(100)},
                                   {with(&RawVariable::ids, Ids(9, 1)), outside(100)},
                                   {with(&RawVariable::ids, Ids{2}), outside(100)},
                                   {with(&RawVariable::ids, Ids{3}), "is a record variable"},
                                   {with(&RawVariable::type, 0), "is of type 0, which there is not"},
                                   {with(&RawVariable::type, 7), "is of type 7, which there is not"}}) {
        RawHeader header;
        header.dims = {nc::dimension("few", 50), nc::dimension("many", 2147483647), nc::dimension("less", -1),
                       nc::dimension("records", 0)};
        header.vars = {variable};
        write(border(), header.bytes().append(300 - header.bytes().size(), '\0'));
        EXPECT_EQ(refusal().find(border().string() + " is damaged: variable v " + message), 0U) << refusal();
    }
}

TEST_F(ImportClassic, later_classic_forms_are_refused) {
    for (const auto &[form, what] : {std::pair(NC_64BIT_OFFSET, "offsets"), {NC_64BIT_DATA, "data"}}) {
        int file = 0;
        ASSERT_EQ(nc_create(border().c_str(), NC_CLOBBER | form, &file), NC_NOERR);
        ASSERT_EQ(nc_close(file), NC_NOERR);
        EXPECT_EQ(refusal(), border().string() + " is a netCDF file with 64-bit " + what +
                                 ", which is not imported" + reinstall);
    }
}

TEST_F(ImportClassic, line_file_that_cannot_be_read_back_is_refused) {
    const std::map<std::string, std::string> good = BinnedFile{2, 1, {{1, {{1, {{5, 5}, {9, 9}}}}}}}.data();
    const auto message_of = [&](const char *variable, const std::string &bytes) {
        auto data = good;
        data[variable] = bytes;
        write(border(), BinnedFile::join(BinnedFile::header(data), data));
        return refusal();
    };
    const std::string start = border().string() + " is damaged: ";
    EXPECT_EQ(message_of("Id_of_first_point_in_a_segment", be32(1)),
              start + "gmtmap_select: segment 0 has 2 points from 1, the file has 2" + reinstall);
    EXPECT_EQ(message_of("Id_of_first_segment_in_a_bin", be32(0) + be32(1)),
              start + "gmtmap_select: bin 1 has 1 segments from 1, the file has 1" + reinstall);
    EXPECT_EQ(message_of("N_segments_in_a_bin", be16(-1) + be16(1)),
              start + "bin 0 has -1 segments" + reinstall);
}

// --- Files that change while they are imported

class ImportChanging : public ImportClassic {
  protected:
    ~ImportChanging() override { on_nc_open = nullptr; }

    // Cuts each file to a half: in the child that tries it, or not before it has passed there.
    static void cut_in(bool trial) {
        const pid_t parent = getpid();
        on_nc_open = [trial, parent](const char *path) {
            if ((getpid() != parent) == trial) fs::resize_file(path, fs::file_size(path) / 2);
        };
    }

    void expect_told(const fs::path &changed) const {
        EXPECT_EQ(refusal(), changed.string() + " changed while it was read; run the command again");
        EXPECT_FALSE(fs::exists(to()));
    }
};

TEST_F(ImportChanging, coastline_that_is_cut_is_told) {
    for (const bool trial : {true, false}) {
        write_variables(binned('c'), triangle_and_square());
        cut_in(trial);
        expect_told(binned('c'));
        on_nc_open = nullptr;
        write(binned('c'), classic_file(triangle_and_square()));
        cut_in(trial);
        expect_told(binned('c'));
        on_nc_open = nullptr;
    }
}

TEST_F(ImportChanging, line_file_that_is_cut_is_told) {
    write(border(), two_borders());
    cut_in(true);
    expect_told(border());
}

TEST_F(ImportChanging, file_that_is_replaced_or_removed_is_told) {
    write(border(), two_borders());
    on_nc_open = [](const char *path) { fs::remove(path); };
    expect_told(border());
    write(border(), two_borders());
    on_nc_open = [&](const char *path) {
        write(directory_ / "new", two_borders());
        fs::rename(directory_ / "new", path);
    };
    expect_told(border());
}

TEST_F(ImportChanging, file_that_is_overwritten_is_told_or_was_imported_before) {
    write_variables(binned('c'), triangle_and_square());
    run();
    const std::string whole = read_bytes(native('c'));
    const Rewriter rewriter(binned('c').string(), 0, fs::file_size(binned('c')));
    for (int round = 0; round < 5; round++) {
        const std::string message = complaint();
        EXPECT_TRUE(message.empty() || message.starts_with(binned('c').string() + " ")) << message;
        EXPECT_TRUE(read_bytes(native('c')) == whole);
    }
}

// One int, short, byte or double of a good file replaced, and what import says then.
struct Damage {
    const char *variable;
    size_t index;
    double value;
    std::string message;
};

void apply(const Damage &damage, Variables &variables) {
    std::visit(
        [&](auto &values) {
            using Value = typename std::remove_reference_t<decltype(values)>::value_type;
            values.at(damage.index) = static_cast<Value>(damage.value);
        },
        variables.at(damage.variable));
}

TEST_F(Import, every_value_out_of_range_is_named) {
    const char *const word = "Embedded_npts_levels_exit_entry_for_a_segment";
    const std::vector<Damage> damages = {
        {"N_bins_in_360_longitude_range", 0, 0, "is 0, outside 1 to 360"},
        {"N_bins_in_360_longitude_range", 0, 2147483647, "is 2147483647, outside 1 to 360"},
        {"N_bins_in_360_longitude_range", 0, 7, "is 7, which does not divide 360"},
        {"N_bins_in_180_degree_latitude_range", 0, -9, "is -9, outside 1 to 180"},
        {"N_bins_in_180_degree_latitude_range", 0, 7, "is 7, which does not divide 180"},
        {"N_bins_in_file", 0, 161, "is 161, outside 162 to 162"},
        {"N_polygons_in_file", 0, 0, "is 0, outside 1 to 2147483647"},
        {"N_segments_in_file", 0, -1, "is -1, outside 1 to 2147483647"},
        {"N_points_in_file", 0, -2147483648.0, "is -2147483648, outside 1 to 2147483647"},
        {"Id_of_parent_polygons", 1, 2, "is 2, outside -1 to 1, for polygon 1"},
        {"Id_of_parent_polygons", 0, -2, "is -2, outside -1 to 1, for polygon 0"},
        {"The_km_squared_area_of_polygons", 0, 1e9,
         "is 1000000000.000000, outside -511000000.000000 to 511000000.000000, for polygon 0"},
        {"The_km_squared_area_of_polygons", 1, NAN,
         "is nan, outside -511000000.000000 to 511000000.000000, for polygon 1"},
        {"Micro_fraction_of_full_resolution_area", 0, -1, "is -1, outside 0 to 2147483647, for polygon 0"},
        {"Id_of_GSHHS_ID", 4, 2, "is 2, outside 0 to 1, for segment 4"},
        {"Id_of_GSHHS_ID", 0, -1, "is -1, outside 0 to 1, for segment 0"},
        {"Embedded_ANT_flag", 2, 2, "is 2, outside 0 to 1, for segment 2"},
        {"N_segments_in_a_bin", 0, -1, "is -1, outside 0 to 32767, for bin 0"},
        {"N_segments_in_a_bin", 0, 6, "counts more segments than N_segments_in_file for bin 0"},
        {"N_segments_in_a_bin", 77, 0, "counts fewer segments than N_segments_in_file"},
        {"Id_of_first_segment_in_a_bin", 76, 4, "leaves a gap or an overlap for bin 76"},
        {"Id_of_first_point_in_a_segment", 1, 4, "leaves a gap or an overlap for segment 1"},
        {word, 0, 2 << 9 | 1 << 6 | 5 << 3 | 1, "has no such pair of sides for segment 0"},
        {word, 0, 2 << 9 | 1 << 6 | 4 << 3 | 1, "has no such pair of sides for segment 0"},
        {word, 0, 3 << 9 | 0 << 6 | 0 << 3 | 1, "has no such level for segment 0"},
        {word, 0, 3 << 9 | 7 << 6 | 0 << 3 | 1, "has no such level for segment 0"},
        {word, 0, 1 << 9 | 1 << 6 | 0 << 3 | 1, "has fewer than two points for segment 0"},
        {word, 0, -1, "has no such pair of sides for segment 0"},
        {word, 4, 9000 << 9 | 1 << 6 | 0 << 3 | 1, "counts more points than N_points_in_file for segment 4"},
        {word, 4, 2 << 9 | 1 << 6 | 0 << 3 | 1, "counts fewer points than N_points_in_file"},
    };
    for (const Damage &damage : damages) {
        Variables variables = triangle_and_square();
        apply(damage, variables);
        expect_refused(variables, std::string("variable ") + damage.variable + " " + damage.message);
    }
}

TEST_F(Import, polygon_that_cannot_be_joined_is_named) {
    Variables apart = triangle_and_square();
    // The square's pieces have three points each: the middle one is a corner, the others lie on the border.
    value<int16_t>(apart, "Relative_longitude_from_SW_corner_of_bin", 0) = 1;
    value<int16_t>(apart, "Relative_latitude_from_SW_corner_of_bin", 0) = 1;
    expect_refused(apart, "polygon 1 cannot be joined: it leaves a bin and enters no other");

    Variables without_segments = triangle_and_square();
    for (size_t i = 0; i < 5; i++)
        value<int32_t>(without_segments, "Id_of_GSHHS_ID", i) = 1;
    expect_refused(without_segments, "polygon 0 cannot be joined: it has no segments");

    Variables same_place = binned_with({square, square});
    for (size_t i = 0; i < 8; i++)
        value<int32_t>(same_place, "Id_of_GSHHS_ID", i) = 0;
    expect_refused(same_place, "polygon 0 cannot be joined: it enters a bin twice at one point");
}

TEST_F(Import, polygon_of_two_rings_is_refused) {
    const auto one_polygon = [](Variables variables) {
        for (int32_t &id : std::get<std::vector<int32_t>>(variables.at("Id_of_GSHHS_ID")))
            id = 0;
        for (const char *name : {"Id_of_parent_polygons", "Micro_fraction_of_full_resolution_area"})
            std::get<std::vector<int32_t>>(variables.at(name)).resize(1);
        std::get<std::vector<double>>(variables.at("The_km_squared_area_of_polygons")).resize(1);
        value<int32_t>(variables, "N_polygons_in_file", 0) = 1;
        return variables;
    };
    const Shore elsewhere = shore({{132, 6}, {148, 6}, {148, 14}, {132, 14}});
    for (const Variables &variables :
         {binned_with({square, elsewhere}), triangle_and_square(), binned_with({triangle, triangle})})
        expect_refused(one_polygon(variables), "polygon 0 cannot be joined: it makes more than one ring");
}

TEST_F(Import, polygon_that_runs_in_circles_is_refused) {
    // Two teeth reach into the bin to the east; both their roots are made to lead to the same one.
    Variables comb = binned_with(
        {shore({{92, -6}, {108, -6}, {108, -2}, {96, -2}, {96, 2}, {108, 2}, {108, 6}, {92, 6}})});
    const char *const latitude = "Relative_latitude_from_SW_corner_of_bin";
    value<int16_t>(comb, latitude, 7) = value<int16_t>(comb, latitude, 3);
    expect_refused(comb, "polygon 0 cannot be joined: its segments make no ring");
}

TEST_F(Import, degenerate_polygons_are_refused) {
    Variables unclosed = binned_with({triangle});
    value<int16_t>(unclosed, "Relative_latitude_from_SW_corner_of_bin", 3)++;
    expect_refused(unclosed, "polygon 0 lies whole in a bin and is not closed");
    expect_refused(binned_with({shore({{104, -6}, {116, -2}})}), "polygon 0 has fewer than three vertices");
    expect_refused(binned_with({shore({{96, -6}, {116, -2}})}), "polygon 0 has fewer than three vertices");
}

TEST_F(Import, failure_leaves_the_old_file_and_nothing_else) {
    write_variables(binned('c'), triangle_and_square());
    run();
    const std::string before = read_bytes(native('c'));
    // The fault lies in the last polygon, so the writing has begun.
    Variables damaged = binned_with({triangle, triangle});
    value<int16_t>(damaged, "Relative_latitude_from_SW_corner_of_bin", 7)++;
    write_variables(binned('c'), damaged);
    EXPECT_THROW(run(), DataError);
    EXPECT_EQ(read_bytes(native('c')), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(to() / "maps/lindra"), {}), 1);
}

TEST_F(Import, files_finished_before_a_failure_stay) {
    write_variables(binned('f'), triangle_and_square());
    std::ofstream(binned('c')) << "this is text";
    EXPECT_THROW(run(), DataError);
    EXPECT_EQ(read_polygons(native('f')).size(), 2U);
    EXPECT_EQ(std::distance(fs::directory_iterator(to() / "maps/lindra"), {}), 1);
}

TEST_F(Import, failure_removes_the_directories_that_it_made) {
    std::ofstream(binned('c')) << "this is text";
    EXPECT_THROW(run(), DataError);
    EXPECT_FALSE(fs::exists(to()));
    write_variables(binned('f'), triangle_and_square());
    EXPECT_THROW(run(), DataError);
    EXPECT_TRUE(fs::exists(native('f')));
}

TEST_F(Import, failure_keeps_the_directories_that_were_there) {
    std::ofstream(binned('c')) << "this is text";
    for (const char *there : {"", "maps", "maps/lindra"}) {
        fs::remove_all(to());
        fs::create_directories(to() / there);
        EXPECT_THROW(run(), DataError);
        EXPECT_TRUE(fs::is_empty(to() / there)) << there;
    }
}

TEST_F(Import, data_directory_that_cannot_be_made_is_named) {
    write_variables(binned('c'), triangle_and_square());
    std::ofstream(to()) << "a file in the way";
    EXPECT_EQ(refusal().find("the directory " + (to() / "maps/lindra").string() + " cannot be made: "), 0U);
}

TEST_F(Import, command_writes_to_the_users_data_directory_by_default) {
    write_variables(binned('c'), triangle_and_square());
    const char *before = getenv("XDG_DATA_HOME");
    const std::string kept = before ? before : "";
    setenv("XDG_DATA_HOME", to().c_str(), 1);
    tools::obey({"import", "--quiet", from().string()});
    before ? setenv("XDG_DATA_HOME", kept.c_str(), 1) : unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(read_polygons(native('c')).size(), 2U);
}

TEST_F(Import, command_asks_for_a_directory) {
    EXPECT_THROW(tools::obey({"import", "--quiet"}), tools::UsageError);
}

TEST(Trial, reading_that_ends_well_says_nothing) {
    EXPECT_NO_THROW(tools::try_reading("file", [] {}));
}

TEST(Trial, complaint_comes_through) {
    try {
        tools::try_reading("file", [] { throw DataError("the complaint"); });
        FAIL();
    } catch (const DataError &error) {
        EXPECT_STREQ(error.what(), "the complaint");
    }
}

std::string told_by(const std::function<void()> &read) {
    try {
        tools::try_reading("file", read);
    } catch (const DataError &error) {
        return error.what();
    }
    return "";
}

TEST(Trial, crash_becomes_a_complaint) {
    std::string damaged = "file is damaged: reading it with libnetcdf failed badly";
    damaged += reinstall;
    const std::vector<std::function<void()>> crashes = {[] { abort(); }, [] { _exit(1); }, [] { _exit(77); },
                                                        [] { throw std::runtime_error("no complaint"); }};
    for (const auto &crash : crashes) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(told_by(crash), damaged);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

TEST(Trial, how_children_end_is_known_to_a_process_that_was_started_without_interest_in_it) {
    const auto before = signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(told_by([] {}), "");
    EXPECT_EQ(told_by([] { throw DataError("the complaint"); }), "the complaint");
    signal(SIGCHLD, before);
}

TEST(Trial, complaint_that_cannot_be_read_is_no_success) {
    for (const std::function<void()> &read :
         {std::function([] { throw DataError("the complaint"); }), std::function([] {})}) {
        const FailingCall reading(failing_read, EIO);
        EXPECT_EQ(told_by(read),
                  "what a child process says cannot be read: Input/output error; run the command again");
    }
}

TEST(Trial, process_that_cannot_be_had_is_told) {
    for (const auto &[call, what] : {std::pair(&failing_fork, "no child process can be started"),
                                     std::pair(&failing_pipe, "no pipe can be made")}) {
        const FailingCall refused(*call, EAGAIN);
        EXPECT_EQ(told_by([] {}),
                  std::string(what) + ": Resource temporarily unavailable; run the command again");
    }
}

TEST(Trial, process_for_which_there_is_no_memory_is_exhausted_memory) {
    for (int *call : {&failing_fork, &failing_pipe}) {
        const FailingCall refused(*call, ENOMEM);
        EXPECT_THROW(tools::try_reading("file", [] {}), std::bad_alloc);
    }
}

// --- Memory: 64 MiB for a file of which the size is not known

constexpr size_t megabyte = 1 << 20;

class TrialMemory : public testing::Test {
  protected:
    void SetUp() override {
#if defined(LINDRA_ADDRESS_SANITIZER) || defined(LINDRA_THREAD_SANITIZER)
        GTEST_SKIP() << "sanitizers map more than any limit";
#endif
    }
};

// As much as this process has mapped, and some more.
class MemoryLimit {
  public:
    explicit MemoryLimit(size_t more) {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &before_);
        const rlimit lower{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + more, before_.rlim_max};
        setrlimit(RLIMIT_AS, &lower);
    }
    ~MemoryLimit() { setrlimit(RLIMIT_AS, &before_); }
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;

  private:
    rlimit before_{};
};

const std::string asks_for_too_much =
    std::string("file asks for more memory than a file of its size can need") + reinstall;

TEST_F(TrialMemory, more_than_a_file_accounts_for_becomes_a_complaint) {
    EXPECT_EQ(told_by([] { std::vector<char>(32 * megabyte); }), "");
    EXPECT_EQ(told_by([] { std::vector<char>(128 * megabyte); }), asks_for_too_much);
    EXPECT_EQ(told_by([] { tools::works(malloc(128 * megabyte) ? NC_NOERR : NC_ENOMEM); }),
              asks_for_too_much);
}

TEST_F(TrialMemory, more_than_a_file_accounts_for_is_no_lack_of_memory_here) {
    // Here is less than the file asks for, and more than it may.
    const MemoryLimit limit(96 * megabyte);
    EXPECT_EQ(told_by([] { std::vector<char>(128 * megabyte); }), asks_for_too_much);
}

TEST_F(TrialMemory, what_lacks_here_is_exhausted_memory) {
    const MemoryLimit limit(32 * megabyte);
    EXPECT_EQ(told_by([] { std::vector<char>(16 * megabyte); }), "");
    EXPECT_THROW(tools::try_reading("file", [] { std::vector<char>(48 * megabyte); }), std::bad_alloc);
}

TEST_F(TrialMemory, what_lacks_once_is_had_the_second_time) {
    const TemporaryDirectory directory;
    const auto lack_once = [&] {
        if (fs::exists(directory.path() / "tried")) return;
        directory.write("tried", "");
        throw std::bad_alloc();
    };
    EXPECT_EQ(told_by(lack_once), "");
}

TEST_F(TrialMemory, what_lacked_and_was_swallowed_is_told) {
    const auto swallow = [] {
        tools::watch_memory();
        try {
            std::vector<char>(128 * megabyte);
        } catch (const std::bad_alloc &) {
        }
    };
    EXPECT_EQ(told_by(swallow), asks_for_too_much);
}

// --- The files of the Debian package gmt-gshhg-low
// ----------------------------------------------------------

struct Figures {
    char letter;
    size_t polygons, points;
    std::map<uint32_t, size_t> levels;
};

class DebianFiles : public Import {
  protected:
    void link_binned(char letter) const {
        const fs::path installed = fs::path(debian_directory) / binned(letter).filename();
        ASSERT_TRUE(fs::exists(installed))
            << installed << " is missing: install the Debian package gmt-gshhg-low";
        fs::create_symlink(installed, binned(letter));
    }

    void expect_figures(const Figures &expected) const {
        const auto polygons = read_polygons(native(expected.letter));
        EXPECT_EQ(polygons.size(), expected.polygons);
        size_t points = 0;
        std::map<uint32_t, size_t> levels;
        for (const RecordedPolygon &polygon : polygons) {
            points += polygon.points.size();
            levels[polygon.level()]++;
        }
        EXPECT_EQ(points, expected.points);
        EXPECT_EQ(levels, expected.levels);
    }
};

// Every polygon but the two round the south pole is closed and lies in 0 to 360 degrees.
void expect_sound(const RecordedPolygon &polygon) {
    const bool polar = polygon.south == -90 * degree;
    const auto [first, last] = std::pair(polygon.points.front(), polygon.points.back());
    EXPECT_GE(polygon.points.size(), 4U);
    EXPECT_EQ(first.second, last.second);
    EXPECT_EQ(first.first, polar ? 180 * degree : last.first);
    EXPECT_EQ(last.first, polar ? -180 * degree : first.first);
    for (const auto &[x, y] : polygon.points) {
        EXPECT_TRUE(x >= (polar ? -180 : 0) * degree && x <= (polar ? 180 : 360) * degree);
        EXPECT_TRUE(y >= polygon.south && y <= polygon.north && y >= -90 * degree && y <= 90 * degree);
        const int32_t turned = x > polygon.east ? x - 360 * degree : x;
        EXPECT_TRUE(turned >= polygon.west && turned <= polygon.east);
    }
}

TEST_F(DebianFiles, crude_and_low_are_joined_completely) {
    link_binned('c');
    link_binned('l');
    run();
    expect_figures({'c', 1781, 13045, {{1, 738}, {2, 994}, {3, 24}, {5, 5}, {6, 20}}});
    expect_figures({'l', 10717, 92599, {{1, 5701}, {2, 4366}, {3, 506}, {4, 11}, {5, 40}, {6, 93}}});
    for (const char letter : {'c', 'l'}) {
        const auto polygons = read_polygons(native(letter));
        for (const RecordedPolygon &polygon : polygons) {
            SCOPED_TRACE(letter + std::to_string(polygon.id));
            expect_sound(polygon);
        }
        EXPECT_EQ(std::ranges::count(polygons, -90 * degree, &RecordedPolygon::south), 2);
        EXPECT_TRUE(std::ranges::is_sorted(polygons, {}, &RecordedPolygon::id));
    }
}

TEST_F(DebianFiles, library_walks_the_written_file_from_end_to_end) {
    link_binned('c');
    run();
    std::string bytes = read_bytes(native('c'));
    auto *position = reinterpret_cast<unsigned char *>(bytes.data());
    const unsigned char *const end = position + bytes.size();
    ASSERT_EQ(lindra_bound(bytes.data(), bytes.size()), 0);
    GSHHSHdr header, *to = &header;
    int polygons = 0;
    while (position < end && gshhs_unstuff_hdr(&to, &position) == 0 && gshhs_skip_pts(to, &position) == 0) {
        EXPECT_EQ(header.id, polygons++);
        EXPECT_EQ(header.version, 13);
    }
    lindra_unbound(bytes.data());
    EXPECT_EQ(position, end);
    EXPECT_EQ(polygons, 1781);
}

TEST_F(DebianFiles, checked_in_crude_file_differs_in_boxes_and_ancestors_only) {
    link_binned('c');
    run();
    const auto own = read_polygons(native('c'));
    const auto checked_in = read_polygons(fs::path(LINDRA_SOURCE_DIR) / "data/maps/lindra/gshhs_c.b");
    ASSERT_EQ(own.size(), checked_in.size());
    for (size_t i = 0; i < own.size(); i++) {
        const RecordedPolygon &one = own[i], &other = checked_in[i];
        EXPECT_EQ(one.points, other.points);
        EXPECT_EQ(std::tie(one.id, one.flags, one.area, one.area_full, one.container),
                  std::tie(other.id, other.flags, other.area, other.area_full, other.container));
        EXPECT_EQ(one.ancestor, -1);
        EXPECT_GE(other.ancestor, 0);
    }
}

TEST_F(DebianFiles, crude_lines_are_those_checked_in) {
    for (const char *kind : {"border", "river"}) {
        const std::string stem = std::string("binned_") + kind + "_c";
        fs::create_symlink(fs::path(debian_directory) / (stem + ".nc"), from() / (stem + ".nc"));
    }
    ::testing::internal::CaptureStdout();
    run(false);
    const std::string maps = (to() / "maps/lindra").string();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              maps + "/binned_border_c.cdf: 1397 segments, 33540 bytes\n" + maps +
                  "/binned_river_c.cdf: 26554 segments, 432360 bytes\n");
    for (const char *name : {"binned_border_c.cdf", "binned_river_c.cdf"})
        EXPECT_TRUE(read_bytes(to() / "maps/lindra" / name) ==
                    read_bytes(fs::path(LINDRA_SOURCE_DIR) / "data/maps/lindra" / name));
}

TEST_F(DebianFiles, import_goes_on_to_its_end_when_nobody_reads_its_lines_any_more) {
    link_binned('c');
    for (const char *kind : {"border", "river"}) {
        const std::string stem = std::string("binned_") + kind + "_c";
        fs::create_symlink(fs::path(debian_directory) / (stem + ".nc"), from() / (stem + ".nc"));
    }
    {
        const GoneReader gone;
        EXPECT_NO_THROW(run(false));
    }
    for (const char *name : {"gshhs_c.b", "binned_border_c.cdf", "binned_river_c.cdf"})
        EXPECT_TRUE(fs::exists(to() / "maps/lindra" / name)) << name;
}

TEST_F(DebianFiles, coastline_under_the_name_of_a_line_file_is_refused) {
    fs::create_symlink(fs::path(debian_directory) / "binned_GSHHS_c.nc", from() / "binned_river_c.nc");
    EXPECT_EQ(refusal(), (from() / "binned_river_c.nc").string() +
                             " is no binned line file: gmtmap_process_border_hdr: Cannot find "
                             "\"N_points_for_a_segment\" variable in netcdf header");
}

TEST_F(DebianFiles, damaged_line_file_is_refused) {
    const fs::path name = from() / "binned_border_c.nc";
    std::ofstream(name) << "this is text";
    EXPECT_EQ(refusal().find(name.string() + " cannot be copied: "), 0U);
    std::ofstream(name, std::ios::binary | std::ios::trunc)
        << read_bytes(fs::path(debian_directory) / "binned_border_c.nc").substr(0, 40000);
    EXPECT_EQ(refusal().find(name.string() + " "), 0U);
}

// The whole set is large, and its packages are not needed for anything else: these tests have a label of
// their own.
using DebianFullFile = DebianFiles;

TEST_F(DebianFullFile, checked_in_crude_file_is_the_one_made_with_it) {
    link_binned('c');
    link_binned('f');
    run();
    EXPECT_TRUE(read_bytes(native('c')) ==
                read_bytes(fs::path(LINDRA_SOURCE_DIR) / "data/maps/lindra/gshhs_c.b"));
    expect_figures({'f', 188612, 10938801, {{1, 179832}, {2, 6659}, {3, 1437}, {4, 11}, {5, 329}, {6, 344}}});
}

} // namespace

} // namespace lindra::test
