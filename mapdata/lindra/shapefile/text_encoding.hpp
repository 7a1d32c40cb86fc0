// SPDX-License-Identifier: MIT
//
// Which encoding the texts of a table are in, and their conversion to UTF-8 by the system's iconv.
//
// Three places tell: the .cpg file beside the table, the language driver id in its header ("Data File Header
// Structure for the dBASE Version 7 Table File", dBASE, 1999, and the code pages that FoxPro lists for the
// ids), and the caller. The first whose encoding iconv knows is used.
#ifndef LINDRA_SHAPEFILE_TEXT_ENCODING_HPP
#define LINDRA_SHAPEFILE_TEXT_ENCODING_HPP

#include "../face/report.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <iconv.h>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace lindra {

enum class encoding_origin { cpg, language_id, given, standard };

inline const char *to_text(encoding_origin origin) {
    switch (origin) {
    case encoding_origin::cpg:
        return "the .cpg file";
    case encoding_origin::language_id:
        return "the language id";
    case encoding_origin::given:
        return "the given encoding";
    case encoding_origin::standard:
        break;
    }
    return "the default";
}

// text_encoding: a name that iconv knows, and where it came from. By default it is ISO-8859-1.
struct text_encoding {
    std::string name;
    encoding_origin origin;
};

namespace detail {

struct language_code {
    uint8_t id;
    const char *encoding;
};

// An id of 0 tells nothing, and one of 0x57 that it is whatever the machine used that wrote the file.
inline constexpr auto language_codes = std::to_array<language_code>({
    {0x01, "CP437"},  {0x02, "CP850"},  {0x03, "CP1252"}, {0x04, "MACINTOSH"}, {0x08, "CP865"},
    {0x09, "CP437"},  {0x0a, "CP850"},  {0x0b, "CP437"},  {0x0d, "CP437"},     {0x0e, "CP850"},
    {0x0f, "CP437"},  {0x10, "CP850"},  {0x11, "CP437"},  {0x12, "CP850"},     {0x13, "CP932"},
    {0x14, "CP850"},  {0x15, "CP437"},  {0x16, "CP850"},  {0x17, "CP865"},     {0x18, "CP437"},
    {0x19, "CP437"},  {0x1a, "CP850"},  {0x1b, "CP437"},  {0x1c, "CP863"},     {0x1d, "CP850"},
    {0x1f, "CP852"},  {0x22, "CP852"},  {0x23, "CP852"},  {0x24, "CP860"},     {0x25, "CP850"},
    {0x26, "CP866"},  {0x37, "CP850"},  {0x40, "CP852"},  {0x4d, "CP936"},     {0x4e, "CP949"},
    {0x4f, "CP950"},  {0x50, "CP874"},  {0x58, "CP1252"}, {0x59, "CP1252"},    {0x64, "CP852"},
    {0x65, "CP866"},  {0x66, "CP865"},  {0x67, "CP861"},  {0x6a, "CP737"},     {0x6b, "CP857"},
    {0x6c, "CP863"},  {0x78, "CP950"},  {0x79, "CP949"},  {0x7a, "CP936"},     {0x7b, "CP932"},
    {0x7c, "CP874"},  {0x86, "CP737"},  {0x87, "CP852"},  {0x88, "CP857"},     {0xc8, "CP1250"},
    {0xc9, "CP1251"}, {0xca, "CP1254"}, {0xcb, "CP1253"}, {0xcc, "CP1257"},
});

inline const char *encoding_of_language(uint8_t id) {
    const auto found = std::find_if(language_codes.begin(), language_codes.end(),
                                    [id](const language_code &row) { return row.id == id; });
    return found == language_codes.end() ? nullptr : found->encoding;
}

inline bool is_digits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The encoding that a .cpg file names: "UTF-8", "1252", "ANSI 1252", "OEM 437", "88591", ...
inline std::string encoding_of_cpg(std::string_view text) {
    if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
    using namespace std::string_view_literals;
    std::string name;
    for (const char c : text.substr(0, text.find_first_of("\r\n\0"sv)))
        if (c != ' ' && c != '\t') name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const std::string_view prefix : {"ANSI", "OEM", "CP", "WINDOWS-"})
        if (name.starts_with(prefix) && is_digits(std::string_view(name).substr(prefix.size())))
            name.erase(0, prefix.size());
    if (!is_digits(name)) return name;
    if (name == "65001") return "UTF-8";
    if (name.starts_with("8859") && name.size() > 4) return "ISO-8859-" + name.substr(4);
    return "CP" + name;
}

// What keeps this process from loading anything: EMFILE, ENFILE, ENOMEM; or nothing.
inline std::optional<int> reason_against_loading() {
    // O_PATH: to look at the root no permission is needed.
    const int descriptor = ::open("/", O_PATH | O_CLOEXEC);
    if (descriptor < 0) return errno;
    ::close(descriptor);
    constexpr int no_file = -1;
    constexpr size_t size = 1; // which takes a page
    void *room = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, no_file, 0);
    if (room == MAP_FAILED) return errno;
    munmap(room, size);
    return std::nullopt;
}

// Converts to UTF-8. One object belongs to one thread at a time.
class text_decoder {
  public:
    text_decoder() = default;
    // The object is whole when it is opened, so that the handle is closed when memory runs out meanwhile.
    explicit text_decoder(const std::string &encoding) : text_decoder() {
        open_handle(encoding);
        // glibc fails with EINVAL, too, when it cannot load the module of an encoding that it knows. Where
        // that was for the moment, it can the next time.
        if (refusal_ == EINVAL) open_handle(encoding);
        if (refusal_ == EINVAL) refusal_ = reason_against_loading().value_or(EINVAL);
        if (refusal_ == ENOMEM) throw std::bad_alloc();
        keeps_plain_text_ = is_open_ && converts_plain_text_to_itself();
    }
    ~text_decoder() {
        if (is_open_) iconv_close(handle_);
    }
    text_decoder &operator=(text_decoder &&other) noexcept {
        std::swap(handle_, other.handle_);
        std::swap(is_open_, other.is_open_);
        std::swap(refusal_, other.refusal_);
        std::swap(keeps_plain_text_, other.keeps_plain_text_);
        return *this;
    }

    bool is_open() const { return is_open_; }
    // Why it is not open: EINVAL when iconv does not know the encoding.
    int refusal() const { return refusal_; }

    // Bytes that are none of the encoding become U+FFFD each, a character cut off at the end is dropped; both
    // set is_damaged.
    std::string operator()(std::string_view text, bool &is_damaged) const {
        if (keeps_plain_text_ && is_plain(text)) return std::string(text);
        return convert(text, is_damaged);
    }

  private:
    void open_handle(const std::string &encoding) {
        handle_ = iconv_open("UTF-8", encoding.c_str());
        is_open_ = reinterpret_cast<intptr_t>(handle_) != -1;
        refusal_ = is_open_ ? 0 : errno;
    }

    // Escape, shift out and shift in begin other characters in the encodings that have them.
    static bool is_plain(std::string_view text) {
        return std::none_of(text.begin(), text.end(),
                            [](char c) { return (c & '\x80') || c == '\x1b' || c == '\x0e' || c == '\x0f'; });
    }

    // Not so where there is another character in the place of a backslash, or where printable ones shift, as
    // in HZ and UTF-7.
    bool converts_plain_text_to_itself() const {
        std::string text = "~{VPND~}+AGE-";
        for (char c = ' '; c < 127; c++)
            text += c;
        bool is_damaged = false;
        const std::string converted = convert(text, is_damaged);
        return !is_damaged && converted == text;
    }

    std::string convert(std::string_view text, bool &is_damaged) const {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        std::string result;
        // iconv wants it so, and changes nothing.
        char *from = const_cast<char *>(text.data());
        size_t left = text.size();
        while (left) {
            const int reason = convert_some(from, left, result);
            if (reason == 0 || reason == E2BIG) continue;
            is_damaged = true;
            if (reason == EINVAL) break;
            result += "\xef\xbf\xbd";
            from++;
            left--;
        }
        return result;
    }

    // Returns why it stopped: 0 at the end.
    int convert_some(char *&from, size_t &left, std::string &result) const {
        std::array<char, 256> room;
        char *to = room.data();
        size_t to_left = room.size();
        const size_t status = iconv(handle_, &from, &left, &to, &to_left);
        const int reason = status == static_cast<size_t>(-1) ? errno : 0;
        result.append(room.data(), to);
        return reason;
    }

    iconv_t handle_ = nullptr;
    bool is_open_ = false;
    int refusal_ = 0;
    bool keeps_plain_text_ = false;
};

// What there is to choose an encoding from. Empty texts tell nothing.
struct encoding_sources {
    std::string_view cpg;
    uint8_t language_id = 0;
    std::string_view given;
};

inline constexpr const char *standard_encoding = "ISO-8859-1";

// A table whose text the system fails to convert is left aside, and not read in another encoding.
[[noreturn]] inline void refuse_text(const reporter &report, const std::string &encoding, int reason) {
    const std::string why = reason == EINVAL
                                ? "finds no " + encoding
                                : "cannot open " + encoding + ": " + std::generic_category().message(reason);
    report(repair_kind::file_beside, 0, "cannot be decoded: iconv " + why);
    report.refuse(0, "cannot be decoded: iconv " + why);
}

// Chooses, and opens the decoder.
inline text_encoding choose_encoding(const encoding_sources &sources, const reporter &report,
                                     text_decoder &decoder) {
    const char *language = encoding_of_language(sources.language_id);
    const text_encoding candidates[] = {
        {encoding_of_cpg(sources.cpg), encoding_origin::cpg},
        {language ? language : "", encoding_origin::language_id},
        {std::string(sources.given), encoding_origin::given},
    };
    for (const text_encoding &candidate : candidates) {
        if (candidate.name.empty()) continue;
        decoder = text_decoder(candidate.name);
        if (decoder.is_open()) return candidate;
        // Without descriptors at its first look, glibc finds no encoding for the rest of the process.
        if (decoder.refusal() != EINVAL || !text_decoder(standard_encoding).is_open())
            refuse_text(report, candidate.name, decoder.refusal());
        report(repair_kind::encoding, 0,
               "\"" + candidate.name + "\" from " + to_text(candidate.origin) + " is unknown to iconv");
    }
    text_encoding standard{standard_encoding, encoding_origin::standard};
    decoder = text_decoder(standard.name);
    if (decoder.is_open()) return standard;
    refuse_text(report, standard.name, decoder.refusal());
}

} // namespace detail

} // namespace lindra

#endif
