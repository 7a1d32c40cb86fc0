// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "gmt_builder.hpp"
#include "leak_allowed.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

using namespace lindra::test;

namespace {

struct Gmt : testing::Test {
    TemporaryDirectory directory;
    Environment own_data{"LINDRA_DATA", directory.path().c_str()};
    Environment no_home{"XDG_DATA_HOME", directory.path().c_str()};
    Environment no_system{"XDG_DATA_DIRS", "/nonexistent"};
    LogCapture log;
    BinnedLines lines;

    std::string put(const std::string &name, const std::string &bytes) {
        return directory.write("maps/lindra/binned_" + name + ".cdf", bytes);
    }
    std::string put(const std::string &name, const BinnedFile &file) { return put(name, file.bytes()); }

    // The bins of the selected segments, as column * 100 + row.
    std::vector<int> places() {
        std::vector<int> all;
        for (int i = 0; i < lines.gmt->nsegs; i++) {
            const GmtSeg &seg = lines.gmt->segs[i];
            all.push_back(static_cast<int>(std::lround(seg.west / seg.file->dlon)) * 100 +
                          static_cast<int>(std::lround((90 - seg.south) / seg.file->dlat)) - 1);
        }
        return all;
    }
    std::vector<int> levels() {
        std::vector<int> all;
        for (int i = 0; i < lines.gmt->nsegs; i++)
            all.push_back(lines.gmt->segs[i].level);
        return all;
    }

    // One segment in every bin, of the level given.
    static BinnedFile everywhere(int nlon = 36, int nlat = 18, int level = 1) {
        BinnedFile file{nlon, nlat};
        for (int bin = 0; bin < nlon * nlat; bin++)
            file.bins[bin] = {{level}};
        return file;
    }
    static BinnedFile one(BinnedSegment segment, int bin = 0) {
        BinnedFile file;
        file.bins[bin] = {segment};
        return file;
    }

    // What is said when a header with something wrong is loaded.
    std::string complaint(const std::function<void(RawHeader &)> &spoil) {
        const BinnedFile file = one({});
        RawHeader header = BinnedFile::header(file.data());
        spoil(header);
        const std::string path = put("border_c", BinnedFile::join(header, file.data()));
        const LeakAllowed header_is_not_released;
        BinnedLines fresh;
        EXPECT_EQ(fresh.select("p:1"), -1);
        EXPECT_EQ(fresh.gmt->files[0].hdr, nullptr);
        const Lines said = log.take();
        EXPECT_EQ(said.size(), 2U);
        EXPECT_EQ(said.back(), "0 gmtmap_select: gmtmap_process_border_hdr(" + path + ") error.\n");
        return said.front();
    }
    // What is said when the data are wrong.
    std::string complaint_of_data(const std::function<void(std::map<std::string, std::string> &)> &spoil) {
        const BinnedFile file = one({});
        auto data = file.data();
        const RawHeader header = BinnedFile::header(data);
        spoil(data);
        put("border_c", BinnedFile::join(header, data));
        const LeakAllowed header_is_not_released;
        BinnedLines fresh;
        EXPECT_EQ(fresh.select("p:1"), -1);
        EXPECT_EQ(fresh.gmt->nsegs, 0);
        return log.take().front();
    }
};

using Ints = std::vector<int>;

RawVariable &named(RawHeader &header, const std::string &name) {
    for (RawVariable &var : header.vars)
        if (var.name == name) return var;
    throw std::runtime_error("no variable " + name);
}

} // namespace

// --- Opening

TEST_F(Gmt, new_handle_names_its_files) {
    const char *names[] = {"border_c.cdf", "border_l.cdf", "border_i.cdf", "border_h.cdf", "border_f.cdf",
                           "river_c.cdf",  "river_l.cdf",  "river_i.cdf",  "river_h.cdf",  "river_f.cdf"};
    for (int i = 0; i < 10; i++)
        EXPECT_STREQ(lines.gmt->files[i].name, names[i]);
    EXPECT_EQ(lines.gmt->nsegs, 0);
}

TEST_F(Gmt, opening_again_empties_the_selection_and_keeps_files_and_storage) {
    put("border_c", everywhere());
    EXPECT_EQ(lines.select("p:1"), 648);
    lines.gmt->iseg = 3;
    const GmtSeg *storage = lines.gmt->segs;
    EXPECT_EQ(gmtmap_open(&lines.gmt), 0);
    EXPECT_EQ(lines.gmt->nsegs, 0);
    EXPECT_EQ(lines.gmt->iseg, 0);
    EXPECT_EQ(lines.gmt->nselect, 0);
    EXPECT_EQ(lines.gmt->select[0].file, nullptr);
    EXPECT_EQ(lines.gmt->segs, storage);
    EXPECT_NE(lines.gmt->files[0].hdr, nullptr);
}

TEST_F(Gmt, opening_asks_for_the_handle_alone) {
    GmtMap *gmt = nullptr;
    {
        const AllocationWatch watch;
        EXPECT_EQ(gmtmap_open(&gmt), 0);
        EXPECT_EQ(watch.requested(), sizeof(GmtMap));
    }
    lindra_free_gmtmap(gmt);
}

TEST_F(Gmt, opening_without_memory_is_one_message) {
    GmtMap *gmt = nullptr;
    {
        const AllocationWatch watch(1);
        EXPECT_EQ(gmtmap_open(&gmt), -1);
    }
    EXPECT_EQ(gmt, nullptr);
    EXPECT_EQ(log.take(), Lines{"1 gmtmap_open: malloc(gmtmap) error.\n"});
}

// --- Lists, masks, resolutions

TEST_F(Gmt, mask_is_the_number_from_the_third_character) {
    BinnedFile file;
    file.bins[0] = {{1}, {2}, {3}, {4}};
    put("border_c", file);
    const std::pair<const char *, Ints> masks[] = {{"p:1", {1}}, {"p:3", {1, 2}}, {"p/12", {3, 4}},
                                                   {"p", {}},    {"p:0", {}},     {"p:-1", {1, 2, 3, 4}},
                                                   {"px8", {4}}, {"p:", {}}};
    for (const auto &[word, expected] : masks) {
        EXPECT_EQ(lines.select(word), static_cast<int>(expected.size())) << word;
        EXPECT_EQ(levels(), expected) << word;
    }
}

TEST_F(Gmt, segments_come_in_the_order_of_the_list) {
    put("border_c", everywhere(2, 1));
    put("river_c", everywhere(1, 1));
    lines.gmt->select[0].type[1] = lines.gmt->select[1].type[1] = 'x';
    EXPECT_EQ(lines.select("r:1 p:1"), 3);
    EXPECT_EQ(lines.gmt->segs[0].kind, 3);
    EXPECT_EQ(lines.gmt->segs[1].kind, 4);
    EXPECT_EQ(lines.gmt->segs[2].kind, 4);
    EXPECT_STREQ(lines.gmt->select[0].type, "r");
    EXPECT_STREQ(lines.gmt->select[1].type, "p");
}

TEST_F(Gmt, list_without_usable_word_selects_nothing_and_leaves_the_resolution) {
    strcpy(lines.gmt->resolution, "before");
    EXPECT_EQ(lines.select("c:1 f:0"), 0);
    EXPECT_EQ(lines.select(""), 0);
    EXPECT_STREQ(lines.gmt->resolution, "before");
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Gmt, fifth_word_is_ignored) {
    put("border_c", everywhere(1, 1));
    EXPECT_EQ(lines.select("p:1 p:1 p:1 p:1 r:1"), 4);
    EXPECT_EQ(lines.gmt->nselect, 4);
}

TEST_F(Gmt, resolution_is_its_first_letter) {
    for (const char *letter : {"c", "l", "i", "h", "f"}) {
        put(std::string("border_") + letter, everywhere(1, 1));
        put(std::string("river_") + letter, everywhere(1, 1));
    }
    const std::pair<const char *, int> words[] = {{"c", 0}, {"low", 1}, {"i", 2}, {"hi", 3},
                                                  {"f", 4}, {"x", 2},   {"", 2}};
    const char *names[] = {"crude", "low", "intermediate", "high", "full"};
    for (auto [word, index] : words) {
        EXPECT_EQ(lines.select("p:1 r:1", word), 2);
        EXPECT_STREQ(lines.gmt->resolution, names[index]);
        EXPECT_EQ(lines.gmt->segs[0].file, &lines.gmt->files[index]);
        EXPECT_EQ(lines.gmt->segs[1].file, &lines.gmt->files[5 + index]);
    }
    for (int letter = 1; letter < 256; letter++) {
        const char word[] = {static_cast<char>(letter), 'c', '\0'};
        if (strchr("clihf", word[0])) continue;
        EXPECT_EQ(lines.select("p:1", word), 1);
        EXPECT_STREQ(lines.gmt->resolution, "intermediate") << letter;
        EXPECT_EQ(lines.gmt->segs[0].file, &lines.gmt->files[2]);
    }
}

TEST_F(Gmt, levels_without_a_bit_match_no_mask) {
    BinnedFile file;
    file.bins[0] = {{0}, {10}, {33}, {-1}, {32}, {32767}};
    put("river_c", file);
    EXPECT_EQ(lines.select("r:-1"), 2);
    EXPECT_EQ(levels(), (Ints{10, 32}));
}

// --- Windows

TEST_F(Gmt, window_across_greenwich_meets_the_bins_where_they_are_stored) {
    put("border_c", everywhere());
    EXPECT_EQ(lines.select("p:1", "c", -5, 5, 0, 10), 2);
    EXPECT_EQ(places(), (Ints{8, 3508}));
    EXPECT_EQ(lines.gmt->segs[0].west, 0);
    EXPECT_EQ(lines.gmt->segs[1].west, 350);
    EXPECT_EQ(lines.gmt->segs[0].south, 0);
}

TEST_F(Gmt, window_is_widened_to_whole_bins) {
    put("border_c", everywhere());
    EXPECT_EQ(lines.select("p:1", "c", 11, 19, 11, 19), 1);
    EXPECT_EQ(places(), Ints{107});
    EXPECT_EQ(lines.select("p:1", "c", 10, 20, 10, 20), 1);
    EXPECT_EQ(lines.select("p:1", "c", 9.9, 20.1, 9.9, 20.1), 9);
}

TEST_F(Gmt, windows_of_every_range_meet_the_same_bins) {
    put("border_c", everywhere());
    for (double turn : {-360.0, 0.0, 360.0})
        for (double west = 0; west < 360; west += 10) {
            ASSERT_EQ(lines.select("p:1", "c", west + turn, west + turn + 20, -10, 0), 2) << west + turn;
            EXPECT_EQ(lines.gmt->segs[0].south, -10);
        }
    EXPECT_EQ(lines.select("p:1", "c", -180, 180), 648);
    EXPECT_EQ(lines.select("p:1", "c", 0, 360), 648);
    EXPECT_EQ(lines.select("p:1", "c", 20, 10), 0);
}

TEST_F(Gmt, window_that_ends_west_of_minus_360_meets_nothing) {
    put("border_c", everywhere());
    EXPECT_EQ(lines.select("p:1", "c", -400, -360, -10, 0), 0);
    EXPECT_EQ(lines.select("p:1", "c", -400, -350, -10, 0), 1);
}

TEST_F(Gmt, degrees_are_cut_toward_zero) {
    // Bins of 7.2 degrees: the window -7.2 to 7.2 is compared as -7 to 7, and the bin at 352.8 as -8.
    put("border_c", everywhere(50, 18));
    EXPECT_EQ(lines.select("p:1", "c", -7.2, 7.2, 0, 10), 1);
    EXPECT_EQ(places(), Ints{8});
}

namespace {

struct Window {
    double west, east, south, north;
};

// The bins that meet a window, in the order of the file, read off the definition step by step.
Ints bins_met(const GmtMapFile &file, const Window &window) {
    const int lonlo = static_cast<int>(std::floor(window.west / file.dlon) * file.dlon);
    const int lonhi = static_cast<int>(std::ceil(window.east / file.dlon) * file.dlon);
    const int latlo = 90 - static_cast<int>(std::ceil((90 - window.south) / file.dlat) * file.dlat);
    const int lathi = 90 - static_cast<int>(std::floor((90 - window.north) / file.dlat) * file.dlat);
    Ints met;
    for (int bin = 0; bin < file.nbins; bin++) {
        const int south = 90 - static_cast<int>(file.dlat * (bin / file.nbins_lon + 1));
        if (south < latlo || south >= lathi) continue;
        int west = static_cast<int>(file.dlon * (bin % file.nbins_lon)) - 360;
        while (west < lonlo)
            west += 360;
        if (west < lonhi) met.push_back(bin);
    }
    return met;
}

} // namespace

TEST_F(Gmt, random_windows_meet_the_bins_of_the_definition) {
    std::mt19937 random(51);
    std::uniform_real_distribution<double> lon(-800, 800), width(-5, 90), lat(-95, 95), height(-5, 60);
    const std::pair<int, int> grids[] = {{36, 18}, {18, 9}, {7, 13}, {50, 100}, {1, 1}, {500, 2}};
    for (auto [nlon, nlat] : grids) {
        put("border_c", everywhere(nlon, nlat));
        BinnedLines fresh;
        for (int round = 0; round < 300; round++) {
            Window window = {lon(random), 0, lat(random), 0};
            window.east = window.west + width(random);
            window.north = window.south + height(random);
            if (round % 2)
                for (double *side : {&window.west, &window.east, &window.south, &window.north})
                    *side = std::round(*side);
            ASSERT_GE(fresh.select("p:1", "c", window.west, window.east, window.south, window.north), 0);
            const Ints expected = bins_met(fresh.gmt->files[0], window);
            ASSERT_EQ(fresh.gmt->nsegs, static_cast<int>(expected.size()));
            for (size_t i = 0; i < expected.size(); i++) {
                const GmtSeg &seg = fresh.gmt->segs[i];
                ASSERT_EQ(seg.west, expected[i] % nlon * (360.0 / nlon));
                ASSERT_EQ(seg.south, 90.0 - (expected[i] / nlon + 1) * (180.0 / nlat));
            }
        }
    }
}

TEST_F(Gmt, windows_that_are_not_finite_are_refused) {
    put("border_c", everywhere());
    for (double angle : {std::nan(""), std::numeric_limits<double>::infinity(), -1e300})
        for (int which = 0; which < 4; which++) {
            double a[] = {0, 20, 0, 20};
            a[which] = angle;
            EXPECT_EQ(lines.select("p:1", "c", a[0], a[1], a[2], a[3]), -1);
            char expected[100];
            snprintf(expected, sizeof expected, "0 gmtmap_select: angle %g is not between -1e9 and 1e9.\n",
                     angle);
            EXPECT_EQ(log.take(), Lines{expected});
        }
    EXPECT_EQ(lines.select("p:1", "c", -1e9, 1e9, -1e9, 1e9), 648);
}

// --- The index

TEST_F(Gmt, segment_2001_doubles_the_index) {
    BinnedFile file{1, 1};
    file.bins[0] = std::vector<BinnedSegment>(2000);
    put("border_c", file);
    file.bins[0].emplace_back();
    put("border_l", file);
    EXPECT_EQ(lines.select("p:1", "c"), 2000);
    EXPECT_EQ(lines.gmt->segs_alloc, 2000);
    EXPECT_EQ(lines.select("p:1", "l"), 2001);
    EXPECT_EQ(lines.gmt->segs_alloc, 4000);
}

TEST_F(Gmt, room_is_made_for_all_segments_of_a_bin) {
    BinnedFile file{1, 1};
    file.bins[0] = std::vector<BinnedSegment>(9000, {2});
    put("border_c", file);
    EXPECT_EQ(lines.select("p:1"), 0);
    EXPECT_EQ(lines.gmt->segs_alloc, 16000);
}

TEST_F(Gmt, loaded_file_stays_loaded) {
    const std::string path = put("border_c", everywhere());
    EXPECT_EQ(lines.select("p:1"), 648);
    std::filesystem::remove(path);
    EXPECT_EQ(lines.select("p:1", "c", 0, 10, 0, 10), 1);
}

TEST_F(Gmt, each_failing_allocation_is_reported_and_leaves_the_handle_usable) {
    BinnedFile file{2, 1};
    file.bins[0] = std::vector<BinnedSegment>(2000);
    file.bins[1] = {{}};
    const std::string path = put("border_c", file);
    const std::string relative = "maps/lindra/binned_border_c.cdf";
    const Lines known = {"0 gmtmap_select: splitlist() error.\n",
                         "0 gmtmap_select: datafile(" + relative + ") error.\n",
                         "1 gmtmap_select: lindra_bound(" + path + ") error.\n",
                         "0 gmtmap_select: netcdf_unstuff_header(" + path + ") error.\n",
                         "1 gmtmap: malloc(gmt->segs," + std::to_string(2000 * sizeof(GmtSeg)) + ").\n",
                         "1 gmtmap_select: realloc(gmt->segs," + std::to_string(4000 * sizeof(GmtSeg)) +
                             ") error.\n"};
    std::vector<bool> seen(known.size());
    for (int nth = 1;; nth++) {
        const LeakAllowed header_is_not_released;
        BinnedLines fresh;
        bool failed;
        int status;
        {
            const AllocationWatch watch(nth, AllocationWatch::from_then_on);
            status = fresh.select("p:1");
            failed = watch.failed();
        }
        const Lines said = log.take();
        if (!failed) {
            EXPECT_EQ(status, 2001);
            break;
        }
        EXPECT_EQ(status, -1);
        ASSERT_FALSE(said.empty());
        const auto which = std::find(known.begin(), known.end(), said.back());
        ASSERT_NE(which, known.end()) << said.back();
        seen[static_cast<size_t>(which - known.begin())] = true;
        EXPECT_EQ(fresh.gmt->nsegs, which == known.end() - 1 ? 2000 : 0);
        EXPECT_EQ(fresh.select("p:1"), 2001);
        EXPECT_EQ(fresh.gmt->segs_alloc, 4000);
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), static_cast<int>(known.size()));
}

// --- Files that are not there or not right

TEST_F(Gmt, missing_file_is_named_as_it_was_looked_for) {
    EXPECT_EQ(lines.select("r:1", "h"), -1);
    EXPECT_EQ(log.take(), Lines{"0 gmtmap_select: datafile(maps/lindra/binned_river_h.cdf) error.\n"});
}

TEST_F(Gmt, missing_second_file_keeps_the_segments_of_the_first) {
    put("border_h", everywhere(2, 1));
    EXPECT_EQ(lines.select("p:1 r:1", "h"), -1);
    EXPECT_EQ(log.take(), Lines{"0 gmtmap_select: datafile(maps/lindra/binned_river_h.cdf) error.\n"});
    EXPECT_EQ(lines.gmt->nselect, 2);
    EXPECT_EQ(lines.gmt->nsegs, 2);
    EXPECT_EQ(lines.next().type, "p");
}

TEST_F(Gmt, file_that_cannot_be_mapped_is_named_by_its_path) {
    const std::string path = put("border_c", everywhere());
    std::vector<int> taken;
    for (int descriptor; (descriptor = dup(0)) >= 0;)
        taken.push_back(descriptor);
    EXPECT_EQ(lines.select("p:1"), -1);
    for (int descriptor : taken)
        close(descriptor);
    EXPECT_EQ(log.take(), Lines{"0 gmtmap_select: mapfile(" + path + ") error.\n"});
    EXPECT_EQ(lines.select("p:1"), 648);
}

TEST_F(Gmt, file_that_is_no_netcdf_is_named_by_its_path) {
    const std::string path = put("border_c", std::string("\x89HDF\r\n\x1a\n"));
    EXPECT_EQ(lines.select("p:1"), -1);
    EXPECT_EQ(log.take(), (Lines{"0 netcdf_unstuff_header: Wrong magic number.\n",
                                 "0 gmtmap_select: netcdf_unstuff_header(" + path + ") error.\n"}));
}

TEST_F(Gmt, missing_variable_is_named_and_the_file_is_tried_again_later) {
    const char *names[] = {"N_bins_in_360_longitude_range",
                           "N_bins_in_180_degree_latitude_range",
                           "N_bins_in_file",
                           "Id_of_first_segment_in_a_bin",
                           "N_segments_in_a_bin",
                           "N_points_for_a_segment",
                           "Hierarchial_level_of_a_segment",
                           "Id_of_first_point_in_a_segment",
                           "Relative_longitude_from_SW_corner_of_bin",
                           "Relative_latitude_from_SW_corner_of_bin"};
    for (const char *name : names)
        EXPECT_EQ(complaint([&](RawHeader &header) { named(header, name).name += "_"; }),
                  std::string("0 gmtmap_process_border_hdr: Cannot find \"") + name +
                      "\" variable in netcdf header.\n");
    put("border_c", everywhere());
    EXPECT_EQ(lines.select("p:1"), 648);
}

TEST_F(Gmt, record_variable_is_refused) {
    EXPECT_EQ(
        complaint([](RawHeader &header) {
            header.dims.push_back(nc::dimension("time", 0));
            named(header, "N_bins_in_file").ids = {4};
        }),
        "0 gmtmap_process_border_hdr: netcdf \"N_bins_in_file\" variable is a record variable, must be a "
        "non-record variable (fixed).\n");
}

TEST_F(Gmt, number_of_dimensions_must_be_1) {
    EXPECT_EQ(complaint([](RawHeader &header) {
                  named(header, "N_segments_in_a_bin").ids = {1, 1};
              }),
              "0 gmtmap_process_border_hdr: netcdf \"N_segments_in_a_bin\" variable ndims = 2, must be 1.\n");
    EXPECT_EQ(complaint([](RawHeader &header) { named(header, "N_segments_in_a_bin").ids = {}; }),
              "0 gmtmap_process_border_hdr: netcdf \"N_segments_in_a_bin\" variable ndims = 0, must be 1.\n");
}

TEST_F(Gmt, dimension_must_have_the_right_name) {
    EXPECT_EQ(complaint([](RawHeader &header) { named(header, "N_segments_in_a_bin").ids = {2}; }),
              "0 gmtmap_process_border_hdr: netcdf \"N_segments_in_a_bin\" variable dim = "
              "\"Dimension_of_segment_arrays\", must be \"Dimension_of_bin_arrays\".\n");
}

TEST_F(Gmt, type_must_be_the_right_one) {
    EXPECT_EQ(complaint([](RawHeader &header) { named(header, "N_segments_in_a_bin").type = 4; }),
              "0 gmtmap_process_border_hdr: netcdf \"N_segments_in_a_bin\" variable type = 4, must be 3.\n");
    EXPECT_EQ(complaint([](RawHeader &header) { named(header, "N_bins_in_file").type = 3; }),
              "0 gmtmap_process_border_hdr: netcdf \"N_bins_in_file\" variable type = 3, must be 4.\n");
    EXPECT_EQ(
        complaint([](RawHeader &header) { named(header, "Id_of_first_point_in_a_segment").type = 99; }),
        "0 gmtmap_process_border_hdr: netcdf \"Id_of_first_point_in_a_segment\" variable type = 99, must be "
        "4.\n");
}

TEST_F(Gmt, array_outside_the_file_is_damage) {
    for (int32_t begin : {-4, 1 << 20, INT32_MAX, INT32_MIN})
        EXPECT_EQ(
            complaint([&](RawHeader &header) { named(header, "N_segments_in_a_bin").begin = begin; }),
            "0 gmtmap_process_border_hdr: netcdf \"N_segments_in_a_bin\" variable, 648 elements at byte " +
                std::to_string(begin) + ", is cut.\n");
    EXPECT_EQ(complaint([](RawHeader &header) {
                  header.dims[3] = nc::dimension("Dimension_of_point_arrays", -1);
                  named(header, "Relative_longitude_from_SW_corner_of_bin").begin = 8;
              }),
              "0 gmtmap_process_border_hdr: netcdf \"Relative_longitude_from_SW_corner_of_bin\" variable, -1 "
              "elements at "
              "byte 8, is cut.\n");
}

TEST_F(Gmt, array_may_begin_where_the_file_does) {
    const BinnedFile file = one({});
    RawHeader header = BinnedFile::header(file.data());
    named(header, "Relative_latitude_from_SW_corner_of_bin").begin = 0;
    put("border_c", BinnedFile::join(header, file.data()));
    EXPECT_EQ(lines.select("p:1"), 1);
    EXPECT_EQ(lines.gmt->segs[0].rlat, lines.gmt->files[0].hdr->base);
}

TEST_F(Gmt, scalar_has_one_element) {
    EXPECT_EQ(
        complaint([](RawHeader &header) { header.dims[0] = nc::dimension("Dimension_of_scalar", 3); }),
        "0 gmtmap_process_border_hdr: netcdf \"N_bins_in_360_longitude_range\" variable has 3 elements, must "
        "have 1.\n");
}

TEST_F(Gmt, impossible_numbers_of_bins_are_damage) {
    using Data = std::map<std::string, std::string>;
    for (int32_t wrong : {0, -1, INT32_MIN}) {
        EXPECT_EQ(complaint_of_data([&](Data &data) { data["N_bins_in_360_longitude_range"] = be32(wrong); }),
                  "0 gmtmap_process_border_hdr: " + std::to_string(wrong) +
                      " x 18 bins, must be 1 x 1 or more.\n");
        EXPECT_EQ(
            complaint_of_data([&](Data &data) { data["N_bins_in_180_degree_latitude_range"] = be32(wrong); }),
            "0 gmtmap_process_border_hdr: 36 x " + std::to_string(wrong) + " bins, must be 1 x 1 or more.\n");
    }
    for (int32_t wrong : {649, INT32_MAX})
        EXPECT_EQ(complaint_of_data([&](Data &data) { data["N_bins_in_file"] = be32(wrong); }),
                  "0 gmtmap_process_border_hdr: " + std::to_string(wrong) + " bins, must be 648 or less.\n");
    EXPECT_EQ(complaint_of_data([&](Data &data) { data["N_bins_in_360_longitude_range"] = be32(1); }),
              "0 gmtmap_process_border_hdr: 648 bins, must be 18 or less.\n");
}

TEST_F(Gmt, indexes_outside_their_arrays_are_damage) {
    using Data = std::map<std::string, std::string>;
    for (int32_t wrong : {1, -1, INT32_MAX, INT32_MIN})
        EXPECT_EQ(complaint_of_data(
                      [&](Data &data) { data["Id_of_first_segment_in_a_bin"].replace(0, 4, be32(wrong)); }),
                  "0 gmtmap_select: bin 0 has 1 segments from " + std::to_string(wrong) +
                      ", border_c.cdf has 1.\n");
    EXPECT_EQ(complaint_of_data([&](Data &data) { data["N_segments_in_a_bin"].replace(0, 2, be16(32767)); }),
              "0 gmtmap_select: bin 0 has 32767 segments from 0, border_c.cdf has 1.\n");
    for (int32_t wrong : {1, -1, INT32_MAX, INT32_MIN})
        EXPECT_EQ(
            complaint_of_data([&](Data &data) { data["Id_of_first_point_in_a_segment"] = be32(wrong); }),
            "0 gmtmap_select: segment 0 has 2 points from " + std::to_string(wrong) +
                ", border_c.cdf has 2.\n");
    EXPECT_EQ(complaint_of_data([&](Data &data) { data["N_points_for_a_segment"] = be16(65535); }),
              "0 gmtmap_select: segment 0 has 65535 points from 0, border_c.cdf has 2.\n");
}

// Every bin alone is inside the arrays. The index of this file would have 134 million segments.
TEST_F(Gmt, bins_that_share_segments_are_damage_before_memory_is_asked_for) {
    BinnedFile file{64, 64};
    file.bins[0] = std::vector<BinnedSegment>(32767, {1, {{1, 1}}});
    auto data = file.data();
    data["Id_of_first_segment_in_a_bin"] = std::string(size_t{4} * 64 * 64, '\0');
    data["N_segments_in_a_bin"].clear();
    for (int bin = 0; bin < 64 * 64; bin++)
        data["N_segments_in_a_bin"] += be16(32767);
    const std::string bytes = BinnedFile::join(BinnedFile::header(data), data);
    put("border_c", bytes);
    const AllocationWatch watch;
    EXPECT_EQ(lines.select("p:1"), -1);
    EXPECT_LE(watch.requested(), 16 * bytes.size());
    EXPECT_EQ(log.take(), Lines{"0 gmtmap_select: bins to 1 have 65534 segments, border_c.cdf has 32767.\n"});
    EXPECT_EQ(lines.gmt->nsegs, 32767);
    EXPECT_EQ(lines.select("p:1", "c", 0, 5, 88, 90), 32767);
    EXPECT_EQ(lines.select("p:1 p:1 p:1", "c", 0, 5, 88, 90), 3 * 32767);
}

TEST_F(Gmt, damaged_bin_is_told_before_memory_is_asked_for) {
    auto data = one({}).data();
    data["N_segments_in_a_bin"].replace(0, 2, be16(32767));
    put("border_c", BinnedFile::join(BinnedFile::header(data), data));
    EXPECT_EQ(lines.select("p:1"), -1);
    EXPECT_EQ(lines.gmt->segs, nullptr);
}

TEST_F(Gmt, negative_number_of_segments_is_none) {
    const BinnedFile file = one({});
    auto data = file.data();
    data["N_segments_in_a_bin"].replace(0, 2, be16(-1));
    data["Id_of_first_segment_in_a_bin"].replace(0, 4, be32(-1));
    put("border_c", BinnedFile::join(BinnedFile::header(data), data));
    EXPECT_EQ(lines.select("p:1"), 0);
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Gmt, damage_keeps_the_bins_before_it) {
    BinnedFile file = everywhere(4, 1);
    auto data = file.data();
    data["Id_of_first_point_in_a_segment"].replace(8, 4, be32(-1));
    put("border_c", BinnedFile::join(BinnedFile::header(data), data));
    EXPECT_EQ(lines.select("p:1"), -1);
    EXPECT_EQ(lines.gmt->nsegs, 2);
    EXPECT_EQ(lines.next().status, 1);
}

TEST_F(Gmt, every_truncation_is_damage) {
    const std::string whole = everywhere(2, 1).bytes();
    for (size_t size = 0; size < whole.size(); size++) {
        put("border_c", whole.substr(0, size));
        const LeakAllowed header_is_not_released;
        BinnedLines fresh;
        EXPECT_EQ(fresh.select("p:1"), -1) << size;
        EXPECT_GE(log.take().size(), 2U);
    }
}

TEST_F(Gmt, changed_bytes_do_no_harm) {
    const std::string whole = everywhere(3, 2).bytes();
    std::mt19937 random(5);
    std::uniform_int_distribution<size_t> where(0, whole.size() - 1);
    std::uniform_int_distribution<int> what(0, 255);
    int refused = 0;
    for (int round = 0; round < 3000; round++) {
        std::string bytes = whole;
        for (int i = 0; i < 1 + round % 3; i++)
            bytes[where(random)] = static_cast<char>(what(random));
        put("border_c", bytes);
        const LeakAllowed header_is_not_released;
        BinnedLines fresh;
        const int status = fresh.select("p:-1", "c", -180, 180);
        refused += status < 0;
        EXPECT_EQ(status < 0, !log.take().empty());
        for (int i = 0; i < fresh.gmt->nsegs; i++)
            EXPECT_EQ(fresh.next().status, 1);
    }
    EXPECT_GT(refused, 500);
}

TEST_F(Gmt, arrays_of_an_unknown_extent_are_trusted) {
    const BinnedFile file = one({});
    const std::string bytes = file.bytes();
    std::vector<unsigned char> copy(bytes.begin(), bytes.end());
    unsigned char *pos = copy.data();
    GmtMapFile binned = {};
    ASSERT_EQ(netcdf_unstuff_header(&pos, &binned.hdr), 0);
    auto *variable = static_cast<NetcdfVar *>(getarr(binned.hdr->vars_array, "N_segments_in_a_bin"));
    variable->begin = 1 << 20;
    EXPECT_EQ(gmtmap_process_border_hdr(&binned), 0);
    EXPECT_EQ(binned.bin_nsegs, copy.data() + (1 << 20));
    EXPECT_EQ(binned.nbins, 648);
    EXPECT_EQ(binned.dlon, 10);
    EXPECT_EQ(binned.dlat, 10);
    netcdf_clear_header(binned.hdr);
    free(binned.hdr);
}

// The host has read the file itself, and told no extent: what lies outside an array counts as it is.
TEST_F(Gmt, indexes_of_an_unknown_extent_are_trusted) {
    const BinnedFile file = everywhere();
    put("border_c", file);
    const int selected = lines.select("p:1");
    ASSERT_GT(selected, 0);
    const std::string bytes = file.bytes();
    std::vector<unsigned char> copy(bytes.begin(), bytes.end());
    unsigned char *pos = copy.data();
    NetcdfHeader *own = nullptr;
    ASSERT_EQ(netcdf_unstuff_header(&pos, &own), 0);
    static_cast<NetcdfVar *>(getarr(own->vars_array, "N_points_for_a_segment"))->dims[0]->value = 1;
    GmtMapFile &loaded = lines.gmt->files[0];
    std::swap(loaded.hdr, own);
    ASSERT_EQ(gmtmap_process_border_hdr(&loaded), 0);
    EXPECT_EQ(lines.select("p:1"), selected);
    EXPECT_EQ(log.take(), Lines{});
    std::swap(loaded.hdr, own);
    netcdf_clear_header(own);
    free(own);
}

TEST_F(Gmt, header_whose_decoding_failed_is_refused) {
    RawHeader header = BinnedFile::header(one({}).data());
    header.vars.erase(header.vars.begin() + 1, header.vars.end());
    header.vars[0].ids = {9};
    std::string bytes = header.bytes();
    auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
    GmtMapFile binned = {};
    ASSERT_EQ(netcdf_unstuff_header(&pos, &binned.hdr), -1);
    log.take();
    EXPECT_EQ(gmtmap_process_border_hdr(&binned), -1);
    EXPECT_EQ(log.take(), Lines{"0 gmtmap_process_border_hdr: netcdf \"N_bins_in_360_longitude_range\" "
                                "variable was not read to its end.\n"});
    netcdf_clear_header(binned.hdr);
    free(binned.hdr);
}

// --- Delivery

TEST_F(Gmt, corners_of_a_bin_are_delivered_on_its_edges) {
    put("river_c", one({3, {{0, 0}, {65535, 65535}, {13107, 52428}}}, 36 * 8 + 35));
    lines.select("r:4");
    const DeliveredSegment out = lines.next();
    EXPECT_EQ(out.status, 1);
    EXPECT_EQ(out.n, 3);
    EXPECT_EQ(out.lon, (std::vector<float>{350, 360, 352}));
    EXPECT_EQ(out.lat, (std::vector<float>{0, 10, 8}));
    EXPECT_EQ(out.type, "r");
    EXPECT_EQ(out.level, 3);
}

TEST_F(Gmt, end_writes_nothing_and_stays_the_end) {
    put("river_c", one({}));
    lines.select("r:1");
    EXPECT_EQ(lines.next().status, 1);
    for (int again = 0; again < 3; again++) {
        const DeliveredSegment out = lines.next();
        EXPECT_EQ(out.status, 0);
        EXPECT_EQ(out.n, -7);
        EXPECT_EQ(out.level, -7);
        EXPECT_EQ(out.type, "?");
        EXPECT_EQ(lines.nalloc, 2);
        EXPECT_EQ(lines.gmt->iseg, 1);
    }
}

TEST_F(Gmt, points_are_computed_in_double_and_rounded_once) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> any(0, 65535);
    BinnedFile file{36, 18};
    for (int bin = 0; bin < 648; bin++) {
        BinnedSegment segment;
        for (int i = 0; i < 20; i++)
            segment.points.emplace_back(any(random), any(random));
        file.bins[bin] = {segment};
    }
    put("border_c", file);
    ASSERT_EQ(lines.select("p:1"), 648);
    for (int bin = 0; bin < 648; bin++) {
        const DeliveredSegment out = lines.next();
        const auto &points = file.bins[bin][0].points;
        ASSERT_EQ(out.lon.size(), points.size());
        for (size_t i = 0; i < points.size(); i++) {
            const double step = (1.0 / 65535) * 10.0;
            EXPECT_EQ(out.lon[i], static_cast<float>(bin % 36 * 10.0 + points[i].first * step));
            EXPECT_EQ(out.lat[i], static_cast<float>(90.0 - (bin / 36 + 1) * 10.0 + points[i].second * step));
        }
    }
}

TEST_F(Gmt, arrays_are_made_and_grown_to_exactly_what_is_needed) {
    BinnedFile file;
    file.bins[0] = {{1, {{1, 1}, {2, 2}, {3, 3}}},
                    {2, {{1, 1}, {2, 2}}},
                    {3, std::vector<std::pair<int, int>>(7)},
                    {3, std::vector<std::pair<int, int>>(7)},
                    {4, {{1, 1}}}};
    put("border_c", file);
    lines.select("p:-1");
    struct {
        int n, nalloc;
        size_t asked_for;
    } const expected[] = {
        {3, 3, 2 * 3 * sizeof(float)}, {2, 3, 0}, {7, 7, 2 * 7 * sizeof(float)}, {7, 7, 0}, {1, 7, 0}};
    for (const auto &[n, nalloc, asked_for] : expected) {
        int delivered = 0, level = 0;
        char type[2];
        const AllocationWatch watch;
        ASSERT_EQ(gmtmap_nextseg(lines.gmt, &delivered, &lines.nalloc, &lines.lon, &lines.lat, type, &level),
                  1);
        EXPECT_EQ(watch.requested(), asked_for);
        EXPECT_EQ(delivered, n);
        EXPECT_EQ(lines.nalloc, nalloc);
    }
}

TEST_F(Gmt, one_array_without_the_other_is_replaced_like_none) {
    put("border_c", one({}));
    lines.select("p:1");
    for (float **only : {&lines.lon, &lines.lat}) {
        int n = 0, level = 0;
        char type[2];
        free(lines.lon);
        free(lines.lat);
        lines.lon = lines.lat = nullptr;
        lines.select("p:1");
        const AllocationWatch watch;
        *only = static_cast<float *>(malloc(400));
        lines.nalloc = 100;
        EXPECT_EQ(gmtmap_nextseg(lines.gmt, &n, &lines.nalloc, &lines.lon, &lines.lat, type, &level), 1);
        EXPECT_EQ(watch.live(), 2);
        EXPECT_EQ(lines.nalloc, 2);
        EXPECT_NE(lines.lon, nullptr);
        EXPECT_NE(lines.lat, nullptr);
    }
}

TEST_F(Gmt, segment_without_points_sets_its_count_and_nothing_else) {
    BinnedFile file;
    file.bins[0] = {{1, {}}, {1}, {1, {}}};
    put("border_c", file);
    lines.select("p:1");
    const DeliveredSegment out = lines.next();
    EXPECT_EQ(out.status, 1);
    EXPECT_EQ(out.n, 0);
    EXPECT_EQ(out.level, -7);
    EXPECT_EQ(out.type, "?");
    EXPECT_EQ(lines.lon, nullptr);
    EXPECT_EQ(lines.next().n, 2);
    const float *lon = lines.lon;
    EXPECT_EQ(lines.next().n, 0);
    EXPECT_EQ(lines.lon, lon);
    EXPECT_EQ(lines.nalloc, 2);
    EXPECT_EQ(lines.next().status, 0);
}

TEST_F(Gmt, letter_follows_the_kind) {
    put("border_c", one({}));
    const std::pair<int, const char *> kinds[] = {{1, "f"}, {2, "c"}, {3, "r"}, {4, "p"},
                                                  {0, "?"}, {5, "?"}, {-1, "?"}};
    for (auto [kind, letter] : kinds) {
        lines.select("p:1");
        lines.gmt->segs[0].kind = static_cast<int16_t>(kind);
        EXPECT_EQ(lines.next().type, letter);
    }
}

TEST_F(Gmt, failed_first_allocation_leaves_the_segment_next) {
    put("border_c", one({}));
    for (int nth : {1, 2}) {
        lines.select("p:1");
        DeliveredSegment out;
        {
            const AllocationWatch watch(nth);
            out = lines.next();
        }
        EXPECT_EQ(out.status, -1);
        EXPECT_EQ(out.n, -7);
        EXPECT_EQ(lines.nalloc, 0);
        EXPECT_EQ(lines.gmt->iseg, 0);
        EXPECT_EQ(log.take(), Lines{nth == 1 ? "1 gmtmap_nextseg: malloc(lon,8) error.\n"
                                             : "1 gmtmap_nextseg: malloc(lat,8) error.\n"});
        EXPECT_EQ(lines.lon == nullptr, nth == 1);
        EXPECT_EQ(lines.lat, nullptr);
    }
    EXPECT_EQ(lines.next().n, 2);
}

TEST_F(Gmt, failed_growth_leaves_null_and_the_next_call_allocates_anew) {
    BinnedFile file;
    file.bins[0] = {{1}, {1, {{1, 1}, {2, 2}, {3, 3}}}};
    put("border_c", file);
    for (int nth : {1, 2}) {
        BinnedLines fresh;
        fresh.select("p:1");
        fresh.next();
        float *old_lon = fresh.lon;
        float *old_lat = fresh.lat;
        DeliveredSegment out;
        {
            const AllocationWatch watch(nth);
            out = fresh.next();
        }
        EXPECT_EQ(out.status, -1);
        EXPECT_EQ(fresh.nalloc, 2);
        EXPECT_EQ(fresh.gmt->iseg, 1);
        EXPECT_EQ(log.take(), Lines{nth == 1 ? "1 gmtmap_nextseg: realloc(lon,12) error.\n"
                                             : "1 gmtmap_nextseg: realloc(lat,12) error.\n"});
        EXPECT_EQ(fresh.lon == nullptr, nth == 1);
        EXPECT_EQ(fresh.lat == nullptr, nth == 2);
        free(nth == 1 ? old_lon : old_lat);
        EXPECT_EQ(fresh.next().n, 3);
        EXPECT_EQ(fresh.nalloc, 3);
    }
}
