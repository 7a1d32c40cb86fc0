// SPDX-License-Identifier: MIT

#include "damage.hpp"

#include "room.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

namespace lindra::fuzz {

namespace {

// --- Bytes ---

constexpr uint8_t telling_bytes[] = {0x00, 0x7f, 0x80, 0xff};
constexpr int steps[] = {1, -1};
constexpr unsigned bits = 8;
constexpr unsigned byte_kinds = std::size(telling_bytes) + std::size(steps) + bits;

uint8_t damaged_byte(uint8_t byte, unsigned kind) {
    if (kind < std::size(telling_bytes)) return telling_bytes[kind];
    const size_t other = kind - std::size(telling_bytes);
    if (other < std::size(steps)) return static_cast<uint8_t>(byte + steps[other]);
    return static_cast<uint8_t>(byte ^ 1 << (other - std::size(steps)));
}

std::string byte_name(unsigned kind) {
    static constexpr const char *names[] = {"0x00", "0x7f", "0x80", "0xff", "one more", "one less"};
    if (kind < std::size(names)) return names[kind];
    return "bit " + std::to_string(kind - std::size(names)) + " turned over";
}

// --- Words ---

constexpr size_t widths[] = {2, 4, 8};
constexpr const char *numbers[] = {"0",
                                   "1",
                                   "-1",
                                   "the largest number",
                                   "the least number",
                                   "what is left",
                                   "one more than is left",
                                   "a half of what is left",
                                   "a quarter of what is left",
                                   "an eighth of what is left",
                                   "a sixteenth of what is left"};

constexpr unsigned number_count = std::size(numbers);

struct Word {
    explicit Word(unsigned kind)
        : number(kind % number_count), is_big(kind / number_count % 2),
          width(widths[kind / number_count / 2]) {}

    unsigned number;
    bool is_big;
    size_t width;
};

constexpr unsigned word_kinds = std::size(widths) * 2 * number_count;

// Nothing where one of the numbers before is the same.
std::optional<uint64_t> value_of(const Word &word, uint64_t left) {
    const uint64_t largest = std::numeric_limits<uint64_t>::max() >> (64 - 8 * word.width + 1);
    uint64_t values[number_count] = {0, 1, ~uint64_t{0}, largest, largest + 1};
    std::ranges::copy(numbers_of_room(left), values + 5);
    uint64_t *const value = values + word.number;
    if (std::find(values, value, *value) != value) return std::nullopt;
    return *value;
}

bool is_same_in_either_order(const Word &word) {
    return word.number == 0 || word.number == 2; // 0 and -1
}

void put(std::string &file, size_t at, const Word &word, uint64_t value) {
    for (size_t i = 0; i < word.width; i++, value >>= 8)
        file[word.is_big ? at + word.width - 1 - i : at + i] = static_cast<char>(value);
}

std::string word_name(const Word &word) {
    return std::to_string(word.width) +
           (word.is_big ? " bytes, the highest first, " : " bytes, the lowest first, ") +
           numbers[word.number];
}

static_assert(1 + byte_kinds + word_kinds == kinds_of_damage);

} // namespace

std::optional<std::string> damaged(const std::string &file, size_t at, unsigned kind) {
    if (kind == 0) return file.substr(0, at);
    std::string changed = file;
    if (kind <= byte_kinds) {
        changed[at] = static_cast<char>(damaged_byte(static_cast<uint8_t>(file[at]), kind - 1));
    } else {
        const Word word(kind - 1 - byte_kinds);
        if (word.width > file.size() - at || (word.is_big && is_same_in_either_order(word)))
            return std::nullopt;
        const std::optional<uint64_t> value = value_of(word, file.size() - at - word.width);
        if (!value) return std::nullopt;
        put(changed, at, word, *value);
    }
    if (changed == file) return std::nullopt;
    return changed;
}

std::string damage_name(size_t at, unsigned kind) {
    if (kind == 0) return "cut at byte " + std::to_string(at);
    return "byte " + std::to_string(at) + ": " +
           (kind <= byte_kinds ? byte_name(kind - 1) : word_name(Word(kind - 1 - byte_kinds)));
}

} // namespace lindra::fuzz
