// SPDX-License-Identifier: MIT
//
// What a user writes behind the command's options: windows, layers, styles, colours, expressions, sizes,
// projections, resolutions, images of a texture, encodings; and the lists of the library. The first byte of
// the input chooses which. What is refused must be refused as a UsageError in one line; what is accepted must
// be what its header promises.

#include "harness/expect.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"

#include "texture_builder.hpp"

#include "common/errors.hpp"
#include "map/options.hpp"
#include "map/page.hpp"
#include "map/projection.hpp"
#include "map/resolution.hpp"
#include "map/style.hpp"
#include "shapes/shape_window.hpp"
#include "shapes/where_expression.hpp"
#include "texture/image_filter.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <string>

using namespace lindra::fuzz;
using namespace lindra::tools;

namespace {

// --- The parsers ---

bool is_part(double value) {
    return value >= 0 && value <= 1;
}

void check_colour(const Colour &colour) {
    expect(is_part(colour.red) && is_part(colour.green) && is_part(colour.blue) && is_part(colour.alpha),
           "the parts of a colour are 0 to 1");
}

void read_window(const std::string &text) {
    const auto window = parse_window(text);
    expect(window.west < window.east && window.east - window.west <= 360, "a window is up to a turn wide");
    expect(window.west >= -360 && window.east <= 720 + 360, "a window's longitudes have bounds");
    expect(window.south >= -90 && window.south < window.north && window.north <= 90,
           "a window's latitudes are those of the Earth");
}

void read_layers(const std::string &text) {
    const Layers layers = parse_layers(text);
    expect(layers.borders.mask() < 1U << border_levels && layers.rivers.mask() < 1U << river_levels,
           "levels are those that there are");
}

void read_style(const std::string &text) {
    const Style style = parse_style(text);
    for (const Colour &colour :
         {style.background, style.sea, style.land, style.coast, style.river, style.text})
        check_colour(colour);
    for (const double width : {style.coast_width, style.river_width, style.dot_size, style.text_size})
        expect(std::isfinite(width) && width >= 0, "a width is finite and not below 0");
}

void read_shape_window(const std::string &text) {
    for (const ShapeWindow &window : parse_shape_window(text)) {
        for (const double edge : {window.west, window.east, window.south, window.north})
            expect(std::isfinite(edge), "the edges of a window are finite");
        expect(window.west <= window.east && window.south <= window.north, "a window is not inside out");
    }
}

sqlite3 *connection() {
    static sqlite3 *const only = [] {
        sqlite3 *opened = nullptr;
        sqlite3_open(":memory:", &opened);
        sqlite3_exec(opened, "CREATE TABLE t(NAME, a)", nullptr, nullptr, nullptr);
        return opened;
    }();
    return only;
}

// Whatever the text is, between the parentheses it is one operand of the AND, which is false. A text that got
// out of them would be another statement, a parameter or a row.
void check_statement(const std::string &text) {
    const std::string sql = "SELECT 1 FROM (SELECT 1 AS one) WHERE 0 AND (" + text + "\n) ORDER BY one";
    sqlite3_stmt *statement = nullptr;
    const char *tail = nullptr;
    if (sqlite3_prepare_v2(connection(), sql.c_str(), static_cast<int>(sql.size()) + 1, &statement, &tail) !=
        SQLITE_OK)
        return;
    expect(*tail == '\0', "an expression is not two statements");
    expect(sqlite3_bind_parameter_count(statement) == 0, "an expression has no parameters");
    expect(sqlite3_step(statement) != SQLITE_ROW, "an expression stays between its parentheses");
    sqlite3_finalize(statement);
}

// An argument ends at its first zero byte.
void read_expression(const std::string &text) {
    const std::string argument = text.c_str();
    require_one_expression(argument);
    attribute_columns({"NAME", "Name", "a b", "it's", "qu\"ote", "back\\slash"}, argument);
    const HeapPause pause;
    check_statement(argument);
}

void read_list(const std::string &text) {
    int argc = -1;
    char **argv = nullptr;
    expect(splitlist(text.c_str(), &argc, &argv) == 0 && argv[argc] == nullptr, "any text is a list");
    for (int i = 0; i < argc; i++)
        expect(*argv[i] && !strpbrk(argv[i], " \t\n\r,"), "an item is not empty and holds no separator");
    freeargs(argc, argv);
}

void read_map_lists(const std::string &text) {
    GshhsMap *gs = nullptr;
    gshhsmap_open(&gs);
    unsigned char nothing = 0;
    for (unsigned char *&data : gs->cache_data)
        data = &nothing;
    gshhsmap_select(gs, text.c_str(), text.c_str(), 0, 360, -90, 90, 0, 0);
    expect(gs->nselect >= 0 && gs->nselect <= 2, "there are up to two layers");
    lindra_free_gshhsmap(gs);
}

void read_size(const std::string &text) {
    const PageSize size = parse_size(text);
    expect(size.width > 0 || size.height > 0, "one side of a page is given");
    for (const int side : {size.width, size.height})
        expect(side >= 0 && side <= 20000, "a page has sides of up to 20000 pixels");
}

void read_projection(const std::string &text) {
    const ProjectionKind &kind = find_projection(text);
    const std::string names = std::string(", ") + kind.name + ", " + kind.aliases + ",";
    expect(!text.empty() && names.find(", " + text + ",") != names.npos, "a projection has one of its names");
}

void read_resolution(const std::string &text) {
    const char letter = choose_resolution(text, 1, {});
    expect(text == "auto" || text[0] == letter, "a resolution has its own letter");
}

// Two levels, each one image. The parts of the text are the four choices.
const lindra::texture &small_texture() {
    static const std::string bytes = lindra::test::dds::Texture{.width = 4, .height = 4, .levels = 2}.file();
    static const lindra::texture only(
        lindra::byte_span(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size()));
    return only;
}

void read_images(const std::string &text) {
    std::string parts[4];
    size_t part = 0;
    for (const char c : text)
        if (c == '/')
            part = std::min<size_t>(part + 1, 3);
        else
            parts[part] += c;
    const ImageFilter filter(small_texture(), {parts[0], parts[1], parts[2], parts[3]}, ImageFilter::first);
    const auto images = small_texture().images();
    const auto taken = std::count_if(images.begin(), images.end(),
                                     [&](const lindra::texture_image &image) { return filter.takes(image); });
    expect(taken == (parts[2] == "all" ? 2 : 1), "a choice takes one level, or all");
}

void read_encoding(const std::string &text) {
    const HeapPause pause; // iconv keeps its tables
    const lindra::detail::text_decoder decoder(lindra::detail::encoding_of_cpg(text));
    bool is_damaged = false;
    if (decoder.is_open()) decoder("plain \xe4\xf6\x1b$B", is_damaged);
}

using Reader = void (*)(const std::string &text);

constexpr Reader readers[] = {
    read_window,       read_layers,
    read_style,        [](const std::string &text) { check_colour(parse_colour(text)); },
    read_shape_window, read_expression,
    read_list,         read_map_lists,
    read_size,         read_projection,
    read_resolution,   read_images,
    read_encoding};

// --- Model ---

constexpr const char *words[] = {
    // windows
    "/", "/", "-180/180/-90/90", "5/15/45/50", "1e308", "-0", "0x1", "nan", "inf", ".5", "720", "1e-320",
    "+1",
    // layers
    ",", ":", "+", "-", "coast", "land", "lakes", "islands", "ponds", "borders", "rivers", "national",
    "state", "marine", "canals", "1-2", "10", "31", "4294967297", "99999999999999999999", "borders:1,",
    "rivers:1-",
    // styles
    "=", "atlas", "night", "plain", "coast-width", "sea", "none", "#", "#fff", "#12345678", "red", "0.8",
    "-1", "text-size",
    // expressions
    "(", ")", "'", "\"", "`", "[", "]", "/*", "*/", "--", "\n", ";", "?", "NAME", "x'00'", "''", " AND ", "1",
    " OR 1", "json_each", "SELECT", " UNION ", "a.b", "->>", "||", "CAST(1 AS INT)", "\\", "@a", "$x(", "#1",
    "\v", "\xe2\x80\x8b",
    // sizes, projections, resolutions, images
    "x", "1200", "20000", "20001", "merc", "mercator", "eqc", "latlon", ", ", "c", "crude", "auto", "all",
    "0", "2", "4294967296",
    // encodings
    "UTF-8", "CP", "ANSI 1252", "88591", "//TRANSLIT", "ISO-8859-", "\xef\xbb\xbf",
    // lists
    "p:1", "f:0", " ", "\t", "c:-1"};

std::string model(Random &random) {
    std::string text(1, static_cast<char>(random.below(std::size(readers))));
    for (unsigned count = random.below(10); count > 0; count--)
        text += random.one_of(words);
    return text;
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Parameters parameters({data, size});
    const Reader read = parameters.one_of(readers);
    const std::string text(text_of(parameters.rest()));
    const HeapLimit limit(size);
    try {
        read(text);
    } catch (const UsageError &error) {
        expect(*error.what() != '\0', "a refusal says why");
    }
    return 0;
}
