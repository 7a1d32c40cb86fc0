// SPDX-License-Identifier: MIT
//
// dBase tables by the C face: header, descriptors, records, the fields of a record, and the listing; and,
// where they keep every rule, by the C++ face beside it.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/model.hpp"
#include "harness/steps.hpp"

#include "dbase_builder.hpp"

#include "lindra/lindra.hpp"

#include <cctype>
#include <climits>
#include <set>
#include <utility>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

std::string row_of_numbers(Random &random, int size) {
    std::string row;
    while (std::cmp_less(row.size(), size))
        row += random.one_of("0123456789   -.*e\t\v\xe4");
    return row;
}

std::string model(Random &random) {
    RawTable table;
    const bool is_plain = random.one_in(2);
    const unsigned fields = random.below(6);
    for (unsigned i = 0; i < fields; i++) {
        const int length = static_cast<int>(random.one_in(8) ? 255 : random.below(12));
        const std::string name = is_plain ? "F" + std::to_string(i) : random.bytes(random.below(11));
        const char type = is_plain ? "CNF"[random.below(3)] : random.one_of("CCCNNNFLD");
        table.fields.push_back({name, type, length});
    }
    const unsigned records = random.below(5);
    const int row_size = table.record_size() - 1;
    for (unsigned i = 0; i < records; i++)
        table.records.push_back(is_plain ? row_of_numbers(random, row_size)
                                         : random.bytes(static_cast<size_t>(row_size)));
    table.padded = random.one_in(3);
    if (random.one_in(4)) table.end_mark = "";
    return table.bytes();
}

// Fields of a record that is there, and of one that is not.
void read_fields(DbaseFile &dbf) {
    const int last = dbf.header.hdr5.numrecs;
    Arr *fields = nullptr;
    for (const int index : {0, last / 2, last, -1, INT_MAX, INT_MIN})
        esri_get_dbase_fields(&dbf, index, &fields);
    freearr(fields, free);
}

int decode(DbaseFile &dbf, const Input &input) {
    unsigned char *cursor = input.data();
    const int status = esri_decode_dbase_file(&dbf, input.data(), &cursor);
    expect(input.has(cursor), "the position stays in the file");
    return status;
}

// --- Files that keep every rule ---

constexpr size_t header_size = 32;
constexpr size_t descriptor_size = 32;
constexpr size_t name_size = 11;
constexpr unsigned char terminator = '\r';

size_t little16(const unsigned char *at) {
    return at[0] | static_cast<size_t>(at[1]) << 8;
}

std::string name_at(const unsigned char *descriptor) {
    const std::string_view padded = text_of({descriptor, name_size});
    return std::string(padded.substr(0, padded.find('\0')));
}

bool is_name(const std::string &text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) { return isgraph(c); });
}

// The size of a row by its fields, which all have a type and a name of their own; 0 where they have not, or
// do not end where the header does.
size_t row_size(const Input &input) {
    const size_t end = little16(input.data() + 8);
    if (end > input.size() || end % descriptor_size != 1 || input.data()[end - 1] != terminator) return 0;
    size_t size = 1;
    std::set<std::string> names;
    for (size_t at = header_size; at < end - 1; at += descriptor_size) {
        const unsigned char *const descriptor = input.data() + at;
        const std::string name = name_at(descriptor);
        if (!is_name(name) || !isupper(descriptor[name_size]) || !names.insert(name).second) return 0;
        size += descriptor[name_size + 5];
    }
    return size;
}

// A table of level 5 with its rows behind the header, each with its flag, and a mark at the end.
bool keeps_every_rule(const Input &input) {
    if (input.size() <= header_size || (*input.data() & 7) != 3) return false;
    const size_t size = row_size(input);
    if (size == 0 || size > INT16_MAX || size != little16(input.data() + 10)) return false;
    const size_t rows = little16(input.data() + 4) | little16(input.data() + 6) << 16;
    const unsigned char *at = input.data() + little16(input.data() + 8);
    const auto left = static_cast<size_t>(input.end() - at);
    if (left != rows * size + 1) return false;
    for (size_t i = 0; i < rows; i++, at += size)
        if (*at != ' ' && *at != '*') return false;
    return *at == '\x1a';
}

// --- The same by both faces ---

// Every byte of that encoding is the character of its number.
constexpr const char *encoding = "ISO-8859-1";

std::string in_utf8(std::string_view text) {
    std::string result;
    for (const char byte : text) {
        const auto c = static_cast<unsigned char>(byte);
        if (c >= 0x80) result += static_cast<char>(0xc0 | c >> 6);
        result += static_cast<char>(c < 0x80 ? c : 0x80 | (c & 0x3f));
    }
    return result;
}

std::string without_white_space(const std::string &text) {
    std::string changed = text;
    return strtrim(changed.data());
}

bool same_text(const std::string &text, const lindra::attribute_value &value) {
    const std::string *const seen = std::get_if<std::string>(&value);
    return without_white_space(seen ? *seen : "") == in_utf8(text);
}

// A text of digits without more of them than every number has.
bool is_integer(std::string_view text) {
    if (text.starts_with('-')) text.remove_prefix(1);
    return !text.empty() && text.size() <= 18 && text.find_first_not_of("0123456789") == text.npos;
}

// A number in a decimal notation without exponent. What has other characters is left to the C++ face.
bool is_plain(std::string_view field) {
    return field.find_first_not_of(" \t\n\v\f\r-.0123456789") == field.npos;
}

bool same_number(const std::string &text, const lindra::attribute_value &value) {
    if (is_integer(text))
        return value == lindra::attribute_value(int64_t{strtoll(text.c_str(), nullptr, 10)});
    char *end = nullptr;
    const double number = strtod(text.c_str(), &end);
    if (text.empty() || *end) return std::holds_alternative<lindra::no_value>(value);
    return value == lindra::attribute_value(number);
}

void compare_field(const DBASEFIELDDESCR5 &field, const lindra::table_field &other) {
    expect(field.name == other.name && field.type == other.type && field.length == other.length &&
               field.count == other.decimals,
           "both faces see the same field");
}

// Behind a field of a type that it passes over, the C face reads too far to the left.
void compare_row(DbaseFile &dbf, Arr *texts, const lindra::attribute_row &row) {
    for (int i = 0; i < counttbl(dbf.fields); i++) {
        const auto &field = *static_cast<DBASEFIELDDESCR5 *>(gettbl(dbf.fields, i));
        if (field.type != 'C' && field.type != 'N') return;
        const std::string text = static_cast<const char *>(getarr(texts, field.name));
        const auto number = static_cast<size_t>(i);
        expect(field.type == 'C' ? same_text(text, row[number])
                                 : !is_plain(row.raw(number)) || same_number(text, row[number]),
               "both faces see the same value");
    }
}

void compare_faces(DbaseFile &dbf, const Input &input) {
    bool is_repaired = false;
    const auto hear = [&](const lindra::repair &told) {
        is_repaired = is_repaired || told.kind == lindra::repair_kind::table;
    };
    const lindra::attribute_table table({input.data(), input.size()}, encoding, "", {"memory.dbf", hear});
    expect(!is_repaired, "a table that keeps every rule needs no repair");
    expect(table.fields().size() == static_cast<size_t>(counttbl(dbf.fields)) &&
               table.size() == static_cast<size_t>(dbf.header.hdr5.numrecs),
           "both faces see as many fields and rows");
    for (size_t i = 0; i < table.fields().size(); i++)
        compare_field(*static_cast<DBASEFIELDDESCR5 *>(gettbl(dbf.fields, static_cast<int>(i))),
                      table.fields()[i]);
    Arr *texts = nullptr;
    for (size_t i = 0; i < table.size(); i++) {
        expect(esri_get_dbase_fields(&dbf, static_cast<int>(i), &texts) == 0, "a row that is there is read");
        compare_row(dbf, texts, table.row(i));
    }
    freearr(texts, free);
}

void compare_faces(const Input &input) {
    DbaseFile dbf = {};
    expect(decode(dbf, input) == 0, "a table that keeps every rule is read");
    compare_faces(dbf, input);
    lindra_clear_esri(DBASE_FILE, &dbf);
}

// --- By the C face ---

void read_with_limits(const Input &input) {
    const HeapLimit limit(input.size());
    const StepLimit steps(input.size(), 40, 10'000);
    DbaseFile dbf = {};
    const int status = decode(dbf, input);
    if (status == 0) accept();
    read_fields(dbf);
    lindra_print_dbase_file("", &dbf);
    // Longer records end the process, as they always did.
    if (static_cast<int16_t>(dbf.header.hdr5.numbytesrec) <= 512) esri_print_dbase_file("", &dbf);

    clrtbl(dbf.fields, free);
    expect(decode(dbf, input) == status, "a table that is used again is decoded as a new one");
    lindra_clear_esri(DBASE_FILE, &dbf);
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    RawTable every_type;
    std::string values;
    for (const char type : std::string("CNFLDMBGPYTIO@+")) {
        every_type.fields.push_back({std::string("F_") + type, type, 4, 1});
        values += "1234";
    }
    every_type.records = {values, values};
    RawTable padded = cities();
    padded.padded = true;
    RawTable long_field;
    long_field.fields = {{"LONG", 'C', 255}};
    long_field.records = {std::string(255, 'x')};
    return {{"every-type", every_type.bytes()},
            {"cities", cities().bytes()},
            {"padded-header", padded.bytes()},
            {"longest-field", long_field.bytes()},
            {"no-records", RawTable{.fields = cities().fields}.bytes()},
            {"no-fields", RawTable{}.bytes()}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const Input input({data, size});
    {
        const HeapBalance balance;
        read_with_limits(input);
    }
    // iconv keeps its tables.
    if (keeps_every_rule(input)) compare_faces(input);
    return 0;
}
