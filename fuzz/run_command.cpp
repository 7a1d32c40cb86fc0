// SPDX-License-Identifier: MIT

#include "run_command.hpp"

#include "harness/expect.hpp"
#include "harness/memory_file.hpp"

#include "program.hpp"

#include "lindra/lindra.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

namespace lindra::fuzz {

namespace {

// What is said while one lives is kept, and not told.
class Said {
  public:
    Said() : before_(stderr) {
        stderr = fopen(file().path(), "w");
        expect(stderr != nullptr, "fopen");
        setvbuf(stderr, block(), _IOFBF, block_size);
    }
    ~Said() { restore(); }
    Said(const Said &) = delete;
    Said &operator=(const Said &) = delete;

    std::string text() {
        restore();
        std::ifstream from(file().path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(from), {}};
    }

  private:
    static constexpr size_t block_size = 1 << 16;

    static const MemoryFile &file() {
        static const MemoryFile only;
        return only;
    }
    static char *block() {
        static char only[block_size];
        return only;
    }
    void restore() {
        if (stderr == before_) return;
        fclose(stderr);
        stderr = before_;
    }

    FILE *before_;
};

} // namespace

void Ended::claim(bool holds, const char *promise, const std::string &line) const {
    if (!holds) fprintf(stderr, "lindra %s: %d\n%s", line.c_str(), code, said.c_str());
    expect(holds, promise);
}

void Ended::check(const std::string &line) const {
    claim(code >= 0 && code <= 2, "a run ends with 0, 1 or 2", line);
    claim(code == 0 || !said.empty(), "a run that fails says so", line);
    std::istringstream lines(said);
    for (std::string each; std::getline(lines, each);)
        claim(each.starts_with("lindra: "), "every line that is said is the command's own", line);
}

Ended run_command(std::vector<std::string> words) {
    words.insert(words.begin(), "lindra");
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    lindra_set_log_handler(nullptr, nullptr);
    Said messages;
    const int code = tools::run_program(static_cast<int>(words.size()), argv.data());
    return {code, messages.text()};
}

} // namespace lindra::fuzz

// fontconfig's cache of fonts, which lives as long as the process; and the header of a file of lines that
// turns out unfit, which is lost by contract.
extern "C" [[gnu::visibility("default")]] const char *__lsan_default_suppressions();

const char *__lsan_default_suppressions() {
    return "leak:libfontconfig.so\n"
           "leak:libcairo.so\n"
           "leak:load_path\n";
}
