// SPDX-License-Identifier: MIT
//
// The structure-definition engine over small registries made for these tests.

#include "bounded_buffer.hpp"
#include "little_endian.hpp"
#include "log_capture.hpp"
#include "printed.hpp"

#include "lindra/esri_strdefs/registry.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace lindra;
using namespace lindra::test;

namespace {

constexpr int32_t shown_nowhere = 99;

constexpr Strdef row(const char *name, int32_t type, int32_t count, size_t member, bool big = false) {
    Strdef made{};
    for (size_t i = 0; name[i]; i++)
        made.name[i] = name[i];
    made.type = type;
    made.count = count;
    made.member = static_cast<int32_t>(member);
    made.big_endian = big;
    return made;
}

constexpr Strdef array_row(const char *name, int32_t type, size_t counter, size_t member, bool big = false) {
    Strdef made = row(name, type, 0, member, big);
    made.count_member = static_cast<int32_t>(counter);
    return made;
}

unsigned char *start(std::string &bytes) {
    return reinterpret_cast<unsigned char *>(bytes.data());
}

// --- A registry with the types and messages of the ESRI one, and structures of its own ---------------------

constexpr int32_t numbers_code = 1, arrays_code = 2, bytes_code = 3, odd_code = 4, hooked_code = 5,
                  empty_code = 6, boxes_code = 7, last_code = 199;

struct Numbers {
    int32_t big, little;
    double big_real, little_real;
    uint16_t big_word, little_word;
    int32_t in_no_table;
};
constexpr Strdef Numbers_Strdef[] = {
    row("big", 1, 1, offsetof(Numbers, big), true),
    row("little", 1, 1, offsetof(Numbers, little)),
    row("big_real", 2, 1, offsetof(Numbers, big_real), true),
    row("little_real", 2, 1, offsetof(Numbers, little_real)),
    row("big_word", 7, 1, offsetof(Numbers, big_word), true),
    row("little_word", 7, 1, offsetof(Numbers, little_word)),
};

struct Arrays {
    int32_t n;
    int32_t *integers;
    double *reals;
    SHPPOINT *points;
    SHPBOX *boxes;
};
constexpr Strdef Arrays_Strdef[] = {
    row("n", 1, 1, offsetof(Arrays, n)),
    array_row("integers", 1, offsetof(Arrays, n), offsetof(Arrays, integers), true),
    array_row("reals", 2, offsetof(Arrays, n), offsetof(Arrays, reals), true),
    array_row("points", 3, offsetof(Arrays, n), offsetof(Arrays, points)),
    array_row("boxes", 4, offsetof(Arrays, n), offsetof(Arrays, boxes)),
};

struct Bytes {
    char name[11];
    char text[70];
    uint8_t bytes[33];
    uint16_t words[21];
    uint16_t shape_type;
};
constexpr Strdef Bytes_Strdef[] = {
    row("name", 5, 11, offsetof(Bytes, name)),
    row("text", 5, 70, offsetof(Bytes, text)),
    row("bytes", 6, 33, offsetof(Bytes, bytes)),
    row("words", 7, 21, offsetof(Bytes, words)),
    row("shape_type", 7, 1, offsetof(Bytes, shape_type)),
};

// Fields of types that are not read, or not in arrays, between two that are.
struct Odd {
    int32_t n;
    int32_t skipped;
    char *text;
    uint8_t *bytes;
    uint16_t *words;
    int32_t *others;
    int32_t last;
};
constexpr Strdef Odd_Strdef[] = {
    row("n", 1, 1, offsetof(Odd, n)),
    row("skipped", shown_nowhere, 1, offsetof(Odd, skipped)),
    row("skipped", 0, 1, offsetof(Odd, skipped)),
    array_row("text", 5, offsetof(Odd, n), offsetof(Odd, text)),
    array_row("bytes", 6, offsetof(Odd, n), offsetof(Odd, bytes)),
    array_row("words", 7, offsetof(Odd, n), offsetof(Odd, words)),
    array_row("others", -1, offsetof(Odd, n), offsetof(Odd, others)),
    row("last", 1, 1, offsetof(Odd, last)),
};

struct Boxes {
    SHPPOINT points[5];
    SHPBOX boxes[3];
    int32_t integers[11];
    double reals[10];
};
constexpr Strdef Boxes_Strdef[] = {
    row("points", 3, 5, offsetof(Boxes, points)),
    row("boxes", 4, 3, offsetof(Boxes, boxes)),
    row("integers", 1, 11, offsetof(Boxes, integers)),
    row("reals", 2, 10, offsetof(Boxes, reals)),
};

struct Hooked {
    int32_t before;
    int32_t decoded;
};

int decode_hooked(void *structure, Source &source) {
    auto *hooked = static_cast<Hooked *>(structure);
    EXPECT_EQ(hooked->before, 0);
    hooked->decoded = source.stream.skip(1) ? *source.base : -1;
    return 7;
}

void print_hooked(const char *prefix, void *structure, int index) {
    printf("%s|%d|%d\n", prefix, static_cast<Hooked *>(structure)->decoded, index);
}

constexpr StrdefsEntry own_entries[] = {
    {numbers_code, sizeof(Numbers), Numbers_Strdef, 6, nullptr, nullptr},
    {arrays_code, sizeof(Arrays), Arrays_Strdef, 5, nullptr, nullptr},
    {bytes_code, sizeof(Bytes), Bytes_Strdef, 5, nullptr, nullptr},
    {odd_code, sizeof(Odd), Odd_Strdef, 8, nullptr, nullptr},
    {boxes_code, sizeof(Boxes), Boxes_Strdef, 4, nullptr, nullptr},
    {hooked_code, sizeof(Hooked), nullptr, 0, decode_hooked, print_hooked},
    {empty_code, sizeof(Hooked), nullptr, 0, nullptr, nullptr},
    {last_code, sizeof(Hooked), nullptr, 0, nullptr, nullptr},
};

struct OwnRegistry : esri::Registry {
    static const std::span<const StrdefsEntry> entries;
    static const char *structure_name(int32_t) { return "Own"; }
};
const std::span<const StrdefsEntry> OwnRegistry::entries = own_entries;

using Own = Engine<OwnRegistry>;

template <class Structure>
int unstuff(int32_t code, Structure &structure, std::string bytes, ptrdiff_t consumed) {
    unsigned char *pos = start(bytes);
    Source source(pos, &pos);
    void *out = &structure;
    const int status = Own::unstuff(code, &out, source);
    EXPECT_EQ(out, &structure);
    EXPECT_EQ(pos - start(bytes), consumed);
    return status;
}

template <class Structure>
std::string listing(int32_t code, const Structure &structure, const char *prefix = "", int index = -1) {
    Own::init();
    return printed([&] { Own::print(prefix, code, &structure, index); });
}

struct Strdefs : testing::Test {
    LogCapture log;
};

} // namespace

// --- The index

TEST_F(Strdefs, index_of_the_esri_registry_has_26_structures) {
    EXPECT_EQ(esri_strdefs_init(), 0);
    EXPECT_EQ(esri_strdefs_init(), 0);
    int found = 0;
    for (int code = 0; code < 512; code++)
        found += esri::Engine::find(code) != nullptr;
    EXPECT_EQ(found, 26);
}

TEST_F(Strdefs, every_entry_is_found_under_its_code_and_has_fields_or_hooks) {
    esri_strdefs_init();
    for (const StrdefsEntry &entry : esri::Registry::entries) {
        SCOPED_TRACE(entry.str_type);
        EXPECT_EQ(esri::Engine::find(entry.str_type), &entry);
        EXPECT_EQ(entry.fields != nullptr, entry.nfields > 0);
        EXPECT_EQ(entry.fields == nullptr, entry.decode != nullptr);
        EXPECT_EQ(entry.fields == nullptr, entry.print != nullptr);
    }
}

TEST_F(Strdefs, codes_outside_the_index_are_not_defined) {
    std::string bytes(8, '\0');
    for (int code : {2, 4, 32, 0x39, 0x40, 0x64, 0x6b, 199, 200, 511, 512, 1 << 30, INT_MAX, -1, INT_MIN}) {
        unsigned char *pos = start(bytes);
        void *out = nullptr;
        EXPECT_EQ(esri_unstuff_stream(code, &out, pos, &pos), -1);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(pos, start(bytes));
        char text[80];
        snprintf(text, sizeof text, "0 esri_unstuff_stream: str_type 0x%x not defined.\n",
                 static_cast<unsigned>(code));
        EXPECT_EQ(log.take(), Lines{text});
    }
}

TEST_F(Strdefs, code_199_is_accepted) {
    Own::init();
    EXPECT_EQ(Own::find(last_code), &own_entries[std::size(own_entries) - 1]);
}

namespace {

template <int32_t code>
struct IllRegistry : esri::Registry {
    static constexpr StrdefsEntry only[] = {{code, 4, nullptr, 0, nullptr, nullptr}};
    static constexpr std::span<const StrdefsEntry> entries = only;
};

} // namespace

TEST(StrdefsDeathTest, code_out_of_range_in_a_registry_ends_the_process) {
    const auto end = [](auto init) {
        log_with_flags();
        init();
    };
    EXPECT_EXIT(end(Engine<IllRegistry<200>>::init), testing::ExitedWithCode(1),
                "^0 esri_strdefs_init: str_type 0xc8 out of range\\.\n$");
    EXPECT_EXIT(end(Engine<IllRegistry<-1>>::init), testing::ExitedWithCode(1),
                "^0 esri_strdefs_init: str_type 0xffffffff out of range\\.\n$");
    EXPECT_EXIT(end(Engine<IllRegistry<511>>::init), testing::ExitedWithCode(1), "0x1ff out of range");
}

namespace {

// Standard output is read through standard error here.
void print_at_once() {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    puts("start");
    SHPRECNULL shape = {};
    SHPRECORD record = {7, SHAPE_NULL, {1, 2}, &shape};
    esri_print_shapefile_record("", &record, -1);
    DbaseFile dbf = {};
    esri_print_dbase_file("", &dbf);
    DdsFile texture = {};
    dds_print_file("", &texture);
    // To clear needs no decoding before.
    dbf.level = 5;
    lindra_clear_esri(DBASE_FILE, &dbf);
    printf("level=%d\n", dbf.level);
    exit(0);
}

} // namespace

TEST(StrdefsDeathTest, structures_are_not_printed_before_the_first_decoding) {
    const std::string style = testing::GTEST_FLAG(death_test_style);
    testing::GTEST_FLAG(death_test_style) = "threadsafe"; // in a process of its own
    EXPECT_EXIT(print_at_once(), testing::ExitedWithCode(0), "start\noffset=7\nlevel=0\n$");
    testing::GTEST_FLAG(death_test_style) = style;
}

namespace {

struct SharedRegistry : OwnRegistry {};

} // namespace

TEST_F(Strdefs, threads_may_meet_at_the_first_use) {
    std::vector<std::thread> threads;
    std::array<int, 8> decoded{};
    for (int &value : decoded)
        threads.emplace_back([&value] {
            std::string bytes = be32(5) + le32(6) + std::string(20, '\0');
            unsigned char *pos = start(bytes);
            Source source(pos, &pos);
            Numbers numbers;
            void *out = &numbers;
            if (Engine<SharedRegistry>::unstuff(numbers_code, &out, source) == 0) value = numbers.little;
        });
    for (std::thread &thread : threads)
        thread.join();
    for (int value : decoded)
        EXPECT_EQ(value, 6);
}

// --- Decoding

TEST_F(Strdefs, big_endian_rows_are_swapped_and_little_endian_ones_are_not) {
    Numbers numbers;
    EXPECT_EQ(
        unstuff(numbers_code, numbers,
                be32(0x01020304) + le32(-2) + be_double(1.5) + le_double(-2.5) + be16(0x0102) + le16(0xfffe),
                28),
        0);
    EXPECT_EQ(numbers.big, 0x01020304);
    EXPECT_EQ(numbers.little, -2);
    EXPECT_EQ(numbers.big_real, 1.5);
    EXPECT_EQ(numbers.little_real, -2.5);
    EXPECT_EQ(numbers.big_word, 0x0102);
    EXPECT_EQ(numbers.little_word, 0xfffe);
}

// The engine asks first; so does nobody else who may call them.
TEST_F(Strdefs, elements_that_are_cut_are_refused_and_left_in_the_stream) {
    for (int32_t type = 1; const Element *element = esri::Registry::element(type); type++) {
        if (!element->convert) continue;
        const BoundedBuffer buffer(std::string(2 * element->size - 1, 'x'));
        unsigned char *pos = buffer.data();
        Stream stream(&pos);
        double to[2] = {3, 4};
        for (const int32_t big_endian : {0, 1}) {
            EXPECT_EQ(element->convert(to, stream, 2, big_endian), -1) << type;
            EXPECT_EQ(pos, buffer.data());
        }
        EXPECT_EQ(to[0], 3);
        EXPECT_EQ(to[1], 4);
    }
}

TEST_F(Strdefs, structure_of_the_callers_is_cleared_where_no_row_is_too) {
    Numbers numbers;
    memset(&numbers, 0x55, sizeof numbers);
    EXPECT_EQ(unstuff(numbers_code, numbers, std::string(28, '\1'), 28), 0);
    EXPECT_EQ(numbers.in_no_table, 0);
}

TEST_F(Strdefs, structure_with_a_hook_is_cleared_before_it_runs) {
    Hooked hooked = {5, 6};
    EXPECT_EQ(unstuff(hooked_code, hooked, "*", 1), 7) << "the result is the hook's";
    EXPECT_EQ(hooked.decoded, '*');
}

TEST_F(Strdefs, structure_without_fields_and_hooks_is_cleared) {
    Hooked hooked = {5, 6};
    EXPECT_EQ(unstuff(empty_code, hooked, "*", 0), 0);
    EXPECT_EQ(hooked.before, 0);
    EXPECT_EQ(hooked.decoded, 0);
    EXPECT_EQ(listing(empty_code, hooked), "");
}

TEST_F(Strdefs, new_structure_is_made_where_the_caller_has_none) {
    std::string bytes = be32(1) + le32(2) + std::string(20, '\0');
    unsigned char *pos = start(bytes);
    Source source(pos, &pos);
    void *out = nullptr;
    EXPECT_EQ(Own::unstuff(numbers_code, &out, source), 0);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(static_cast<Numbers *>(out)->little, 2);
    EXPECT_EQ(static_cast<Numbers *>(out)->in_no_table, 0);
    free(out);
}

TEST_F(Strdefs, arrays_have_as_many_elements_as_their_count_says) {
    Arrays arrays;
    const std::string bytes = le32(2) + be32(1) + be32(-1) + be_double(0.5) + be_double(1e300) +
                              le_double(1) + le_double(2) + le_double(3) + le_double(4) +
                              std::string(64, '\0');
    EXPECT_EQ(unstuff(arrays_code, arrays, bytes, 124), 0);
    EXPECT_EQ(arrays.integers[0], 1);
    EXPECT_EQ(arrays.integers[1], -1);
    EXPECT_EQ(arrays.reals[1], 1e300);
    EXPECT_EQ(arrays.points[1].x, 3);
    EXPECT_EQ(arrays.points[1].y, 4);
    EXPECT_EQ(arrays.boxes[1].ymax, 0);
    Own::free_arrays(own_entries[1], &arrays);
}

TEST_F(Strdefs, array_of_no_elements_is_allocated_and_takes_no_bytes) {
    Arrays arrays;
    EXPECT_EQ(unstuff(arrays_code, arrays, le32(0), 4), 0);
    EXPECT_NE(arrays.integers, nullptr);
    EXPECT_NE(arrays.reals, nullptr);
    EXPECT_NE(arrays.points, nullptr);
    EXPECT_NE(arrays.boxes, nullptr);
    EXPECT_EQ(listing(arrays_code, arrays), "Own:\n  n=0\n  integers=\n  reals=\n  points=\n  boxes=\n");
    Own::free_arrays(own_entries[1], &arrays);
}

TEST_F(Strdefs, trusted_count_below_zero_is_a_failed_allocation) {
    for (int32_t n : {-1, -4, INT_MIN, INT_MIN / 4, INT_MAX, 1 << 29}) {
        Arrays arrays;
        EXPECT_EQ(unstuff(arrays_code, arrays, le32(n), 4), -1);
        EXPECT_EQ(arrays.n, n);
        EXPECT_EQ(arrays.integers, nullptr);
        EXPECT_EQ(log.take(), Lines{"1 esri_unstuff_stream: malloc() error.\n"});
    }
}

// The memory is refused where it is asked for: nothing stands behind the count.
TEST_F(Strdefs, longest_trusted_run_has_2147483647_bytes) {
    for (const auto &[n, is_asked_for] : {std::pair{INT_MAX / 4, true}, {INT_MAX / 4 + 1, false}}) {
        std::string bytes = le32(n);
        unsigned char *pos = start(bytes);
        Source source(pos, &pos);
        Arrays arrays;
        void *out = &arrays;
        const AllocationWatch watch(1);
        EXPECT_EQ(Own::unstuff(arrays_code, &out, source), -1);
        EXPECT_EQ(watch.failed(), is_asked_for) << n;
        const AllocationPause pause;
        EXPECT_EQ(log.take(), Lines{"1 esri_unstuff_stream: malloc() error.\n"});
    }
}

TEST_F(Strdefs, count_beyond_the_extent_is_refused_before_memory_is_asked_for) {
    for (int32_t n : {-1, 3, INT_MAX, INT_MIN}) {
        const BoundedBuffer buffer(le32(n) + std::string(11, '\0'));
        unsigned char *pos = buffer.data();
        Source source(pos, &pos);
        Arrays arrays;
        void *out = &arrays;
        const AllocationWatch watch;
        EXPECT_EQ(Own::unstuff(arrays_code, &out, source), -1);
        EXPECT_EQ(watch.requested(), 0U);
        EXPECT_EQ(pos, buffer.data() + 4);
        const AllocationPause pause;
        EXPECT_EQ(log.take(), Lines{"0 esri_unstuff_stream: integers has " + std::to_string(n) +
                                    " elements, 11 bytes left.\n"});
    }
}

// Deliberate: see there.
TEST_F(Strdefs, fields_of_other_types_are_passed_over_in_silence) {
    Odd odd;
    EXPECT_EQ(unstuff(odd_code, odd, le32(2) + le32(3), 8), 0);
    EXPECT_EQ(odd.n, 2);
    EXPECT_EQ(odd.last, 3);
    EXPECT_EQ(odd.skipped, 0);
    EXPECT_EQ(odd.text, nullptr);
    EXPECT_EQ(odd.bytes, nullptr);
    EXPECT_EQ(odd.words, nullptr);
    EXPECT_EQ(odd.others, nullptr);
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Strdefs, passed_over_arrays_are_not_judged_by_their_count) {
    Odd odd;
    EXPECT_EQ(unstuff(odd_code, odd, le32(-7) + le32(3), 8), 0);
    EXPECT_EQ(odd.last, 3);
}

TEST_F(Strdefs, text_is_copied_without_a_closing_zero) {
    Bytes bytes;
    std::string file(81, 'x');
    file += std::string(33, '\x07') + std::string(42, '\0') + le16(5);
    EXPECT_EQ(unstuff(bytes_code, bytes, file, 158), 0);
    EXPECT_EQ(std::string(bytes.name, 11), std::string(11, 'x'));
    EXPECT_EQ(bytes.bytes[32], 7);
    EXPECT_EQ(bytes.shape_type, 5);
}

// --- Printing

// Deliberate: no line ends behind fields that are not shown.
TEST_F(Strdefs, fields_that_are_not_shown_run_into_the_next_line) {
    int32_t numbers[1] = {1};
    char text[1] = {'t'};
    uint16_t words[1] = {3};
    Odd odd = {1, 2, text, nullptr, words, numbers, 4};
    EXPECT_EQ(listing(odd_code, odd),
              "Own:\n  n=1\n  skipped=  skipped=  text=  bytes=  words=  others=  last=4\n");
}

TEST_F(Strdefs, texts_stop_after_64_characters_or_at_a_zero) {
    Bytes bytes = {};
    memcpy(bytes.name, "abcdefghijk", 11);
    memset(bytes.text, 't', sizeof bytes.text);
    bytes.bytes[1] = 255;
    bytes.words[0] = 65535;
    bytes.shape_type = 5;
    std::string zeros, words;
    for (int i = 2; i < 32; i++)
        zeros += ", 0";
    for (int i = 1; i < 20; i++)
        words += ", 0";
    EXPECT_EQ(listing(bytes_code, bytes, "> ", 3),
              "> Own(3):\n>   name=abcdefghijk\n>   text=" + std::string(64, 't') +
                  ", ...\n>   bytes=0, 255" + zeros + ", ...\n>   words=65535" + words +
                  ", ...\n>   shape_type=RecordPolygon\n");
    bytes.name[2] = '\0';
    bytes.text[0] = '\0';
    bytes.shape_type = 0;
    EXPECT_EQ(listing(bytes_code, bytes), "Own:\n  name=ab\n  text=, ...\n  bytes=0, 255" + zeros +
                                              ", ...\n  words=65535" + words + ", ...\n  shape_type=Null\n");
}

TEST_F(Strdefs, long_rows_are_cut_short) {
    Boxes boxes = {};
    for (int i = 0; i < 5; i++)
        boxes.points[i] = {i + 0.5, -i - 0.25};
    boxes.boxes[1] = {1, 2, 3, 4};
    for (int i = 0; i < 11; i++)
        boxes.integers[i] = i;
    boxes.reals[9] = 1e6;
    EXPECT_EQ(listing(boxes_code, boxes),
              "Own:\n"
              "  points=(0.500000, -0.250000), (1.500000, -1.250000), (2.500000, -2.250000), "
              "(3.500000, -3.250000), ...\n"
              "  boxes=(0.000000, 0.000000, 0.000000, 0.000000), (1.000000, 2.000000, 3.000000, 4.000000), "
              "...\n"
              "  integers=0, 1, 2, 3, 4, 5, 6, 7, 8, 9, ...\n"
              "  reals=0.000000, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000, "
              "0.000000, 1000000.000000\n");
}

TEST_F(Strdefs, arrays_that_were_not_decoded_print_no_elements) {
    Arrays arrays = {INT_MAX, nullptr, nullptr, nullptr, nullptr};
    EXPECT_EQ(listing(arrays_code, arrays),
              "Own:\n  n=2147483647\n  integers=\n  reals=\n  points=\n  boxes=\n");
    arrays.n = -5;
    EXPECT_EQ(listing(arrays_code, arrays), "Own:\n  n=-5\n  integers=\n  reals=\n  points=\n  boxes=\n");
}

TEST_F(Strdefs, hook_prints_behind_the_indented_prefix) {
    const Hooked hooked = {0, 42};
    EXPECT_EQ(listing(hooked_code, hooked, "--", 9), "--  |42|9\n");
    EXPECT_EQ(listing(hooked_code, hooked), "  |42|-1\n");
}

TEST_F(Strdefs, unknown_codes_print_nothing) {
    const Hooked hooked = {};
    for (int code : {0, 100, 200, 512, -1, INT_MAX, INT_MIN})
        EXPECT_EQ(listing(code, hooked), "");
}

namespace {

void print_with_prefix_of(size_t size) {
    log_with_flags();
    dup2(STDERR_FILENO, STDOUT_FILENO);
    esri_strdefs_init();
    const SHPRECHDR header = {1, 2};
    esri::Engine::print(std::string(size, '-').c_str(), ESRI_RECORDHDR, &header, -1);
    exit(0);
}

} // namespace

TEST(StrdefsDeathTest, prefix_fills_its_buffer_or_ends_the_process_behind_the_header_line) {
    EXPECT_EXIT(print_with_prefix_of(509), testing::ExitedWithCode(0), "-  length=2\n$");
    EXPECT_EXIT(print_with_prefix_of(510), testing::ExitedWithCode(1),
                "^0 esri_print_generic: prefix of 510 bytes leaves no room\\.\n-+RecordHdr:\n$");
}

// --- A registry with words of 4 bytes in slots of 8, and counts of 64 bits ---------------------------------

namespace {

constexpr int32_t inner_code = 1, outer_code = 2, refused_code = 3, refused_array_code = 4, list_code = 5,
                  nest_code = 6;
constexpr int32_t word_type = 1, inner_type = 2, unshown_type = 3, refused_type = 4, nest_type = 5;

struct Inner {
    uint64_t a, b;
};
constexpr Strdef Inner_Strdef[] = {
    row("a", word_type, 1, offsetof(Inner, a)),
    row("b", word_type, 1, offsetof(Inner, b), true),
};

struct Outer {
    uint64_t words[3];
    Inner inners[2];
    uint64_t unshown;
    uint64_t last;
};
constexpr Strdef Outer_Strdef[] = {
    row("words", word_type, 3, offsetof(Outer, words)),
    row("inners", inner_type, 2, offsetof(Outer, inners)),
    row("unshown", unshown_type, 1, offsetof(Outer, unshown)),
    row("last", word_type, 1, offsetof(Outer, last)),
};

struct Refused {
    uint64_t n;
    uint64_t *refused;
};
constexpr Strdef Refused_Strdef[] = {
    row("n", word_type, 1, offsetof(Refused, n)),
    row("refused", refused_type, 1, offsetof(Refused, refused)),
};
constexpr Strdef RefusedArray_Strdef[] = {
    row("n", word_type, 1, offsetof(Refused, n)),
    array_row("refused", refused_type, offsetof(Refused, n), offsetof(Refused, refused)),
};

struct List {
    uint64_t n;
    uint64_t *words;
    Inner *inners;
};
// The count is made of both words, so that it can be larger than either tells.
constexpr Strdef List_Strdef[] = {
    row("n", word_type, 2, offsetof(List, n)),
    array_row("words", word_type, offsetof(List, n), offsetof(List, words)),
    array_row("inners", inner_type, offsetof(List, n), offsetof(List, inners)),
};

// One of the structures that are refused.
struct Nest {
    Refused refused[1];
};
constexpr Strdef Nest_Strdef[] = {
    row("refused", nest_type, 1, offsetof(Nest, refused)),
};

constexpr StrdefsEntry wide_entries[] = {
    {inner_code, sizeof(Inner), Inner_Strdef, 2, nullptr, nullptr},
    {outer_code, sizeof(Outer), Outer_Strdef, 4, nullptr, nullptr},
    {refused_code, sizeof(Refused), Refused_Strdef, 2, nullptr, nullptr},
    {refused_array_code, sizeof(Refused), RefusedArray_Strdef, 2, nullptr, nullptr},
    {list_code, sizeof(List), List_Strdef, 3, nullptr, nullptr},
    {nest_code, sizeof(Nest), Nest_Strdef, 1, nullptr, nullptr},
};

int print_slot(const Strdef &, const char *, const void *from, int) {
    uint64_t value;
    memcpy(&value, from, sizeof value);
    printf("%llu", static_cast<unsigned long long>(value));
    return 1;
}

int print_inner(const Strdef &, const char *indentation, const void *from, int);

struct WideRegistry {
    using Count = uint64_t;
    static constexpr int64_t largest_run = PTRDIFF_MAX;
    static constexpr bool prefix_first = false;
    static constexpr std::span<const StrdefsEntry> entries = wide_entries;

    static const Element *element(int32_t type) {
        static constexpr Element elements[] = {
            {4, 8, esri::esri2h4, 0, false, true},
            {8, sizeof(Inner), nullptr, inner_code, false, true},
            {4, 8, esri::esri2h4, 0, false, true},
            {4, sizeof(Refused), nullptr, refused_code, false, true},
        };
        if (type == nest_type) return &elements[3];
        return type >= word_type && type <= unshown_type ? &elements[type - 1] : nullptr;
    }
    static const Shown *shown(int32_t type) {
        static constexpr Shown table[] = {{10, true, true, 4, 8, print_slot},
                                          {10, false, true, 0, sizeof(Inner), print_inner}};
        return type == word_type || type == inner_type ? &table[type - 1] : nullptr;
    }
    static const char *structure_name(int32_t code) { return code == inner_code ? "Inner" : "Wide"; }
    static int refuse(int32_t type) { return fail(0, "wide: Unknown type %d.\n", type); }
    static int fail_undefined(int32_t) { return fail(0, "wide: undefined.\n"); }
    static int fail_malloc() { return fail(1, "wide: malloc() error.\n"); }
    static int fail_nested() { return fail(1, "wide: nested error.\n"); }
    static int fail_cut(const char *field, int64_t n, size_t left) {
        return fail(0, "wide: %s has %lld, %zu left.\n", field, static_cast<long long>(n), left);
    }
    static int fail_depth(int32_t) { return fail(0, "wide: depth.\n"); }
    [[noreturn]] static void die_out_of_range(int32_t) { elog_die(0, "wide: range.\n"); }
    [[noreturn]] static void die_long_prefix(const char *) { elog_die(0, "wide: prefix.\n"); }
};

using Wide = Engine<WideRegistry>;

int print_inner(const Strdef &, const char *indentation, const void *from, int) {
    Wide::print(indentation, inner_code, from, -1);
    return 1;
}

struct WideStrdefs : Strdefs {
    template <class Structure>
    int decode(int32_t code, Structure &structure, const BoundedBuffer &buffer, ptrdiff_t consumed) {
        unsigned char *pos = buffer.data();
        Source source(pos, &pos);
        void *out = &structure;
        const int status = Wide::unstuff(code, &out, source);
        EXPECT_EQ(pos - buffer.data(), consumed);
        return status;
    }
};

uint64_t two_words(uint64_t low, uint64_t high) {
    return low | high << 32;
}

} // namespace

TEST_F(WideStrdefs, words_are_packed_from_the_start_of_their_member) {
    Outer outer;
    const BoundedBuffer buffer(le32(1) + le32(2) + le32(3) + le32(10) + be32(11) + le32(20) + be32(21) +
                               le32(5) + le32(6));
    EXPECT_EQ(decode(outer_code, outer, buffer, 36), 0);
    EXPECT_EQ(outer.words[0], two_words(1, 2));
    EXPECT_EQ(outer.words[1], 3U);
    EXPECT_EQ(outer.words[2], 0U);
    EXPECT_EQ(outer.unshown, 5U);
    EXPECT_EQ(outer.last, 6U);
}

TEST_F(WideStrdefs, structures_that_lie_otherwise_in_memory_are_decoded_one_by_one) {
    Outer outer;
    memset(&outer, 0x55, sizeof outer);
    const BoundedBuffer buffer(std::string(12, '\0') + le32(10) + be32(11) + le32(20) + be32(21) + le32(5) +
                               le32(6));
    EXPECT_EQ(decode(outer_code, outer, buffer, 36), 0);
    EXPECT_EQ(outer.inners[0].a, 10U);
    EXPECT_EQ(outer.inners[0].b, 11U);
    EXPECT_EQ(outer.inners[1].a, 20U);
    EXPECT_EQ(outer.inners[1].b, 21U);
}

TEST_F(WideStrdefs, fixed_rows_step_by_4_bytes_of_8_and_by_none_in_nested_listings) {
    Outer outer = {{two_words(1, 2), two_words(3, 4), 9}, {{10, 11}, {20, 21}}, 5, 6};
    Wide::init();
    EXPECT_EQ(printed([&] { Wide::print("", outer_code, &outer, -1); }),
              "Wide:\n  words=" + std::to_string(two_words(1, 2)) + ", " + std::to_string(two_words(2, 3)) +
                  ", " + std::to_string(two_words(3, 4)) +
                  "\n"
                  "  inners=  Inner:\n    a=10\n    b=11\n  Inner:\n    a=10\n    b=11\n"
                  "  unshown=  last=6\n");
}

TEST_F(WideStrdefs, arrays_step_by_whole_elements) {
    uint64_t words[] = {1, 2};
    Inner inners[] = {{10, 11}, {20, 21}};
    List list = {2, words, inners};
    Wide::init();
    EXPECT_EQ(printed([&] { Wide::print("", list_code, &list, -1); }),
              "Wide:\n  n=2, " + std::to_string(reinterpret_cast<uintptr_t>(words) << 32) +
                  "\n  words=1, 2\n  inners=  Inner:\n    a=10\n    b=11\n  Inner:\n    a=20\n    b=21\n");
}

TEST_F(WideStrdefs, unknown_types_fail_in_rows_of_either_count) {
    const BoundedBuffer buffer(le32(1) + std::string(16, '\0'));
    for (int32_t code : {refused_code, refused_array_code}) {
        Refused refused;
        EXPECT_EQ(decode(code, refused, buffer, 4), -1);
        EXPECT_EQ(refused.n, 1U);
        EXPECT_EQ(refused.refused, nullptr);
        EXPECT_EQ(log.take(), Lines{"0 wide: Unknown type 4.\n"});
    }
}

TEST_F(WideStrdefs, counts_of_64_bits_are_held_against_the_extent) {
    List list;
    const BoundedBuffer buffer(le32(2) + le32(0) + le32(1) + le32(2) + std::string(16, '\1'));
    EXPECT_EQ(decode(list_code, list, buffer, 32), 0);
    EXPECT_EQ(list.words[0], two_words(1, 2));
    EXPECT_EQ(list.inners[1].b, 0x01010101U);
    Wide::free_arrays(wide_entries[4], &list);

    EXPECT_EQ(decode(list_code, list, BoundedBuffer(le32(2) + le32(1) + std::string(8, '\0')), 8), -1);
    EXPECT_EQ(log.take(), Lines{"0 wide: words has 4294967298, 8 left.\n"});
    EXPECT_EQ(decode(list_code, list, BoundedBuffer(le32(-1) + le32(-1)), 8), -1);
    EXPECT_EQ(log.take(), Lines{"0 wide: words has 9223372036854775807, 0 left.\n"});
    EXPECT_EQ(list.words, nullptr);
}

TEST_F(WideStrdefs, trusted_counts_without_a_size_are_failed_allocations) {
    for (const std::string &count : {le32(-1) + le32(-1), le32(0) + le32(0x10000000), le32(0) + le32(-1)}) {
        std::string bytes = count;
        unsigned char *pos = start(bytes);
        Source source(pos, &pos);
        List list;
        void *out = &list;
        EXPECT_EQ(Wide::unstuff(list_code, &out, source), -1);
        EXPECT_EQ(log.take(), Lines{"1 wide: malloc() error.\n"});
    }
}

TEST_F(WideStrdefs, nested_failure_is_passed_on) {
    Nest nest;
    EXPECT_EQ(decode(nest_code, nest, BoundedBuffer(le32(7) + le32(8)), 4), -1);
    EXPECT_EQ(nest.refused[0].n, 7U);
    EXPECT_EQ(log.take(), (Lines{"0 wide: Unknown type 4.\n", "1 wide: nested error.\n"}));
}
