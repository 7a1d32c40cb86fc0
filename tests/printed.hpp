// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_PRINTED_HPP
#define LINDRA_TESTS_PRINTED_HPP

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <unistd.h>

namespace lindra::test {

// What print writes to standard output.
template <class Print>
std::string printed(Print print) {
    FILE *file = tmpfile();
    if (!file) throw std::bad_alloc();
    fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    print();
    fflush(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);

    rewind(file);
    std::string text;
    std::array<char, 4096> piece;
    while (const size_t size = fread(piece.data(), 1, piece.size(), file))
        text.append(piece.data(), size);
    fclose(file);
    return text;
}

// What stands in the golden file of that name; LINDRA_BLESS=1 writes text there first.
inline std::string golden(const std::string &name, const std::string &text) {
    const std::string path = LINDRA_GOLDEN_DIRECTORY "/" + name;
    if (getenv("LINDRA_BLESS")) std::ofstream(path, std::ios::binary) << text;
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace lindra::test

#endif
