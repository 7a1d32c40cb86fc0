// SPDX-License-Identifier: MIT
//
// Runs a target without a fuzzer: over the files that are named, those of a directory among them; for a
// target with a model over inputs that are made from numbers (--made COUNT); for one with fixtures over
// those, damaged in every way or in a share of all ways that a seed chooses (--sweep SHARE SEED). --patience
// SECONDS, before these, is the processor time after which an input is taken to have no end.

#include "batches.hpp"
#include "sweep.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

extern "C" {
[[gnu::weak]] size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed);
size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);
}

namespace lindra::fuzz {
[[gnu::weak]] std::vector<Fixture> fixtures();
}

// In the place of the fuzzer's.
size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t) {
    for (size_t i = 0; i < size; i += 64)
        data[i] = static_cast<uint8_t>(data[i] ^ (1 << i / 64 % 8));
    return size;
}

namespace {

namespace fs = std::filesystem;
using namespace lindra::fuzz;

constexpr size_t largest_made = 4096;

size_t count = 0, failures = 0;

std::string read_whole(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        fprintf(stderr, "replay: %s cannot be read\n", path.c_str());
        exit(2);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<fs::path> files_of(const fs::path &path) {
    if (!fs::is_directory(path)) return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(path))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

void replay_files(const std::vector<fs::path> &files) {
    failures += run_all(
        static_cast<unsigned>(files.size()), [&](unsigned number) { return read_whole(files[number]); },
        [&](unsigned number) { fprintf(stderr, "replay: FAILED on %s\n", files[number].c_str()); });
    count += files.size();
}

std::string made_input(unsigned number) {
    std::vector<uint8_t> data(largest_made);
    size_t size = 0;
    for (unsigned step = 0; step <= number % 4; step++)
        size = LLVMFuzzerCustomMutator(data.data(), size, data.size(), number * 4 + step);
    return {data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size)};
}

// Writes the input that failed, for it to be looked at.
void tell_made(unsigned number) {
    const std::string name = "made-" + std::to_string(getpid()) + "-" + std::to_string(number);
    std::ofstream(name, std::ios::binary) << made_input(number);
    fprintf(stderr, "replay: FAILED on made input %u, written to %s\n", number, fs::absolute(name).c_str());
}

void replay_made(unsigned made) {
    if (!LLVMFuzzerCustomMutator) return;
    failures += run_all(made, made_input, tell_made);
    count += made;
}

void replay_sweep(double share, unsigned seed) {
    if (!fixtures) return;
    const Swept swept = sweep(fixtures(), share, seed);
    count += swept.inputs;
    failures += swept.failures;
}

unsigned number_of(const char *text) {
    return static_cast<unsigned>(strtoul(text, nullptr, 10));
}

// Returns how many arguments it has taken.
int replay(int argc, char **argv) {
    const std::string_view what = argv[0];
    if (what == "--patience" && argc > 1) return set_patience(number_of(argv[1])), 2;
    if (what == "--made" && argc > 1) return replay_made(number_of(argv[1])), 2;
    if (what == "--sweep" && argc > 2) return replay_sweep(strtod(argv[1], nullptr), number_of(argv[2])), 3;
    return replay_files(files_of(what)), 1;
}

} // namespace

int main(int argc, char **argv) {
    for (int i = 1; i < argc;)
        i += replay(argc - i, argv + i);
    fprintf(stderr, "replay: %zu inputs, %zu failed\n", count, failures);
    return failures > 0 || count == 0;
}
