// SPDX-License-Identifier: MIT
#include "shapefile_files.hpp"
#include "temporary_directory.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <new>
#include <ranges>
#include <sys/mman.h>

namespace lindra::test {
namespace {

static_assert(std::forward_iterator<part_range::iterator>);
static_assert(std::ranges::sized_range<part_range>);

const Path triangle = {{0, 0}, {0, 1}, {1, 0}, {0, 0}};

std::string three_points() {
    return main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4), point_shape(5, 6)});
}

// A large file in memory that is nothing but zeros behind its first bytes, which takes no memory.
class LargeZeros {
  public:
    LargeZeros(const std::string &begin, size_t size) : size_(size) {
        data_ =
            mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (data_ == MAP_FAILED) throw std::bad_alloc();
        memcpy(data_, begin.data(), begin.size());
    }
    ~LargeZeros() { munmap(data_, size_); }
    LargeZeros(const LargeZeros &) = delete;
    LargeZeros &operator=(const LargeZeros &) = delete;

    byte_span span() const { return {static_cast<const unsigned char *>(data_), size_}; }

  private:
    void *data_;
    size_t size_;
};

// The x of each record's first point; -1 where there is none.
std::vector<double> first_xs(const shapefile &file) {
    std::vector<double> xs;
    for (const shape_record &record : file)
        xs.push_back(record.points().empty() ? -1 : record.points()[0].x);
    return xs;
}

using Xs = std::vector<double>;

// --- Correct files ---

TEST(Shapefile, points_are_read_in_place) {
    OpenShapefile file(three_points());
    EXPECT_EQ(file->size(), 3U);
    EXPECT_EQ(file->type(), shape_type::point);
    const shape_record second = (*file)[1];
    EXPECT_EQ(second.number(), 2);
    EXPECT_EQ(second.index(), 1U);
    EXPECT_EQ(second.offset(), 128U);
    EXPECT_EQ(second.type(), shape_type::point);
    EXPECT_EQ(second.points()[0], (shape_point{3, 4}));
    EXPECT_EQ(second.bbox(), (shape_box{3, 4, 3, 4}));
    EXPECT_EQ(second.parts().size(), 1U);
    EXPECT_EQ(second.contents().size(), 20U);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, parts_end_where_the_next_begins) {
    OpenShapefile file(main_file_of(
        SHAPE_POLYLINE, {path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}, {{5, 6}, {7, 8}, {9, 10}}})}));
    const shape_record record = (*file)[0];
    std::vector<size_t> sizes, firsts;
    for (const shape_part part : record.parts()) {
        sizes.push_back(part.size());
        firsts.push_back(part.first_point());
    }
    EXPECT_EQ(sizes, (std::vector<size_t>{2, 3}));
    EXPECT_EQ(firsts, (std::vector<size_t>{0, 2}));
    EXPECT_EQ(record.bbox(), (shape_box{0, 0, 10, 10}));
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, parts_can_be_walked_with_either_increment) {
    OpenShapefile file(
        main_file_of(SHAPE_POLYLINE, {path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}, {{5, 6}, {7, 8}}})}));
    const shape_record record = (*file)[0];
    const part_range parts = record.parts();
    EXPECT_FALSE(parts.empty());
    auto it = parts.begin();
    EXPECT_EQ((*it++).first_point(), 0U);
    EXPECT_EQ((*it).first_point(), 2U);
    EXPECT_EQ(++it, parts.end());
}

TEST(Shapefile, points_and_boxes_are_equal_in_every_number) {
    EXPECT_EQ((shape_point{1, 2}), (shape_point{1, 2}));
    EXPECT_NE((shape_point{1, 2}), (shape_point{9, 2}));
    EXPECT_NE((shape_point{1, 2}), (shape_point{1, 9}));
    const shape_box box = {1, 2, 3, 4};
    EXPECT_EQ(box, (shape_box{1, 2, 3, 4}));
    for (const shape_box &other :
         {shape_box{9, 2, 3, 4}, shape_box{1, 9, 3, 4}, shape_box{1, 2, 9, 4}, shape_box{1, 2, 3, 9}})
        EXPECT_NE(box, other);
}

TEST(Shapefile, a_file_may_have_no_records) {
    OpenShapefile file(main_file(SHAPE_POLYGON, ""));
    EXPECT_TRUE(file->empty());
    EXPECT_EQ(file->begin(), file->end());
    EXPECT_TRUE(file->fields().empty());
    EXPECT_TRUE(file.repairs().empty());
    EXPECT_FALSE(OpenShapefile(three_points())->empty());
}

TEST(Shapefile, the_header_tells_type_and_extent) {
    std::string bytes = three_points();
    bytes.replace(36, 32, le_doubles({1, 2, 5, 6}));
    EXPECT_EQ(OpenShapefile(bytes)->bbox(), (shape_box{1, 2, 5, 6}));
    bytes.replace(32, 4, le32(77));
    OpenShapefile file(bytes);
    EXPECT_EQ(file->type(), shape_type::unknown);
    EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5}));
}

TEST(Shapefile, heights_and_measures_belong_to_points) {
    OpenShapefile file(main_file_of(SHAPE_POLYLINEZ, {path_shape(SHAPE_POLYLINEZ, {{{1, 2}, {3, 4}}}) +
                                                      extras({7, 8}) + extras({9, -1e39})}));
    const shape_record record = (*file)[0];
    EXPECT_EQ(record.z(0), 7);
    EXPECT_EQ(record.z(1), 8);
    EXPECT_EQ(record.m(0), 9);
    EXPECT_EQ(record.m(1), std::nullopt);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, a_shape_with_heights_may_lack_measures) {
    OpenShapefile file(
        main_file_of(SHAPE_POLYLINEZ,
                     {path_shape(SHAPE_POLYLINEZ, {{{1, 2}, {3, 4}}}) + extras({7, 8}),
                      path_shape(SHAPE_POLYLINEZ, {{{5, 6}, {7, 8}}}) + extras({1, 2}) + extras({3, 4})}));
    EXPECT_EQ(file->size(), 2U);
    EXPECT_EQ((*file)[0].z(1), 8);
    EXPECT_FALSE((*file)[0].has_m());
    EXPECT_EQ((*file)[1].m(1), 4);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, a_point_with_a_height_may_lack_its_measure) {
    OpenShapefile file(main_file_of(SHAPE_POINTZ, {le32(SHAPE_POINTZ) + le_doubles({1, 2, 3}),
                                                   le32(SHAPE_POINTZ) + le_doubles({1, 2, 3, 4})}));
    EXPECT_EQ((*file)[0].z(0), 3);
    EXPECT_FALSE((*file)[0].has_m());
    EXPECT_EQ((*file)[1].m(0), 4);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, parts_of_a_multipatch_have_types) {
    const std::string patch =
        le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(2) + le32(7) + le32(0) + le32(3) + le32(1) +
        le32(2) + coordinates({{{0, 0}, {0, 1}, {1, 0}}, triangle}) + extras({1, 2, 3, 4, 5, 6, 7});
    OpenShapefile file(main_file_of(SHAPE_MULTIPATCH, {patch}));
    const shape_record record = (*file)[0];
    auto part = record.parts().begin();
    EXPECT_EQ((*part).type(), part_type::triangle_fan);
    EXPECT_EQ((*part).size(), 3U);
    ++part;
    EXPECT_EQ((*part).type(), part_type::outer_ring);
    EXPECT_EQ((*part).size(), 4U);
    EXPECT_EQ(record.z(6), 7);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, records_stay_valid_when_the_shapefile_moves) {
    const std::string bytes = three_points();
    shapefile file({{reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size()}});
    const shape_record record = file[2];
    const shapefile moved = std::move(file);
    EXPECT_EQ(record.points()[0].x, 5);
    EXPECT_EQ(moved.size(), 3U);
}

// --- Files ---

TEST(Shapefile, the_ending_may_be_in_capitals) {
    const TemporaryDirectory directory;
    EXPECT_EQ(first_xs(shapefile(directory.write("roads.SHP", three_points()))), (Xs{1, 3, 5}));
}

TEST(Shapefile, opens_the_files_beside_the_main_one) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("roads.shp", three_points());
    directory.write("roads.SHX", index_file(SHAPE_POINT, {{156, 20}, {100, 20}, {128, 20}}));
    directory.write("roads.dbf", table_file({{"NAME", 'C', 2}}, {" \xe4 ", " b ", " c "}));
    directory.write("roads.cpg", "1252\r\n");
    const shapefile file(path);
    EXPECT_EQ(first_xs(file), (Xs{5, 1, 3}));
    EXPECT_EQ(file.encoding()->name, "CP1252");
    EXPECT_EQ(file.encoding()->origin, encoding_origin::cpg);
    EXPECT_EQ(file[0].attributes()["NAME"], attribute_value("\xc3\xa4"));
    EXPECT_EQ(shapefile(directory.path() / "roads").size(), 3U);
}

TEST(Shapefile, a_file_in_small_letters_goes_before_one_in_capitals) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("roads.shp", three_points());
    directory.write("roads.shx", index_file(SHAPE_POINT, {{156, 20}, {100, 20}, {128, 20}}));
    directory.write("roads.SHX", index_file(SHAPE_POINT, {{128, 20}, {100, 20}, {156, 20}}));
    EXPECT_EQ(first_xs(shapefile(path)), (Xs{5, 1, 3}));
}

TEST(Shapefile, repairs_need_not_be_heard) {
    const TemporaryDirectory directory;
    std::string line = path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}});
    line.replace(40, 4, le32(900));
    const std::string path = directory.write("roads.shp", main_file_of(SHAPE_POLYLINE, {line}));
    std::filesystem::create_directory(directory.path() / "roads.dbf");
    const shapefile file(path);
    EXPECT_FALSE(file.has_attributes());
    EXPECT_EQ(file[0].points().size(), 2U);
}

TEST(Shapefile, what_is_no_file_beside_the_main_one_is_told_with_its_place) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("roads.shp", three_points());
    std::filesystem::create_directory(directory.path() / "roads.dbf");
    const std::string table = directory.path() / "roads.dbf";
    std::vector<repair> told;
    const shapefile file(path, {"", [&](const repair &each) { told.push_back(each); }});
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].kind, repair_kind::file_beside);
    EXPECT_EQ(told[0].file, table);
    EXPECT_EQ(told[0].offset, 0U);
    EXPECT_EQ(told[0].text, "is no regular file");
}

TEST(Shapefile, records_as_long_as_points_keep_their_types) {
    std::string null_shape = point_shape(3, 4);
    null_shape.replace(0, 4, le32(SHAPE_NULL));
    OpenShapefile file(main_file_of(SHAPE_POINT, {point_shape(1, 2), null_shape, point_shape(5, 6)}));
    ASSERT_EQ(file->size(), 3U);
    EXPECT_EQ((*file)[1].type(), shape_type::null);
    EXPECT_TRUE((*file)[1].points().empty());
    EXPECT_EQ((*file)[2].points()[0], (shape_point{5, 6}));
}

TEST(Shapefile, a_missing_file_is_an_error_that_names_it) {
    try {
        const shapefile file("/nowhere/roads.shp");
        FAIL();
    } catch (const error &reason) {
        EXPECT_EQ(reason.file(), "/nowhere/roads.shp");
        EXPECT_STREQ(reason.what(), "/nowhere/roads.shp: byte 0: No such file or directory");
    }
}

TEST(Shapefile, a_cut_header_is_an_error_with_its_place) {
    try {
        OpenShapefile file(three_points().substr(0, 99));
        FAIL();
    } catch (const error &reason) {
        EXPECT_EQ(reason.offset(), 99U);
        EXPECT_EQ(reason.file(), "memory.shp");
    }
}

TEST(Shapefile, another_kind_of_file_is_an_error) {
    try {
        OpenShapefile file(std::string(200, 'x'));
        FAIL();
    } catch (const error &reason) {
        EXPECT_STREQ(reason.what(), "memory.shp: byte 0: is no main file of a shapefile: it does not begin "
                                    "with the number 9994");
    }
}

TEST(Shapefile, a_record_beyond_the_last_is_an_error) {
    OpenShapefile file(three_points());
    EXPECT_THROW((*file)[3], error);
}

// --- Headers and lengths ---

TEST(Shapefile, the_size_of_the_file_counts_not_what_its_header_says) {
    for (const int64_t words : {0, 50, 64, 1000000, -1}) {
        std::string bytes = three_points();
        bytes.replace(24, 4, be32(words));
        OpenShapefile file(bytes);
        EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5})) << words;
        const std::string told = std::to_string(int64_t{2} * static_cast<uint32_t>(words));
        EXPECT_EQ(file.lines(repair_kind::file_header),
                  Lines{"memory.shp:24: the length field says " + told + " bytes, the file has 184"});
    }
}

TEST(Shapefile, another_version_is_read_as_the_only_one) {
    std::string bytes = three_points();
    bytes.replace(28, 4, le32(1001));
    OpenShapefile file(bytes);
    EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5}));
    EXPECT_EQ(file.lines(repair_kind::file_header), Lines{"memory.shp:28: has version 1001, read as 1000"});
}

TEST(Shapefile, a_length_that_leads_nowhere_is_replaced_by_what_the_shape_takes) {
    for (const int32_t words : {0, 1, -1, 1000, 0x7fffffff}) {
        const std::string line = path_shape(SHAPE_POLYLINE, {{{3, 4}, {5, 6}}});
        OpenShapefile file(main_file(SHAPE_POLYLINE, record_bytes(1, line) + record_bytes(2, line, words) +
                                                         record_bytes(3, line)));
        EXPECT_EQ(first_xs(*file), (Xs{3, 3, 3})) << words;
        EXPECT_EQ(file.told(repair_kind::record_length), 1U) << words;
        EXPECT_EQ(file.repairs()[0].offset, 100 + 8 + line.size() + 4);
    }
}

TEST(Shapefile, a_length_that_leads_nowhere_is_replaced_where_the_index_names_the_record) {
    // Its number is not the next one.
    const std::string line = path_shape(SHAPE_POLYLINE, {{{3, 4}, {5, 6}}});
    const std::string bytes = main_file(SHAPE_POLYLINE, record_bytes(1, line) + record_bytes(7, line, 1000) +
                                                            record_bytes(3, line));
    EXPECT_EQ(OpenShapefile(bytes)->size(), 2U);
    const size_t next = line.size() + 8;
    OpenShapefile file(
        bytes, index_file(SHAPE_POLYLINE,
                          {{100, line.size()}, {100 + next, line.size()}, {100 + 2 * next, line.size()}}));
    ASSERT_EQ(file->size(), 3U);
    EXPECT_EQ((*file)[1].number(), 7);
    EXPECT_EQ((*file)[1].contents().size(), line.size());
    EXPECT_EQ(file.told(repair_kind::record_length), 1U);
}

// How many records a file has that begins with one of that number and a length that leads nowhere.
size_t found_from(int32_t number, const std::vector<size_t> &named) {
    const std::string point = point_shape(1, 2);
    std::vector<std::pair<size_t, size_t>> entries;
    for (const size_t offset : named)
        entries.emplace_back(offset, point.size());
    return OpenShapefile(main_file(SHAPE_POINT, record_bytes(number, point, 1000) + record_bytes(2, point) +
                                                    record_bytes(3, point)),
                         index_file(SHAPE_POINT, entries))
        ->size();
}

TEST(Shapefile, any_entry_of_the_index_may_name_the_record_whose_length_leads_nowhere) {
    EXPECT_EQ(found_from(1, {}), 3U);
    EXPECT_EQ(found_from(7, {}), 2U);
    EXPECT_EQ(found_from(7, {100, 128, 156}), 3U);
    EXPECT_EQ(found_from(7, {156, 128, 100}), 3U);
    EXPECT_EQ(found_from(7, {128, 100, 156}), 3U);
    EXPECT_EQ(found_from(0, {100, 128, 156}), 2U) << "numbers begin with 1";
    EXPECT_EQ(found_from(-1, {100, 128, 156}), 2U);
}

TEST(Shapefile, number_0_is_none_that_is_expected) {
    const std::string point = point_shape(1, 2);
    OpenShapefile file(main_file(SHAPE_POINT, record_bytes(-1, point) + record_bytes(0, point, 1000)));
    EXPECT_EQ(file->size(), 1U);
    EXPECT_EQ(file.lines(repair_kind::gap), Lines{"memory.shp:128: 28 bytes belong to no record"});
}

TEST(Shapefile, a_last_record_whose_length_leads_nowhere_keeps_its_measures) {
    const std::string line = path_shape(SHAPE_POLYLINEM, {{{1, 2}, {3, 4}}}) + extras({8, 9});
    OpenShapefile file(main_file(SHAPE_POLYLINEM, record_bytes(1, line, 0)));
    ASSERT_EQ(file->size(), 1U);
    EXPECT_EQ((*file)[0].contents().size(), line.size());
    EXPECT_EQ((*file)[0].m(1), 9);
    EXPECT_EQ(file.lines(repair_kind::record_length),
              Lines{"memory.shp:104: record 1 has a length of 0 words; read as " +
                    std::to_string(line.size()) + " bytes"});
}

TEST(Shapefile, a_last_record_without_its_counts_keeps_what_is_there) {
    OpenShapefile file(main_file(SHAPE_POLYLINE, record_bytes(1, le32(SHAPE_POLYLINE) + "abc", 1000)));
    ASSERT_EQ(file->size(), 1U);
    const shape_record record = (*file)[0];
    EXPECT_EQ(record.contents().size(), 7U);
    EXPECT_EQ(record.type(), shape_type::polyline);
    EXPECT_EQ(file.lines(repair_kind::shape_cut), Lines{"memory.shp:100: record 1 ends before its counts"});
}

TEST(Shapefile, a_header_without_contents_at_the_end_is_a_null_record) {
    OpenShapefile file(main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + record_bytes(2, "")));
    EXPECT_EQ(first_xs(*file), (Xs{1, -1}));
    EXPECT_EQ(file.told(repair_kind::gap), 0U);
    const std::string bytes =
        main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + record_bytes(2, ""));
    OpenShapefile cut(bytes.substr(0, bytes.size() - 1));
    EXPECT_EQ(first_xs(*cut), (Xs{1}));
    EXPECT_EQ(cut.lines(repair_kind::gap), Lines{"memory.shp:128: 7 bytes belong to no record"});
}

TEST(Shapefile, a_shape_beyond_4_gib_is_cut_to_what_a_record_can_have) {
    constexpr uint32_t count = 1 << 28;
    const std::string begin =
        record_bytes(1, le32(SHAPE_POLYLINE) + le_doubles({0, 0, 1, 1}) + le32(1) + le32(count) + le32(0), 0);
    const LargeZeros bytes(file_header(100, SHAPE_POLYLINE) + begin,
                           100 + begin.size() + sizeof(shape_point) * count);
    const shapefile file(shapefile_bytes{bytes.span()});
    ASSERT_EQ(file.size(), 1U);
    EXPECT_EQ(file[0].contents().size(), UINT32_MAX);
    EXPECT_EQ(file[0].points().size(), count - 4);
    EXPECT_EQ(file[0].points()[count - 5], (shape_point{0, 0}));
}

TEST(Shapefile, a_length_that_reaches_over_the_next_record_does_not_hide_it) {
    const std::string line = path_shape(SHAPE_POLYLINE, {{{3, 4}, {5, 6}}});
    const auto words = static_cast<int32_t>(line.size() / 2 + 10);
    OpenShapefile file(main_file(SHAPE_POLYLINE, record_bytes(1, line, words) + record_bytes(2, line) +
                                                     record_bytes(3, line)));
    EXPECT_EQ(file->size(), 3U);
    EXPECT_EQ((*file)[0].contents().size(), line.size());
    EXPECT_EQ(file.lines(repair_kind::record_length),
              Lines{"memory.shp:104: record 1 reaches over the next one; read as " +
                    std::to_string(line.size()) + " bytes"});
    EXPECT_EQ(file.told(repair_kind::gap), 0U);
}

TEST(Shapefile, a_length_that_reaches_over_a_gap_hides_nothing_behind_it) {
    const std::string line = path_shape(SHAPE_POLYLINE, {{{3, 4}, {5, 6}}});
    const auto words = static_cast<int32_t>(line.size() / 2 + 10);
    OpenShapefile file(main_file(SHAPE_POLYLINE, record_bytes(1, line, words) + std::string(6, 'x') +
                                                     record_bytes(2, line) + record_bytes(3, line)));
    EXPECT_EQ(file->size(), 3U);
    const std::string size = std::to_string(line.size());
    EXPECT_EQ(file.lines(repair_kind::gap),
              Lines{"memory.shp:" + std::to_string(108 + line.size()) + ": 6 bytes belong to no record"});
    EXPECT_EQ(file.lines(repair_kind::record_length),
              Lines{"memory.shp:104: record 1 reaches over the next one; read as " +
                    std::to_string(line.size() + 6) + " bytes"});
}

TEST(Shapefile, a_record_without_contents_is_null) {
    OpenShapefile file(main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + record_bytes(2, "") +
                                                  record_bytes(3, point_shape(5, 6))));
    EXPECT_EQ(first_xs(*file), (Xs{1, -1, 5}));
    EXPECT_EQ((*file)[1].type(), shape_type::null);
    EXPECT_EQ(file.told(repair_kind::record_length), 1U);
}

TEST(Shapefile, a_last_record_that_is_cut_keeps_its_whole_points) {
    const std::string line = path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}, {5, 6}}});
    const std::string bytes = main_file_of(SHAPE_POLYLINE, {line, line});
    OpenShapefile file(bytes.substr(0, bytes.size() - 20));
    EXPECT_EQ(file->size(), 2U);
    EXPECT_EQ((*file)[1].points().size(), 1U);
    EXPECT_EQ(file.told(repair_kind::shape_cut), 1U);
}

// --- Gaps ---

TEST(Shapefile, the_walk_finds_the_record_behind_a_gap) {
    for (const char filler : {'\0', '\xff', 'x'}) {
        const std::string gap(46, filler);
        OpenShapefile file(main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + gap +
                                                      record_bytes(2, point_shape(3, 4)) +
                                                      record_bytes(3, point_shape(5, 6))));
        EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5})) << static_cast<int>(filler);
        ASSERT_EQ(file.told(repair_kind::gap), 1U);
        EXPECT_EQ(file.repairs()[0].offset, 128U);
        EXPECT_EQ(file.repairs()[0].text, "46 bytes belong to no record");
    }
}

TEST(Shapefile, a_gap_ends_at_the_next_record_of_the_index) {
    // What follows the record is nothing that a search would believe.
    const std::string tail(12, 'x');
    const std::string bytes =
        main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + std::string(40, 'x') +
                                   record_bytes(2, point_shape(3, 4)) + tail);
    EXPECT_EQ(OpenShapefile(bytes)->size(), 1U);
    OpenShapefile file(bytes, index_file(SHAPE_POINT, {{100, 20}, {168, 20}}));
    EXPECT_EQ(first_xs(*file), (Xs{1, 3}));
    EXPECT_EQ(file.told(repair_kind::gap), 2U);
}

TEST(Shapefile, a_gap_ends_at_the_next_record_of_an_index_in_any_order) {
    // Neither of the records behind the gap is one that a search would believe.
    const std::string tail(12, 'x');
    const std::string bytes =
        main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + std::string(40, 'x') +
                                   record_bytes(2, point_shape(3, 4)) + tail +
                                   record_bytes(3, point_shape(5, 6)) + tail);
    for (const std::vector<std::pair<size_t, size_t>> &entries :
         {std::vector<std::pair<size_t, size_t>>{{100, 20}, {168, 20}, {208, 20}},
          std::vector<std::pair<size_t, size_t>>{{208, 20}, {168, 20}, {100, 20}}}) {
        OpenShapefile file(bytes, index_file(SHAPE_POINT, entries));
        EXPECT_EQ(file->size(), 3U);
        EXPECT_EQ(file.lines(repair_kind::gap), (Lines{"memory.shp:128: 40 bytes belong to no record",
                                                       "memory.shp:196: 12 bytes belong to no record",
                                                       "memory.shp:236: 12 bytes belong to no record"}));
    }
}

TEST(Shapefile, a_gap_may_be_of_odd_size_at_the_end_and_stand_before_the_first_record) {
    OpenShapefile odd(three_points() + std::string(13, 'x'));
    EXPECT_EQ(odd->size(), 3U);
    EXPECT_EQ(odd.lines(repair_kind::gap), Lines{"memory.shp:184: 13 bytes belong to no record"});
    const std::string point = point_shape(1, 2);
    OpenShapefile first(
        main_file(SHAPE_POINT, std::string(12, 'x') + record_bytes(1, point) + record_bytes(2, point)));
    EXPECT_EQ(first->size(), 2U);
    EXPECT_EQ(first.lines(repair_kind::gap), Lines{"memory.shp:100: 12 bytes belong to no record"});
}

// How many records are found where the first one is followed by a gap and by these bytes.
size_t found_behind_a_gap(int32_t type, const std::string &bytes) {
    const std::string line = path_shape(SHAPE_POLYLINE, {{{3, 4}, {5, 6}}});
    OpenShapefile file(main_file(type, record_bytes(1, line) + std::string(12, 'x') + bytes));
    EXPECT_GE(file.told(repair_kind::gap), 1U);
    return file->size();
}

TEST(Shapefile, a_gap_ends_at_a_record_that_convinces) {
    const std::string line = path_shape(SHAPE_POLYLINE, {{{3, 4}, {5, 6}}});
    const auto words = static_cast<int32_t>(line.size() / 2);
    const std::string last = record_bytes(3, line);
    const std::string point = record_bytes(2, point_shape(1, 2));
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, line) + last), 3U);
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, le32(SHAPE_NULL)) + last), 3U);
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, point + last), 2U) << "another type";
    EXPECT_EQ(found_behind_a_gap(77, point + last), 3U) << "the file's type has no meaning";
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(0, line) + last), 2U) << "no number";
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, line, words - 8) + last), 2U)
        << "does not hold its shape";
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, line, words + 4) + last), 2U)
        << "leads to no other";
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, line.substr(0, 24))), 1U)
        << "does not hold its counts";
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, path_shape(SHAPE_POLYLINE, {}))), 2U)
        << "holds no more than its counts";
    EXPECT_EQ(found_behind_a_gap(SHAPE_POLYLINE, record_bytes(2, le32(SHAPE_NULL))), 2U)
        << "holds no more than its type";
}

TEST(Shapefile, an_entry_of_the_index_that_points_into_the_header_leads_to_no_record) {
    const std::string bytes =
        main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) + std::string(40, 'x') +
                                   record_bytes(2, point_shape(3, 4)) + std::string(12, 'x'));
    OpenShapefile file(bytes, index_file(SHAPE_POINT, {{0, 20}, {168, 20}}));
    EXPECT_EQ(first_xs(*file), (Xs{1, 3}));
    EXPECT_EQ(file.told(repair_kind::gap), 2U);
    EXPECT_EQ(file.told(repair_kind::index), 1U);
}

TEST(Shapefile, a_record_without_its_counts_keeps_its_place_before_a_gap) {
    OpenShapefile file(
        main_file(SHAPE_POLYLINE, record_bytes(1, le32(SHAPE_POLYLINE)) + std::string(10, 'x')));
    ASSERT_EQ(file->size(), 1U);
    EXPECT_EQ((*file)[0].contents().size(), 4U);
    EXPECT_EQ(file.told(repair_kind::gap), 1U);
    EXPECT_EQ(file.told(repair_kind::record_length), 0U);
}

TEST(Shapefile, bytes_behind_the_last_record_are_told) {
    OpenShapefile file(three_points() + "abcde");
    EXPECT_EQ(file->size(), 3U);
    EXPECT_EQ(file.told(repair_kind::gap), 1U);
}

// --- Numbers, order, index ---

TEST(Shapefile, numbers_out_of_order_are_kept_and_told) {
    OpenShapefile file(main_file(SHAPE_POINT, record_bytes(7, point_shape(1, 2)) +
                                                  record_bytes(-3, point_shape(3, 4)) +
                                                  record_bytes(3, point_shape(5, 6))));
    EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5}));
    EXPECT_EQ((*file)[1].number(), -3);
    EXPECT_EQ(file.lines(repair_kind::record_number),
              Lines{"memory.shp:100: 2 of 3 records bear another number than their place"});
}

TEST(Shapefile, numbers_are_compared_with_the_order_that_the_index_gives) {
    const std::string bytes =
        main_file(SHAPE_POINT, record_bytes(2, point_shape(1, 2)) + record_bytes(1, point_shape(3, 4)) +
                                   record_bytes(3, point_shape(5, 6)));
    EXPECT_EQ(OpenShapefile(bytes).lines(repair_kind::record_number),
              Lines{"memory.shp:100: 2 of 3 records bear another number than their place"});
    OpenShapefile mended(bytes, index_file(SHAPE_POINT, {{128, 20}, {100, 20}, {156, 20}}));
    EXPECT_EQ(first_xs(*mended), (Xs{3, 1, 5}));
    EXPECT_EQ(mended.told(repair_kind::record_number), 0U);
    OpenShapefile worse(bytes, index_file(SHAPE_POINT, {{156, 20}, {128, 20}, {100, 20}}));
    EXPECT_EQ(worse.lines(repair_kind::record_number),
              Lines{"memory.shp:156: 3 of 3 records bear another number than their place"});
    EXPECT_EQ(
        worse.lines(repair_kind::record_order),
        Lines{"memory.shp:100: has 3 records; the index has 3 in another order or place, and is followed"});
}

TEST(Shapefile, an_index_that_leads_to_every_record_gives_the_order) {
    OpenShapefile file(three_points(), index_file(SHAPE_POINT, {{156, 20}, {100, 20}, {128, 20}}));
    EXPECT_EQ(first_xs(*file), (Xs{5, 1, 3}));
    EXPECT_EQ(file.told(repair_kind::record_order), 1U);
}

TEST(Shapefile, a_record_that_the_index_leaves_out_is_no_longer_valid) {
    OpenShapefile file(three_points(), index_file(SHAPE_POINT, {{100, 20}, {156, 20}}));
    EXPECT_EQ(first_xs(*file), (Xs{1, 5}));
    EXPECT_EQ(file.told(repair_kind::record_order), 1U);
}

TEST(Shapefile, a_blank_entry_of_the_index_keeps_the_place_of_a_null_shape) {
    OpenShapefile file(three_points(), index_file(SHAPE_POINT, {{100, 20}, {0, 0}, {128, 20}, {156, 20}}));
    EXPECT_EQ(first_xs(*file), (Xs{1, -1, 3, 5}));
    EXPECT_EQ((*file)[1].offset(), 0U);
    EXPECT_EQ((*file)[1].number(), 0);
    EXPECT_EQ((*file)[1].type_code(), SHAPE_NULL);
    EXPECT_TRUE((*file)[1].contents().empty());
    EXPECT_EQ(file.lines(repair_kind::record_number),
              Lines{"memory.shp:128: 2 of 4 records bear another number than their place"});
}

TEST(Shapefile, an_index_with_wrong_entries_is_left_aside) {
    struct Wrong {
        std::vector<std::pair<size_t, size_t>> entries;
        std::string told;
    };
    for (const auto &[entries, told] : {Wrong{{{100, 20}, {130, 20}, {156, 20}}, "memory.shx:108: 1 of 3"},
                                        Wrong{{{98, 20}, {130, 20}, {158, 20}}, "memory.shx:100: 3 of 3"},
                                        Wrong{{{100, 20}, {100, 20}, {156, 20}}, "memory.shx:108: 1 of 3"},
                                        Wrong{{{100, 20}, {99999990, 20}}, "memory.shx:108: 1 of 2"}}) {
        OpenShapefile file(three_points(), index_file(SHAPE_POINT, entries));
        EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5}));
        EXPECT_EQ(file.lines(repair_kind::index),
                  Lines{told + " entries lead to no record of their own; the index is left aside"});
    }
}

TEST(Shapefile, a_file_that_is_no_index_is_left_aside) {
    for (const std::string &index : {std::string(300, 'x'), index_file(SHAPE_POINT, {}).substr(0, 99)}) {
        OpenShapefile file(three_points(), index);
        EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5}));
        EXPECT_EQ(file.lines(repair_kind::index),
                  Lines{"memory.shx:0: is no index of a shapefile, and is left aside"});
    }
}

TEST(Shapefile, an_index_may_be_nothing_but_its_header) {
    OpenShapefile file(three_points(), index_file(SHAPE_POINT, {}));
    EXPECT_EQ(first_xs(*file), (Xs{1, 3, 5}));
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, an_index_that_is_cut_is_left_aside) {
    const std::string index = index_file(SHAPE_POINT, {{100, 20}, {128, 20}, {156, 20}});
    OpenShapefile file(three_points(), index.substr(0, index.size() - 8));
    EXPECT_EQ(file->size(), 3U);
    EXPECT_EQ(file.lines(repair_kind::index),
              (Lines{"memory.shx:24: the length field says 124 bytes, the file has 116",
                     "memory.shx:100: is cut, and is left aside"}));
}

// --- Shapes ---

TEST(Shapefile, a_type_without_a_meaning_is_a_record_without_a_shape) {
    OpenShapefile file(main_file(SHAPE_POINT, record_bytes(1, point_shape(1, 2)) +
                                                  record_bytes(2, le32(77) + std::string(20, 'x')) +
                                                  record_bytes(3, point_shape(5, 6))));
    EXPECT_EQ(file->size(), 3U);
    EXPECT_EQ((*file)[1].type(), shape_type::unknown);
    EXPECT_EQ((*file)[1].type_code(), 77);
    EXPECT_TRUE((*file)[1].points().empty());
    EXPECT_EQ(file.told(repair_kind::shape_type), 3U); // whenever it is looked at
}

TEST(Shapefile, no_number_between_those_of_the_format_has_a_meaning) {
    for (const int32_t type : {-1, 2, 4, 30, 32}) {
        OpenShapefile file(main_file_of(SHAPE_POINT, {le32(type) + std::string(20, 'x')}));
        ASSERT_EQ(file->size(), 1U) << type;
        EXPECT_EQ((*file)[0].type(), shape_type::unknown) << type;
        EXPECT_EQ((*file)[0].type_code(), type);
    }
}

TEST(Shapefile, a_type_without_a_meaning_is_let_pass_in_a_sound_place_only) {
    const std::string unknown = le32(77) + std::string(20, 'x');
    const std::string first = record_bytes(1, point_shape(1, 2));
    for (const std::string &middle : {record_bytes(2, unknown) + record_bytes(3, unknown),
                                      record_bytes(0, unknown), record_bytes(-2, unknown)}) {
        OpenShapefile file(main_file(SHAPE_POINT, first + middle + record_bytes(4, point_shape(5, 6))));
        EXPECT_EQ(first_xs(*file), (Xs{1, 5}));
        ASSERT_EQ(file.told(repair_kind::gap), 1U);
        EXPECT_EQ(file.repairs()[0].text, std::to_string(middle.size()) + " bytes belong to no record");
    }
}

TEST(Shapefile, a_shape_may_have_no_parts_and_no_points) {
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {path_shape(SHAPE_POLYLINE, {})}));
    const shape_record record = (*file)[0];
    EXPECT_TRUE(record.points().empty());
    EXPECT_TRUE(record.parts().empty());
    EXPECT_EQ(record.bbox(), (shape_box{0, 0, 10, 10}));
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Shapefile, points_without_parts_may_be_none) {
    OpenShapefile file(main_file_of(SHAPE_MULTIPOINT, {multipoint_shape({})}));
    const shape_record record = (*file)[0];
    EXPECT_TRUE(record.parts().empty());
    EXPECT_EQ(record.parts().begin(), record.parts().end());
    EXPECT_TRUE(file.repairs().empty());
}

// What is told of the only record of a file.
Lines cuts_told_of(const std::string &shape) {
    OpenShapefile file(main_file_of(SHAPE_POINT, {shape}));
    EXPECT_EQ((*file)[0].number(), 1);
    return file.lines(repair_kind::shape_cut);
}

TEST(Shapefile, what_does_not_fit_in_a_record_is_told) {
    const std::string line = path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}});
    const std::string line_z = path_shape(SHAPE_POLYLINEZ, {{{1, 2}, {3, 4}}});
    const std::string line_m = path_shape(SHAPE_POLYLINEM, {{{1, 2}, {3, 4}}});
    const std::string line_zm = line_z + extras({5, 6});
    const auto cut = [](const std::string &shape) { return shape.substr(0, shape.size() - 2); };
    const auto lines = [](const std::string &text) { return Lines{"memory.shp:100: record 1 " + text}; };
    EXPECT_EQ(cuts_told_of(point_shape(1, 2)), Lines());
    EXPECT_EQ(cuts_told_of(cut(point_shape(1, 2))), lines("ends within its point"));
    EXPECT_EQ(cuts_told_of(path_shape(SHAPE_POLYLINE, {})), Lines());
    EXPECT_EQ(cuts_told_of(cut(path_shape(SHAPE_POLYLINE, {}))), lines("ends before its counts"));
    EXPECT_EQ(cuts_told_of(line.substr(0, 46)), lines("has no room for 1 parts"));
    EXPECT_EQ(cuts_told_of(line.substr(0, 48)), lines("has 2 points and room for 0"));
    EXPECT_EQ(cuts_told_of(line), Lines());
    EXPECT_EQ(cuts_told_of(cut(line)), lines("has 2 points and room for 1"));
    EXPECT_EQ(cuts_told_of(line_zm), Lines());
    EXPECT_EQ(cuts_told_of(cut(line_zm)), lines("has no room for its heights"));
    EXPECT_EQ(cuts_told_of(line_z), lines("has no room for its heights"));
    EXPECT_EQ(cuts_told_of(line_m), Lines());
    EXPECT_EQ(cuts_told_of(line_m + "ab"), lines("ends within its measures"));
    EXPECT_EQ(cuts_told_of(line_m + extras({8, 9})), Lines());
    EXPECT_EQ(cuts_told_of(cut(line_m + extras({8, 9}))), lines("ends within its measures"));
}

TEST(Shapefile, a_record_of_nothing_but_its_type_has_it) {
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {le32(SHAPE_POLYLINE)}));
    EXPECT_EQ((*file)[0].type_code(), SHAPE_POLYLINE);
    EXPECT_EQ((*file)[0].type(), shape_type::polyline);
}

TEST(Shapefile, measures_end_where_the_format_says) {
    OpenShapefile file(main_file_of(
        SHAPE_POLYLINEM, {path_shape(SHAPE_POLYLINEM, {{{1, 2}, {3, 4}}}) + extras({-1e38, -1.1e38})}));
    EXPECT_EQ((*file)[0].m(0), -1e38);
    EXPECT_EQ((*file)[0].m(1), std::nullopt);
}

TEST(Shapefile, counts_beyond_the_record_are_cut_to_it) {
    std::string line = path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}});
    line.replace(40, 4, le32(0x7fffffff));
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {line}));
    EXPECT_EQ((*file)[0].points().size(), 2U);
    EXPECT_EQ(file.told(repair_kind::shape_cut), 1U);
    line.replace(36, 4, le32(-1));
    EXPECT_TRUE((*OpenShapefile(main_file_of(SHAPE_POLYLINE, {line})))[0].points().empty());
}

TEST(Shapefile, part_indexes_out_of_order_share_no_point) {
    std::string line = path_shape(SHAPE_POLYLINE, {{{1, 2}}, {{3, 4}}, {{5, 6}}});
    line.replace(44, 12, le32(0) + le32(900) + le32(-4));
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {line}));
    const shape_record record = (*file)[0];
    size_t points = 0;
    for (const shape_part part : record.parts())
        points += part.size();
    EXPECT_EQ(points, 3U);
    EXPECT_EQ(record.parts().size(), 3U);
    EXPECT_EQ(file.told(repair_kind::parts), 1U);
}

TEST(Shapefile, a_part_that_would_begin_before_the_one_before_begins_with_it) {
    std::string line = path_shape(SHAPE_POLYLINE, {{{1, 2}}, {{3, 4}}, {{5, 6}}});
    line.replace(44, 12, le32(0) + le32(2) + le32(1));
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {line}));
    const shape_record record = (*file)[0];
    std::vector<size_t> sizes;
    for (const shape_part part : record.parts())
        sizes.push_back(part.size());
    EXPECT_EQ(sizes, (std::vector<size_t>{2, 0, 1}));
    EXPECT_EQ(file.told(repair_kind::parts), 1U);
}

// The numbers of the first points of parts whose indexes are these, in a line of three points.
std::vector<size_t> firsts_of_parts(const std::vector<int32_t> &indexes, Lines &out_told) {
    std::vector<Path> parts(indexes.size());
    parts.front() = {{1, 2}, {3, 4}, {5, 6}};
    std::string line = path_shape(SHAPE_POLYLINE, parts);
    for (size_t i = 0; i < indexes.size(); i++)
        line.replace(44 + 4 * i, 4, le32(indexes[i]));
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {line}));
    const shape_record record = (*file)[0];
    std::vector<size_t> firsts;
    for (const shape_part part : record.parts())
        firsts.push_back(part.first_point());
    out_told = file.lines(repair_kind::parts);
    return firsts;
}

TEST(Shapefile, part_indexes_rise_from_0_to_the_number_of_points) {
    using Firsts = std::vector<size_t>;
    const Lines wrong = {"memory.shp:100: record 1 has part indexes out of order or range"};
    Lines told;
    EXPECT_EQ(firsts_of_parts({0, 0, 3}, told), (Firsts{0, 0, 3}));
    EXPECT_EQ(told, Lines());
    EXPECT_EQ(firsts_of_parts({0, 4}, told), (Firsts{0, 3}));
    EXPECT_EQ(told, wrong);
    EXPECT_EQ(firsts_of_parts({1, 2}, told), (Firsts{1, 2}));
    EXPECT_EQ(told, wrong);
    EXPECT_EQ(firsts_of_parts({-1, 2}, told), (Firsts{0, 2}));
    EXPECT_EQ(told, wrong);
    EXPECT_EQ(firsts_of_parts({0, -1}, told), (Firsts{0, 0}));
    EXPECT_EQ(told, wrong);
}

TEST(Shapefile, points_without_a_part_are_one) {
    const std::string line =
        le32(SHAPE_POLYLINE) + le_doubles({0, 0, 1, 1}) + le32(0) + le32(2) + coordinates({{{1, 2}, {3, 4}}});
    OpenShapefile file(main_file_of(SHAPE_POLYLINE, {line}));
    const shape_record record = (*file)[0];
    ASSERT_EQ(record.parts().size(), 1U);
    EXPECT_EQ((*record.parts().begin()).size(), 2U);
    EXPECT_EQ(file.told(repair_kind::parts), 1U);
}

TEST(Shapefile, points_without_a_part_are_a_plain_one) {
    // The points stand where indexes and types of parts would.
    const std::string patch = le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(0) + le32(2) +
                              coordinates({{{0.1, 0.2}, {0.3, 0.4}}}) + extras({5, 6});
    OpenShapefile file(main_file_of(SHAPE_MULTIPATCH, {patch}));
    const shape_record record = (*file)[0];
    ASSERT_EQ(record.parts().size(), 1U);
    const shape_part part = *record.parts().begin();
    EXPECT_EQ(part.type(), part_type::plain);
    EXPECT_EQ(part.first_point(), 0U);
    EXPECT_EQ(part.size(), 2U);
    EXPECT_EQ(file.lines(repair_kind::parts),
              Lines{"memory.shp:100: record 1 has points and no part, and is read as one"});
}

// --- Damage ---

struct Files {
    std::string shp, shx, dbf;
};

Files sample() {
    const std::string shp = main_file_of(
        SHAPE_POLYGONZ, {path_shape(SHAPE_POLYGONZ, {triangle, triangle}) +
                             extras(std::vector<double>(8, 1.5)) + extras(std::vector<double>(8, 2.5)),
                         path_shape(SHAPE_POLYGONZ, {triangle}) + extras({1, 2, 3, 4}), le32(SHAPE_NULL)});
    const std::string dbf =
        table_file({{"NAME", 'C', 4}, {"SIZE", 'N', 5, 1}, {"DAY", 'D', 8}, {"OK", 'L', 1}},
                   {" one   1.520240229T", "*two  *****00000000?", " \xc3\xa9xx     3        F"});
    return {shp, index_file(SHAPE_POLYGONZ, {{100, 340}, {448, 160}, {616, 4}}), dbf};
}

void expect_result_or_error(const Files &files) {
    try {
        OpenShapefile file(files.shp, files.shx, files.dbf, "UTF-8");
        read_everything(*file);
    } catch (const error &reason) {
        EXPECT_LT(files.shp.size(), 100U) << reason.what();
    }
}

TEST(ShapefileDamage, the_sample_is_sound) {
    const Files files = sample();
    OpenShapefile file(files.shp, files.shx, files.dbf, "UTF-8");
    EXPECT_EQ(file->size(), 3U);
    EXPECT_GT(read_everything(*file), 100U);
    EXPECT_EQ(file.told(repair_kind::gap) + file.told(repair_kind::index) + file.told(repair_kind::table),
              0U);
}

TEST(ShapefileDamage, a_main_file_may_end_at_any_byte) {
    const Files files = sample();
    for (size_t size = 0; size < files.shp.size(); size++) {
        expect_result_or_error({files.shp.substr(0, size), files.shx, files.dbf});
        expect_result_or_error({files.shp.substr(0, size), "", ""});
    }
}

TEST(ShapefileDamage, an_index_may_end_at_any_byte) {
    const Files files = sample();
    for (size_t size = 0; size < files.shx.size(); size++)
        expect_result_or_error({files.shp, files.shx.substr(0, size), files.dbf});
}

TEST(ShapefileDamage, a_table_may_end_at_any_byte) {
    const Files files = sample();
    for (size_t size = 0; size < files.dbf.size(); size++)
        expect_result_or_error({files.shp, files.shx, files.dbf.substr(0, size)});
}

TEST(ShapefileDamage, any_byte_may_be_wrong) {
    const Files files = sample();
    const auto spoil = [&](std::string Files::*file) {
        for (size_t at = 0; at < (files.*file).size(); at++)
            for (const char wrong : {'\0', '\x01', '\x7f', '\x80', '\xff'}) {
                Files spoiled = files;
                (spoiled.*file)[at] = wrong;
                try {
                    OpenShapefile open(spoiled.shp, spoiled.shx, spoiled.dbf, "UTF-8");
                    read_everything(*open);
                } catch (const error &) {
                    EXPECT_TRUE(file == &Files::shp && at < 4) << at;
                }
            }
    };
    spoil(&Files::shp);
    spoil(&Files::shx);
    spoil(&Files::dbf);
}

// --- The two readers ---

struct Decoded {
    explicit Decoded(const std::string &bytes) : buffer(bytes) {
        unsigned char *position = buffer.data();
        lindra_bound(buffer.data(), buffer.size());
        status = esri_unstuff_stream(ESRI_FILE, &file, buffer.data(), &position);
    }
    ~Decoded() {
        lindra_unbound(buffer.data());
        lindra_free_esri(ESRI_FILE, file);
    }
    GuardedBuffer buffer;
    void *file = nullptr;
    int status;
};

TEST(Shapefile, both_readers_give_the_same_bits_for_a_correct_file) {
    const std::string line =
        path_shape(SHAPE_POLYLINE, {{{0.1, 1e300}, {-0.0, 5e-324}}, {{1.0 / 3, 4}, {5, 6}}});
    const std::string bytes = main_file_of(SHAPE_POLYLINE, {line, line});
    const Decoded strict(bytes);
    OpenShapefile tolerant(bytes);
    ASSERT_EQ(strict.status, 0);
    Tbl *records = static_cast<SHPFILE *>(strict.file)->records;
    ASSERT_EQ(counttbl(records), static_cast<int>(tolerant->size()));
    for (int i = 0; i < counttbl(records); i++) {
        const auto *record = static_cast<const SHPRECORD *>(gettbl(records, i));
        const auto *shape = static_cast<const SHPRECPOLYL *>(record->shape);
        const shape_record seen = (*tolerant)[static_cast<size_t>(i)];
        EXPECT_EQ(record->offset, seen.offset());
        ASSERT_EQ(static_cast<size_t>(shape->numpoints), seen.points().size());
        EXPECT_EQ(memcmp(shape->points, seen.points().bytes().data(), seen.points().bytes().size()), 0);
    }
}

TEST(Shapefile, the_fields_of_every_type_are_found) {
    for (const auto &[type, name] : shp::types) {
        const std::string bytes = shp::file(type, {shp::record(1, shp::shape(type))});
        OpenShapefile file(bytes);
        const shape_record record = (*file)[0];
        EXPECT_EQ(static_cast<int32_t>(record.type()), type);
        const int count = type == SHAPE_NULL ? 0 : shp::is_point(type) ? 1 : 3;
        ASSERT_EQ(record.points().size(), static_cast<size_t>(count)) << name;
        EXPECT_EQ(record.parts().size(), count == 0 ? 0U : shp::has_parts(type) ? 2U : 1U) << name;
        if (count == 3) {
            EXPECT_EQ(record.bbox(), (shape_box{shp::x_of(0), shp::y_of(3), shp::x_of(3), shp::y_of(0)}));
        }
        for (int i = 0; i < count; i++) {
            const int which = count == 1 ? 1 : i;
            const auto at = static_cast<size_t>(i);
            EXPECT_EQ(record.points()[at], (shape_point{shp::x_of(which), shp::y_of(which)})) << name;
            EXPECT_EQ(record.z(at), shp::has_z(type) ? std::optional(shp::z_of(which)) : std::nullopt)
                << name;
            EXPECT_EQ(record.m(at), shp::has_m(type) ? std::optional(shp::m_of(which)) : std::nullopt)
                << name;
        }
        EXPECT_EQ(file.told(repair_kind::shape_cut) + file.told(repair_kind::gap), 0U) << name;
    }
}

} // namespace
} // namespace lindra::test
