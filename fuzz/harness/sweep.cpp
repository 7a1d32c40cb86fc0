// SPDX-License-Identifier: MIT

#include "sweep.hpp"

#include "batches.hpp"
#include "damage.hpp"
#include "peaks.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>

namespace lindra::fuzz {

namespace {

struct Place {
    size_t at;
    unsigned kind;
};

// All that applies to the file, or what the engine chooses of it.
std::vector<Place> chosen_damage(const std::string &file, double share, std::mt19937 &engine) {
    const double range = static_cast<double>(std::mt19937::max()) + 1;
    std::vector<Place> chosen;
    for (size_t at = 0; at < file.size(); at++)
        for (unsigned kind = 0; kind < kinds_of_damage; kind++)
            if (static_cast<double>(engine()) < share * range && damaged(file, at, kind))
                chosen.push_back({at, kind});
    return chosen;
}

std::string input_of(const Fixture &fixture, const std::string &file) {
    return fixture.input ? fixture.input(file) : file;
}

std::string damaged_input(const Fixture &fixture, const Place &place) {
    return input_of(fixture, damaged(fixture.file, place.at, place.kind).value());
}

// Writes the input that failed, for it to be replayed.
void tell_failure(const Fixture &fixture, const Place &place) {
    const std::string name = "swept-" + std::to_string(getpid()) + "-" + fixture.name + "-" +
                             std::to_string(place.at) + "-" + std::to_string(place.kind);
    std::ofstream(name, std::ios::binary) << damaged_input(fixture, place);
    fprintf(stderr, "replay: FAILED on %s, %s; written to %s\n", fixture.name.c_str(),
            damage_name(place.at, place.kind).c_str(), std::filesystem::absolute(name).c_str());
}

Swept sweep_one(const Fixture &fixture, double share, std::mt19937 &engine) {
    if (!is_accepted(input_of(fixture, fixture.file))) {
        fprintf(stderr, "replay: FAILED on %s as it stands, which must be accepted\n", fixture.name.c_str());
        return {1, 1};
    }
    if (!fixture.is_damaged) return {1, 0};
    const std::vector<Place> places = chosen_damage(fixture.file, share, engine);
    const size_t failures = run_all(
        static_cast<unsigned>(places.size()),
        [&](unsigned number) { return damaged_input(fixture, places[number]); },
        [&](unsigned number) { tell_failure(fixture, places[number]); });
    return {places.size() + 1, failures};
}

void tell_peak(const char *what, const Peak &peak) {
    if (peak.allowed == 0) return;
    fprintf(stderr, "sweep: %s: at most %.0f %% of the limit, %llu of %llu for an input of %zu\n", what,
            100 * static_cast<double>(peak.used) / static_cast<double>(peak.allowed),
            static_cast<unsigned long long>(peak.used), static_cast<unsigned long long>(peak.allowed),
            peak.input_size);
}

} // namespace

Swept sweep(const std::vector<Fixture> &fixtures, double share, unsigned seed) {
    std::mt19937 engine(seed);
    const Peaks &highest = peaks();
    Swept all = {0, 0};
    for (const Fixture &fixture : fixtures) {
        const Swept one = sweep_one(fixture, share, engine);
        all.inputs += one.inputs;
        all.failures += one.failures;
    }
    fprintf(stderr, "sweep: %zu fixtures, share %g, seed %u: %zu inputs, %zu failed\n", fixtures.size(),
            share, seed, all.inputs, all.failures);
    tell_peak("heap bytes", highest.heap);
    tell_peak("steps", highest.steps);
    return all;
}

} // namespace lindra::fuzz
