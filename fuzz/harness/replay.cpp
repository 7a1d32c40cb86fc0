// SPDX-License-Identifier: MIT
//
// Runs a target without a fuzzer: over the files that are named, those of a directory among them, and, for a
// target with a model, over inputs that are made from numbers (--made COUNT). Many inputs share a process;
// where that fails, each has one of its own, so that every one that fails is told, and the others are run.

#include "model.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern "C" {
int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
[[gnu::weak]] size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed);
size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);
}

// In the place of the fuzzer's.
size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t) {
    for (size_t i = 0; i < size; i += 64)
        data[i] = static_cast<uint8_t>(data[i] ^ (1 << i / 64 % 8));
    return size;
}

namespace {

namespace fs = std::filesystem;

constexpr size_t largest_made = 4096;
constexpr unsigned inputs_of_a_process = 500;

std::string read_whole(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        fprintf(stderr, "replay: %s cannot be read\n", path.c_str());
        exit(2);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

void run(const std::string &input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
}

// Whether work ends well in a process of its own, which leaks nothing, where that is looked after.
template <class Work>
bool ends_well(Work work) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        perror("replay: fork");
        exit(2);
    }
    if (child == 0) {
        work();
        exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// input_of makes the input of a number, tell says which one failed. Returns how many did.
template <class InputOf, class Tell>
size_t replay(unsigned count, InputOf input_of, Tell tell) {
    size_t failures = 0;
    for (unsigned first = 0; first < count; first += inputs_of_a_process) {
        const unsigned last = std::min(count, first + inputs_of_a_process);
        const auto run_from = [&](unsigned from, unsigned to) {
            return ends_well([&] {
                for (unsigned number = from; number < to; number++)
                    run(input_of(number));
            });
        };
        if (run_from(first, last)) continue;
        size_t found = 0;
        for (unsigned number = first; number < last; number++)
            if (!run_from(number, number + 1)) {
                tell(number);
                found++;
            }
        if (!found)
            fprintf(stderr, "replay: FAILED on inputs %u to %u, but only together\n", first, last - 1);
        failures += std::max<size_t>(found, 1);
    }
    return failures;
}

std::vector<fs::path> files_of(const fs::path &path) {
    if (!fs::is_directory(path)) return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(path))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

size_t replay_files(const std::vector<fs::path> &files) {
    return replay(
        static_cast<unsigned>(files.size()), [&](unsigned number) { return read_whole(files[number]); },
        [&](unsigned number) { fprintf(stderr, "replay: FAILED on %s\n", files[number].c_str()); });
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

} // namespace

int main(int argc, char **argv) {
    size_t failures = 0, count = 0;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--made") == 0 && i + 1 < argc) {
            const auto made = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
            if (!LLVMFuzzerCustomMutator) continue;
            failures += replay(made, made_input, tell_made);
            count += made;
        } else {
            const std::vector<fs::path> files = files_of(argv[i]);
            failures += replay_files(files);
            count += files.size();
        }
    }
    fprintf(stderr, "replay: %zu inputs, %zu failed\n", count, failures);
    return failures > 0 || count == 0;
}
