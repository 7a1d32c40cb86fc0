// SPDX-License-Identifier: MIT

#include "dump/siblings.hpp"

#include "common/captured_log.hpp"
#include "common/data_output.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "common/presence.hpp"
#include "common/shown.hpp"
#include "dump/json.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

namespace lindra::tools {

namespace {

constexpr size_t shape_header_size = 100; // of .shp and .shx
constexpr size_t index_entry_size = 8;    // of .shx
constexpr size_t longest_text = 60;       // shown of a .prj or .cpg

std::string count(int64_t number, const char *what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string shapes_fact(const InputFile &file) {
    unsigned char *cursor = file.data();
    SHPFILEHDR header;
    void *out = &header;
    if (esri_unstuff_stream(ESRI_FILEHDR, &out, file.data(), &cursor) < 0) return "shapes: header is cut";
    return std::string("shapes: ") + esri_get_shapetype(static_cast<unsigned>(header.shape_type));
}

std::string index_fact(const InputFile &file) {
    const size_t size = std::max(file.size(), shape_header_size) - shape_header_size;
    return "index: " + count(static_cast<int64_t>(size / index_entry_size), "record");
}

std::string table_fact(const InputFile &file) {
    DbaseFile table = {};
    unsigned char *cursor = file.data();
    errno = 0;
    const int status = esri_decode_dbase_file(&table, file.data(), &cursor);
    const std::string fact = "attributes: " + count(table.header.hdr5.numrecs, "record") + ", " +
                             count(counttbl(table.fields), "field");
    const bool lacks_memory = status < 0 && errno == ENOMEM;
    lindra_clear_esri(DBASE_FILE, &table);
    if (lacks_memory) throw std::bad_alloc();
    return status < 0 ? "attributes: damaged" : fact;
}

// The first line, cut to what fits on one of a terminal, without what would steer it.
std::string text_fact(const char *what, const InputFile &file) {
    std::string_view text(reinterpret_cast<const char *>(file.data()), file.size());
    text = text.substr(0, text.find_first_of(std::string_view("\r\n\0", 3)));
    const bool is_long = text.size() > longest_text;
    return std::string(what) + ": " + shown(text.substr(0, longest_text)) + (is_long ? "..." : "");
}

std::string coordinates_fact(const InputFile &file) {
    return text_fact("coordinate system", file);
}

std::string encoding_fact(const InputFile &file) {
    return text_fact("encoding", file);
}

struct Sibling {
    const char *endings[2]; // as they are written
    std::string (*fact)(const InputFile &file);
};

constexpr Sibling siblings[] = {
    {{".shp", ".SHP"}, shapes_fact},      {{".shx", ".SHX"}, index_fact},    {{".dbf", ".DBF"}, table_fact},
    {{".prj", ".PRJ"}, coordinates_fact}, {{".cpg", ".CPG"}, encoding_fact},
};

const Sibling &sibling_of(const std::string &path) {
    return *std::ranges::find_if(siblings, [&](const Sibling &sibling) {
        return path.ends_with(sibling.endings[0]) || path.ends_with(sibling.endings[1]);
    });
}

// A file that cannot be read is told with the others.
std::string fact_of(const std::string &path) {
    try {
        const CapturedLog log;
        return sibling_of(path).fact(InputFile(path));
    } catch (const DataError &error) {
        return shown(error.what());
    }
}

std::string as_line(const std::string &path, const std::string &fact) {
    return path + "  " + fact + "\n";
}

} // namespace

Siblings::Siblings(const std::string &path) {
    if (is_there(path)) return;
    // A shell that completes the name stops behind the dot.
    const std::string base = path.substr(0, path.size() - (path.ends_with('.') ? 1 : 0));
    for (const Sibling &sibling : siblings)
        for (const char *ending : sibling.endings)
            if (is_there(base + ending)) paths_.push_back(base + ending);
}

void Siblings::print(bool json) const {
    DataOutput out("");
    Json facts = Json::array();
    for (const std::string &path : paths_) {
        const std::string fact = fact_of(path);
        if (json)
            facts.push_back({{"path", path}, {"holds", fact}});
        else
            out.write(as_line(path, fact));
    }
    if (json) out.write(json_text(facts, 2) + "\n");
    out.finish();
}

} // namespace lindra::tools
