// SPDX-License-Identifier: MIT

#include "model.hpp"

#include "room.hpp"

#include "little_endian.hpp"

#include <algorithm>
#include <climits>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace lindra::fuzz {

namespace {

// A number that a count, a length or an offset at that place is not, or only just is.
int64_t telling_number(Random &random, size_t left) {
    const auto rest = static_cast<int64_t>(left);
    const int64_t numbers[] = {0, 1, -1, INT_MAX, INT_MIN, 1 << 16, 1 << 29, rest - 1, rest / 8 + 1};
    const std::array<uint64_t, 6> of_room = numbers_of_room(left);
    const unsigned chosen = random.below(std::size(numbers) + of_room.size());
    if (chosen < std::size(numbers)) return numbers[chosen];
    return static_cast<int64_t>(of_room[chosen - std::size(numbers)]);
}

std::string as_bytes(Random &random, int64_t number) {
    if (random.one_in(5))
        return random.one_in(2) ? test::be16(static_cast<int>(number)) : test::le16(static_cast<int>(number));
    return random.one_in(2) ? test::be32(number) : test::le32(number);
}

void put_number(Random &random, std::string &input) {
    const size_t step = random.one_in(4) ? 1 : 4;
    const size_t at = random.below(static_cast<unsigned>(input.size() / step + 1)) * step;
    const size_t left = input.size() - std::min(input.size(), at + 4);
    const std::string word = as_bytes(random, telling_number(random, left));
    if (at + word.size() <= input.size()) input.replace(at, word.size(), word);
}

// A little more or less, in the lowest byte of a word in either order.
void nudge(Random &random, std::string &input) {
    char &byte = input[random.below(static_cast<unsigned>(input.size()))];
    byte = static_cast<char>(byte + (random.one_in(2) ? 1 : -1));
}

void cut_out(Random &random, std::string &input) {
    const size_t at = random.below(static_cast<unsigned>(input.size()));
    input.erase(at, 1 + random.below(16));
}

void repeat(Random &random, std::string &input) {
    const size_t at = random.below(static_cast<unsigned>(input.size()));
    input.insert(at, input.substr(at, 1 + random.below(64)));
}

void cut_end(Random &random, std::string &input) {
    input.resize(random.below(static_cast<unsigned>(input.size())));
}

void damage(Random &random, std::string &input) {
    if (input.empty()) return;
    switch (random.below(8)) {
    case 0:
        return cut_end(random, input);
    case 1:
        return cut_out(random, input);
    case 2:
        return repeat(random, input);
    case 3:
        return nudge(random, input);
    default:
        return put_number(random, input);
    }
}

size_t store(const std::string &input, uint8_t *data, size_t max_size) {
    const size_t size = std::min(input.size(), max_size);
    std::copy_n(input.begin(), size, data);
    return size;
}

} // namespace

size_t mutate(uint8_t *data, size_t size, size_t max_size, unsigned seed, Model model) {
    Random random(seed);
    const bool fresh = size == 0 || random.one_in(16);
    if (!fresh && random.one_in(2)) return LLVMFuzzerMutate(data, size, max_size);
    std::string input = fresh ? model(random) : std::string(reinterpret_cast<char *>(data), size);
    for (unsigned damages = fresh ? random.below(3) : 1 + random.below(3); damages > 0; damages--)
        damage(random, input);
    return store(input, data, max_size);
}

} // namespace lindra::fuzz
