// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_FIXTURE_HPP
#define LINDRA_FUZZ_FIXTURE_HPP

#include <functional>
#include <string>
#include <vector>

namespace lindra::fuzz {

// A valid file.
struct Fixture {
    std::string name;
    std::string file;
    // Makes the target's input of the damaged file, with parameters or other files. None: it is the file.
    std::function<std::string(const std::string &file)> input = {};
    // Small enough for every one of its bytes to be damaged in every way. One that is not shows as it stands
    // what the limits of small files cannot: what is taken for each byte of it.
    bool is_damaged = true;
};

// A fixture of so many bytes that the constants of the limits count for little.
inline Fixture large(Fixture fixture) {
    fixture.is_damaged = false;
    return fixture;
}

// The input is what a target is called with, followed by the file.
inline std::function<std::string(const std::string &file)> behind(std::string parameters) {
    return [head = std::move(parameters)](const std::string &file) { return head + file; };
}

// What a target gives to be swept.
std::vector<Fixture> fixtures();

// Whether the target has accepted an input in this process.
inline bool was_accepted = false;

// To be called by the target when it has read the input as its format has it, which it must have every
// fixture: the damage to what is refused anyway would show nothing.
inline void accept() {
    was_accepted = true;
}

} // namespace lindra::fuzz

#endif
