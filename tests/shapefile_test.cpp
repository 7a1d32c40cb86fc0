// SPDX-License-Identifier: MIT
//
// golden/shapes holds the listing of a file of each shape type; LINDRA_BLESS=1 writes them anew.

#include "bounded_buffer.hpp"
#include "log_capture.hpp"
#include "printed.hpp"
#include "shapefile_builder.hpp"

#include "esri_strdefs/registry.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>

using namespace lindra::test;

namespace {

const std::string header_error = "0 esri_decode_shapefile: esri_unstuff_stream() error.\n";
const std::string record_error = "0 esri_decode_shapefile_record: esri_unstuff_stream() error.\n";

struct Shapefile : testing::Test {
    LogCapture log;
    void *file_ = nullptr;
    ptrdiff_t consumed = 0;

    ~Shapefile() override { lindra_free_esri(ESRI_FILE, file_); }

    // Decodes a trusted position.
    int decode(std::string bytes) {
        lindra_free_esri(ESRI_FILE, file_);
        file_ = nullptr;
        auto *base = reinterpret_cast<unsigned char *>(bytes.data());
        unsigned char *pos = base;
        const int status = esri_unstuff_stream(ESRI_FILE, &file_, base, &pos);
        consumed = pos - base;
        return status;
    }

    SHPFILE *file() const { return static_cast<SHPFILE *>(file_); }
    int count() const { return counttbl(file()->records); }
    const SHPRECORD &record(int i) const { return *static_cast<SHPRECORD *>(gettbl(file()->records, i)); }

    template <class Shape>
    const Shape &shape(int i) const {
        return *static_cast<Shape *>(record(i).shape);
    }

    std::string listing(const char *prefix = "") const {
        return printed([&] { esri_print_shapefile(prefix, file()); });
    }
};

template <class Shape>
void expect_points(const Shape &shape, int points) {
    EXPECT_EQ(shape.bbox.xmin, shp::x_of(0));
    EXPECT_EQ(shape.bbox.ymin, shp::y_of(points));
    EXPECT_EQ(shape.bbox.xmax, shp::x_of(points));
    EXPECT_EQ(shape.bbox.ymax, shp::y_of(0));
    ASSERT_EQ(shape.numpoints, points);
    for (int i = 0; i < points; i++) {
        EXPECT_EQ(shape.points[i].x, shp::x_of(i));
        EXPECT_EQ(shape.points[i].y, shp::y_of(i));
    }
}

template <class Shape>
void expect_parts(const Shape &shape, int parts) {
    ASSERT_EQ(shape.numparts, parts);
    for (int i = 0; i < parts; i++)
        EXPECT_EQ(shape.parts[i], i);
}

template <class Shape>
void expect_measures(const Shape &shape, int points) {
    EXPECT_EQ(shape.mmin, shp::m_of(0));
    EXPECT_EQ(shape.mmax, shp::m_of(points));
    for (int i = 0; i < points; i++)
        EXPECT_EQ(shape.marray[i], shp::m_of(i));
}

template <class Shape>
void expect_heights(const Shape &shape, int points) {
    EXPECT_EQ(shape.zmin, shp::z_of(0));
    EXPECT_EQ(shape.zmax, shp::z_of(points));
    for (int i = 0; i < points; i++)
        EXPECT_EQ(shape.zarray[i], shp::z_of(i));
}

template <class Shape>
void expect_point(const Shape &shape) {
    EXPECT_EQ(shape.x, shp::x_of(1));
    EXPECT_EQ(shape.y, shp::y_of(1));
}

} // namespace

// --- Names

TEST(ShapeType, has_the_name_of_the_first_row_with_its_code) {
    const std::pair<unsigned, const char *> names[] = {{0, "Null"},
                                                       {1, "RecordPoint"},
                                                       {3, "RecordPolyLine"},
                                                       {5, "RecordPolygon"},
                                                       {8, "RecordMultiPoint"},
                                                       {11, "RecordPointZ"},
                                                       {13, "RecordPolyLineZ"},
                                                       {15, "RecordPolygonZ"},
                                                       {18, "RecordMultiPointZ"},
                                                       {21, "RecordPointM"},
                                                       {23, "RecordPolyLineM"},
                                                       {25, "RecordPolygonM"},
                                                       {28, "RecordMultiPointM"},
                                                       {31, "RecordMultiPatch"},
                                                       {0x3a, "RecordHdr"},
                                                       {0x3b, "FileHdr"},
                                                       {0x3c, "Box"},
                                                       {0x3d, "Point"},
                                                       {0x3e, "Record"},
                                                       {0x3f, "File"},
                                                       {101, "DbaseFile"},
                                                       {102, "DbaseFileHDR5"},
                                                       {103, "DbaseFileHDR7"},
                                                       {104, "DbaseFieldDescriptor5"},
                                                       {105, "DbaseFieldDescriptor7"},
                                                       {106, "DbaseFieldProperties"}};
    for (auto [code, name] : names)
        EXPECT_STREQ(esri_get_shapetype(code), name);
}

TEST(ShapeType, outside_the_table_is_unknown) {
    for (unsigned code : {2U, 4U, 32U, 107U, 0x40U, UINT_MAX, 0x80000000U})
        EXPECT_STREQ(esri_get_shapetype(code), "Unknown");
}

// --- Files

TEST_F(Shapefile, header_is_decoded_word_by_word) {
    std::string bytes = be32(1) + be32(2) + be32(3) + be32(4) + be32(5) + be32(6) + be32(50);
    bytes += le32(-8) + le32(9);
    for (int i = 0; i < 8; i++)
        bytes += le_double(i + 0.5);
    ASSERT_EQ(decode(bytes), 0);
    const SHPFILEHDR &hdr = file()->hdr;
    EXPECT_EQ(hdr.magic, 1);
    EXPECT_EQ(hdr.unused1, 2);
    EXPECT_EQ(hdr.unused5, 6);
    EXPECT_EQ(hdr.length, 50);
    EXPECT_EQ(hdr.version, -8);
    EXPECT_EQ(hdr.shape_type, 9);
    EXPECT_EQ(hdr.xmin, 0.5);
    EXPECT_EQ(hdr.ymax, 3.5);
    EXPECT_EQ(hdr.zmin, 4.5);
    EXPECT_EQ(hdr.zmax, 5.5);
    EXPECT_EQ(hdr.mmin, 6.5);
    EXPECT_EQ(hdr.mmax, 7.5);
    EXPECT_EQ(consumed, 100);
}

TEST_F(Shapefile, length_of_50_words_or_fewer_is_no_records) {
    for (int32_t words : {50, 49, 1, 0, -1, -1000, INT_MIN, INT_MIN + 50, 0x40000032, INT_MAX}) {
        SCOPED_TRACE(words);
        ASSERT_EQ(decode(shp::header(words, SHAPE_POINT)), 0);
        EXPECT_EQ(count(), 0);
        EXPECT_EQ(consumed, 100);
    }
    EXPECT_EQ(log.take(), Lines{});
}

// Deliberate: see there.
TEST_F(Shapefile, no_records_take_no_memory_but_a_list) {
    std::string bytes = shp::header(50, SHAPE_POINT);
    auto *base = reinterpret_cast<unsigned char *>(bytes.data());
    unsigned char *pos = base;
    SHPFILE own = {};
    {
        const AllocationWatch watch;
        EXPECT_EQ(esri_decode_shapefile(&own, base, &pos), 0);
        EXPECT_EQ(watch.count(), 1);
    }
    lindra_clear_esri(ESRI_FILE, &own);
}

TEST_F(Shapefile, magic_number_version_and_shape_type_of_the_header_are_not_looked_at) {
    std::string bytes = shp::file(77, {shp::record(1, shp::shape(SHAPE_POINT))});
    bytes.replace(0, 4, be32(0));
    bytes.replace(28, 4, le32(-1));
    ASSERT_EQ(decode(bytes), 0);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(record(0).shape_type, SHAPE_POINT);
}

TEST_F(Shapefile, records_of_any_types_follow_each_other) {
    ASSERT_EQ(decode(shp::file(SHAPE_POINT, {shp::record(7, shp::shape(SHAPE_POINT)),
                                             shp::record(-8, shp::shape(SHAPE_NULL)),
                                             shp::record(9, shp::shape(SHAPE_MULTIPOINT, 0, 1))})),
              0);
    ASSERT_EQ(count(), 3);
    EXPECT_EQ(record(0).offset, 100U);
    EXPECT_EQ(record(1).offset, 128U);
    EXPECT_EQ(record(2).offset, 140U);
    EXPECT_EQ(record(0).hdr.number, 7);
    EXPECT_EQ(record(1).hdr.number, -8);
    EXPECT_EQ(record(2).hdr.number, 9);
    EXPECT_EQ(record(0).hdr.length, 10);
    EXPECT_EQ(record(1).hdr.length, 2);
    EXPECT_EQ(record(1).shape_type, SHAPE_NULL);
    EXPECT_EQ(shape<SHPRECNULL>(1).shape_type, SHAPE_NULL);
    EXPECT_EQ(shape<SHPRECMPOINT>(2).numpoints, 1);
    EXPECT_EQ(consumed, 204);
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Shapefile, offset_is_counted_from_the_base) {
    std::string bytes = "12345" + shp::file(SHAPE_NULL, {shp::record(1, shp::shape(SHAPE_NULL))});
    auto *base = reinterpret_cast<unsigned char *>(bytes.data());
    unsigned char *pos = base + 5;
    ASSERT_EQ(esri_unstuff_stream(ESRI_FILE, &file_, base, &pos), 0);
    EXPECT_EQ(record(0).offset, 105U);
}

TEST_F(Shapefile, points_of_each_kind_hold_what_the_file_does) {
    ASSERT_EQ(decode(shp::file(SHAPE_POINT, {shp::record(1, shp::shape(SHAPE_POINT)),
                                             shp::record(2, shp::shape(SHAPE_POINTM)),
                                             shp::record(3, shp::shape(SHAPE_POINTZ))})),
              0);
    expect_point(shape<SHPRECPOINT>(0));
    expect_point(shape<SHPRECPOINTM>(1));
    expect_point(shape<SHPRECPOINTZ>(2));
    EXPECT_EQ(shape<SHPRECPOINTM>(1).m, shp::m_of(1));
    EXPECT_EQ(shape<SHPRECPOINTZ>(2).z, shp::z_of(1));
    EXPECT_EQ(shape<SHPRECPOINTZ>(2).m, shp::m_of(1));
}

TEST_F(Shapefile, multipoints_of_each_kind_hold_what_the_file_does) {
    ASSERT_EQ(decode(shp::file(SHAPE_MULTIPOINT, {shp::record(1, shp::shape(SHAPE_MULTIPOINT, 0, 4)),
                                                  shp::record(2, shp::shape(SHAPE_MULTIPOINTM, 0, 5)),
                                                  shp::record(3, shp::shape(SHAPE_MULTIPOINTZ, 0, 6))})),
              0);
    expect_points(shape<SHPRECMPOINT>(0), 4);
    expect_points(shape<SHPRECMPOINTM>(1), 5);
    expect_points(shape<SHPRECMPOINTZ>(2), 6);
    expect_measures(shape<SHPRECMPOINTM>(1), 5);
    expect_measures(shape<SHPRECMPOINTZ>(2), 6);
    expect_heights(shape<SHPRECMPOINTZ>(2), 6);
}

TEST_F(Shapefile, lines_and_polygons_of_each_kind_hold_what_the_file_does) {
    std::vector<std::string> records;
    for (int type : {SHAPE_POLYLINE, SHAPE_POLYGON, SHAPE_POLYLINEM, SHAPE_POLYGONM, SHAPE_POLYLINEZ,
                     SHAPE_POLYGONZ, SHAPE_MULTIPATCH})
        records.push_back(shp::record(1, shp::shape(type, 3, 7)));
    ASSERT_EQ(decode(shp::file(SHAPE_POLYLINE, records)), 0);
    for (int i : {0, 1}) {
        expect_points(shape<SHPRECPOLYL>(i), 7);
        expect_parts(shape<SHPRECPOLYL>(i), 3);
    }
    for (int i : {2, 3}) {
        expect_points(shape<SHPRECPOLYLM>(i), 7);
        expect_parts(shape<SHPRECPOLYLM>(i), 3);
        expect_measures(shape<SHPRECPOLYLM>(i), 7);
    }
    for (int i : {4, 5}) {
        expect_points(shape<SHPRECPOLYLZ>(i), 7);
        expect_parts(shape<SHPRECPOLYLZ>(i), 3);
        expect_heights(shape<SHPRECPOLYLZ>(i), 7);
        expect_measures(shape<SHPRECPOLYLZ>(i), 7);
    }
    const auto &patch = shape<SHPRECMULTIPA>(6);
    expect_points(patch, 7);
    expect_parts(patch, 3);
    expect_heights(patch, 7);
    expect_measures(patch, 7);
    EXPECT_EQ(patch.parttypes[2], 2);
}

TEST_F(Shapefile, shapes_without_points_have_empty_arrays) {
    ASSERT_EQ(decode(shp::file(SHAPE_POLYGONZ, {shp::record(1, shp::shape(SHAPE_POLYGONZ, 0, 0))})), 0);
    const auto &polygon = shape<SHPRECPOLYGZ>(0);
    EXPECT_NE(polygon.parts, nullptr);
    EXPECT_NE(polygon.points, nullptr);
    EXPECT_NE(polygon.marray, nullptr);
    EXPECT_EQ(consumed, 100 + 8 + 44 + 32);
}

// Deliberate: the next record is read where the tables end.
TEST_F(Shapefile, bytes_behind_a_shape_are_read_as_the_next_record) {
    const std::string inner = shp::record(5, shp::shape(SHAPE_NULL));
    ASSERT_EQ(decode(shp::header(50 + 4 + 8 + 6, SHAPE_NULL) + shp::record_header(1, 8) +
                     shp::shape(SHAPE_NULL) + inner + inner),
              0);
    ASSERT_EQ(count(), 2) << "24 bytes by the first length, 12 by the second";
    EXPECT_EQ(record(1).offset, 112U);
    EXPECT_EQ(record(1).hdr.number, 5);
    EXPECT_EQ(consumed, 124);
}

TEST_F(Shapefile, records_are_counted_by_their_lengths_alone) {
    const std::string shorter = shp::record_header(1, 1) + shp::shape(SHAPE_NULL);
    ASSERT_EQ(decode(shp::header(50 + 10, SHAPE_NULL) + shorter + shorter), 0);
    EXPECT_EQ(count(), 2);
    ASSERT_EQ(decode(shp::header(50 + 11, SHAPE_NULL) + shorter + shorter + shorter), 0);
    EXPECT_EQ(count(), 3);
}

TEST_F(Shapefile, lengths_are_reckoned_in_32_bits) {
    const std::string null = shp::record(1, shp::shape(SHAPE_NULL));
    ASSERT_EQ(decode(shp::header(INT_MIN + 56, SHAPE_NULL) + null), 0);
    EXPECT_EQ(count(), 1) << "2 * length - 100 is 12";
    ASSERT_EQ(decode(shp::header(56, SHAPE_NULL) + shp::record_header(1, INT_MAX - 1) + le32(0) + null), 0);
    EXPECT_EQ(count(), 2) << "8 + 2 * length is 4";
}

TEST_F(Shapefile, decoded_into_a_file_of_the_callers_replaces_its_list) {
    SHPFILE shapefile;
    memset(&shapefile, 0x55, sizeof shapefile);
    std::string bytes = shp::file(SHAPE_NULL, {shp::record(1, shp::shape(SHAPE_NULL))});
    auto *base = reinterpret_cast<unsigned char *>(bytes.data());
    unsigned char *pos = base;
    void *out = &shapefile;
    ASSERT_EQ(esri_unstuff_stream(ESRI_FILE, &out, base, &pos), 0);
    EXPECT_EQ(counttbl(shapefile.records), 1);
    lindra_clear_esri(ESRI_FILE, &shapefile);
    EXPECT_EQ(shapefile.records, nullptr);
}

TEST_F(Shapefile, decoded_directly_empties_the_list_that_is_there) {
    std::string bytes = shp::file(SHAPE_NULL, {shp::record(1, shp::shape(SHAPE_NULL))});
    auto *base = reinterpret_cast<unsigned char *>(bytes.data());
    SHPFILE shapefile = {};
    unsigned char *pos = base;
    ASSERT_EQ(esri_decode_shapefile(&shapefile, base, &pos), 0);
    Tbl *list = shapefile.records;
    void *first = gettbl(list, 0);
    pos = base;
    ASSERT_EQ(esri_decode_shapefile(&shapefile, base, &pos), 0);
    EXPECT_EQ(shapefile.records, list);
    EXPECT_EQ(counttbl(list), 1);
    EXPECT_NE(gettbl(list, 0), first) << "the earlier record is the caller's";
    lindra_free_esri(ESRI_RECORD, first);
    lindra_clear_esri(ESRI_FILE, &shapefile);
}

TEST_F(Shapefile, unknown_shape_type_is_told_by_all_that_met_it) {
    const std::string good = shp::record(1, shp::shape(SHAPE_POINT));
    for (auto [type, name] :
         {std::pair{2, "0x2"}, {-1, "0xffffffff"}, {200, "0xc8"}, {INT_MAX, "0x7fffffff"}}) {
        EXPECT_EQ(decode(shp::file(SHAPE_POINT, {good, shp::record(2, le32(type)), good})), -1);
        EXPECT_EQ(log.take(),
                  (Lines{std::string("0 esri_unstuff_stream: str_type ") + name + " not defined.\n",
                         record_error, header_error}));
        EXPECT_EQ(count(), 1) << "the records before stay";
        EXPECT_EQ(consumed, 100 + 28 + 8) << "the shape type is not taken";
    }
}

TEST_F(Shapefile, trusted_counts_below_zero_are_failed_allocations) {
    std::string polygon = shp::shape(SHAPE_POLYGON);
    polygon.replace(36, 4, le32(-1));
    EXPECT_EQ(decode(shp::file(SHAPE_POLYGON, {shp::record(1, polygon)})), -1);
    EXPECT_EQ(log.take(), (Lines{"1 esri_unstuff_stream: malloc() error.\n", record_error, header_error}));
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(consumed, 100 + 8 + 44);

    std::string points = shp::shape(SHAPE_MULTIPOINT);
    points.replace(36, 4, le32(INT_MIN));
    EXPECT_EQ(decode(shp::file(SHAPE_MULTIPOINT, {shp::record(1, points)})), -1);
    EXPECT_EQ(log.take(), (Lines{"1 esri_unstuff_stream: malloc() error.\n", record_error, header_error}));
}

TEST_F(Shapefile, single_record_is_decoded_by_its_type) {
    std::string bytes = shp::record(3, shp::shape(SHAPE_POINT));
    auto *base = reinterpret_cast<unsigned char *>(bytes.data());
    unsigned char *pos = base;
    void *out = nullptr;
    ASSERT_EQ(esri_unstuff_stream(ESRI_RECORD, &out, base, &pos), 0);
    const auto *single = static_cast<SHPRECORD *>(out);
    EXPECT_EQ(single->offset, 0U);
    EXPECT_EQ(single->hdr.number, 3);
    expect_point(*static_cast<SHPRECPOINT *>(single->shape));
    EXPECT_EQ(pos, base + 28);
    lindra_free_esri(ESRI_RECORD, out);
}

TEST_F(Shapefile, record_may_be_another_registered_structure) {
    std::string header = shp::header(50, SHAPE_NULL);
    header.replace(0, 4, le32(ESRI_FILE));
    ASSERT_EQ(decode(shp::file(0, {shp::record(1, header), shp::record(2, le32(DBASE_FIELDPROPERTIES))})), 0);
    ASSERT_EQ(count(), 2);
    EXPECT_EQ(shape<SHPFILE>(0).hdr.length, 50);
    EXPECT_EQ(counttbl(shape<SHPFILE>(0).records), 0);
    EXPECT_EQ(consumed, 100 + 108 + 8) << "field properties take nothing, not even their type";
    EXPECT_NE(listing().find("Record(0):\n  offset=100\n  RecordHdr:\n    number=1\n    length=50\n"
                             "    FileHdr:\n      magic=1056964608\n"),
              std::string::npos);
}

// --- Runs

TEST_F(Shapefile, runs_of_points_and_boxes_are_what_one_by_one_gives) {
    std::mt19937 random(20);
    for (int round = 0; round < 100; round++) {
        const int n = static_cast<int>(random() % 20);
        std::string coordinates;
        while (coordinates.size() < static_cast<size_t>(n) * sizeof(SHPBOX))
            coordinates += le32(static_cast<int32_t>(random()));
        std::string multipoint = shp::shape(SHAPE_MULTIPOINT, 0, 0);
        multipoint.replace(4, 32, (coordinates + std::string(32, 'b')).substr(0, 32));
        multipoint.replace(36, 4, le32(2 * n));
        ASSERT_EQ(decode(shp::file(8, {shp::record(1, multipoint + coordinates)})), 0);
        const auto &decoded = shape<SHPRECMPOINT>(0);

        const BoundedBuffer buffer(coordinates + std::string(32, 'b'));
        unsigned char *pos = buffer.data();
        SHPBOX box;
        void *out = &box;
        ASSERT_EQ(esri_unstuff_stream(ESRI_BOX, &out, pos, &pos), 0);
        EXPECT_EQ(memcmp(&decoded.bbox, &box, sizeof box), 0);
        pos = buffer.data();
        for (int i = 0; i < 2 * n; i++) {
            SHPPOINT point;
            out = &point;
            ASSERT_EQ(esri_unstuff_stream(ESRI_POINT, &out, buffer.data(), &pos), 0);
            EXPECT_EQ(memcmp(&decoded.points[i], &point, sizeof point), 0);
        }
    }
}

// --- Listings

TEST_F(Shapefile, each_shape_type_has_its_golden_listing) {
    for (auto [type, name] : shp::types) {
        SCOPED_TRACE(name);
        ASSERT_EQ(decode(shp::file(type, {shp::record(1, shp::shape(type, 2, 4)),
                                          shp::record(2, shp::shape(type, 11, 12)),
                                          shp::record(3, shp::shape(type, 0, 0))})),
                  0);
        const std::string text = listing();
        EXPECT_EQ(text, golden(std::string("shapes/") + name + ".txt", text));
    }
}

TEST_F(Shapefile, files_and_records_are_listed_by_their_codes_behind_the_indented_prefix) {
    ASSERT_EQ(decode(shp::file(SHAPE_POINT, {shp::record(1, shp::shape(SHAPE_POINT))})), 0);
    const auto by_code = [](int code, void *structure, int index) {
        return printed([&] { lindra::esri::Engine::print("> ", code, structure, index); });
    };
    EXPECT_EQ(by_code(ESRI_FILE, file_, -1), listing(">   "));
    auto *first = static_cast<SHPRECORD *>(gettbl(file()->records, 0));
    EXPECT_EQ(by_code(ESRI_RECORD, first, 3),
              printed([&] { esri_print_shapefile_record(">   ", first, 3); }));
    EXPECT_TRUE(by_code(ESRI_RECORD, first, 3).starts_with(">   Record(3):\n"));
}

TEST_F(Shapefile, listing_begins_with_the_header) {
    ASSERT_EQ(decode(shp::file(SHAPE_POLYGON, {})), 0);
    EXPECT_EQ(listing(), "FileHdr:\n"
                         "  magic=9994\n"
                         "  unused1=0\n"
                         "  unused2=0\n"
                         "  unused3=0\n"
                         "  unused4=0\n"
                         "  unused5=0\n"
                         "  length=50\n"
                         "  version=1000\n"
                         "  shape_type=RecordPolygon\n"
                         "  xmin=-180.000000\n"
                         "  ymin=-90.000000\n"
                         "  xmax=180.000000\n"
                         "  ymax=83.500000\n"
                         "  zmin=-1.000000\n"
                         "  zmax=1.000000\n"
                         "  mmin=0.000000\n"
                         "  mmax=1000000.000000\n");
}

TEST_F(Shapefile, null_shape_is_listed_with_its_index) {
    ASSERT_EQ(decode(shp::file(SHAPE_NULL, {shp::record(1, shp::shape(SHAPE_NULL))})), 0);
    const std::string text = listing("# ");
    EXPECT_EQ(text.substr(text.find("# Record(0)")), "# Record(0):\n"
                                                     "#   offset=100\n"
                                                     "#   RecordHdr:\n"
                                                     "#     number=1\n"
                                                     "#     length=2\n"
                                                     "#   Null(0):\n"
                                                     "#     shape_type=Null\n");
}

TEST_F(Shapefile, record_on_its_own_is_listed_without_its_line_and_indentation) {
    ASSERT_EQ(decode(shp::file(SHAPE_POLYLINE, {shp::record(4, shp::shape(SHAPE_POLYLINE, 11, 5))})), 0);
    EXPECT_EQ(printed([&] {
                  esri_print_shapefile_record("", static_cast<SHPRECORD *>(gettbl(file()->records, 0)), -1);
              }),
              "offset=100\n"
              "RecordHdr:\n"
              "  number=4\n"
              "  length=84\n"
              "RecordPolyLine:\n"
              "  shape_type=RecordPolyLine\n"
              "  bbox=(0.250000, -5.500000, 5.250000, -0.500000)\n"
              "  numparts=11\n"
              "  numpoints=5\n"
              "  parts=0, 1, 2, 3, 4, 5, 6, 7, 8, 9, ...\n"
              "  points=(0.250000, -0.500000), (1.250000, -1.500000), (2.250000, -2.500000), "
              "(3.250000, -3.500000), ...\n");
}

TEST_F(Shapefile, record_without_a_shape_is_listed_as_far_as_it_goes) {
    esri_strdefs_init();
    SHPRECORD record = {9, SHAPE_POLYGON, {1, 2}, nullptr};
    EXPECT_EQ(printed([&] { esri_print_shapefile_record("", &record, 0); }),
              "Record(0):\n  offset=9\n  RecordHdr:\n    number=1\n    length=2\n");
    SHPRECNULL shape = {2};
    record.shape_type = 2;
    record.shape = &shape;
    EXPECT_EQ(printed([&] { esri_print_shapefile_record("", &record, 0); }),
              "Record(0):\n  offset=9\n  RecordHdr:\n    number=1\n    length=2\n")
        << "of an unknown type";
}

TEST_F(Shapefile, without_a_list_is_its_header) {
    SHPFILE shapefile = {};
    esri_strdefs_init();
    EXPECT_EQ(printed([&] { esri_print_shapefile("", &shapefile); }).find("Record("), std::string::npos);
}

namespace {

void print_record_with_prefix_of(size_t size, int index) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    esri_strdefs_init();
    SHPRECORD record = {9, SHAPE_POLYGON, {1, 2}, nullptr};
    esri_print_shapefile_record(std::string(size, '-').c_str(), &record, index);
    exit(0);
}

} // namespace

TEST(ShapefileDeathTest, prefix_of_a_record_fills_its_buffer_or_ends_the_process) {
    EXPECT_EXIT(print_record_with_prefix_of(509, 0), testing::ExitedWithCode(1),
                "prefix of 511 bytes leaves no room\\.\n-+Record\\(0\\):\n-+  offset=9\n-+  RecordHdr:\n$");
    EXPECT_EXIT(print_record_with_prefix_of(510, 0), testing::ExitedWithCode(1),
                "prefix of 510 bytes leaves no room\\.\n-+Record\\(0\\):\n$");
    EXPECT_EXIT(print_record_with_prefix_of(512, -1), testing::ExitedWithCode(1),
                "prefix of 512 bytes leaves no room\\.\n$");
}
