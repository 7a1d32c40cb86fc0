// SPDX-License-Identifier: MIT
//
// The reduced polygons of GSHHG were made with the line simplification of Douglas and Peucker at tolerances
// of 0.2, 1, 5 and 25 km ("A Global Self-consistent, Hierarchical, High-resolution Geography Database",
// README of version 2.3.7, 2017). A line that is off by less than a pixel looks like the true one.

#include "map/resolution.hpp"

#include "common/errors.hpp"
#include "common/standard_error.hpp"

#include <algorithm>
#include <iterator>

namespace lindra::tools {

namespace {

struct Resolution {
    char letter;
    const char *name;
    double error_km;
};

constexpr Resolution resolutions[] = {
    {'c', "crude", 25}, {'l', "low", 5}, {'i', "intermediate", 1}, {'h', "high", 0.2}, {'f', "full", 0}};
constexpr int finest = static_cast<int>(std::size(resolutions)) - 1;

using MapFiles = std::vector<MapFile>;

bool has_all(const Resolution &resolution, const MapFiles &files) {
    return std::all_of(files.begin(), files.end(),
                       [&](MapFile file) { return is_installed(file, resolution.letter); });
}

int fitting(double km_per_pixel) {
    int index = 0;
    while (index < finest && resolutions[index].error_km >= km_per_pixel)
        index++;
    return index;
}

// The next finer one that is installed, else the next coarser one, else the one wanted: reading that tells
// what to do.
int installed(int wanted, const MapFiles &files) {
    for (int index = wanted; index <= finest; index++)
        if (has_all(resolutions[index], files)) return index;
    for (int index = wanted - 1; index >= 0; index--)
        if (has_all(resolutions[index], files)) return index;
    return wanted;
}

char choose_automatically(double km_per_pixel, const MapFiles &files) {
    const int wanted = fitting(km_per_pixel);
    const int chosen = installed(wanted, files);
    if (chosen != wanted)
        tell("the " + std::string(resolutions[wanted].name) +
             " resolution is not installed (`./dev data` or `lindra import` gets it), the " +
             resolutions[chosen].name + " one is taken");
    return resolutions[chosen].letter;
}

} // namespace

const char *resolution_name(char letter) {
    for (const Resolution &resolution : resolutions)
        if (resolution.letter == letter) return resolution.name;
    return "unknown";
}

char choose_resolution(const std::string &asked, double km_per_pixel, const MapFiles &files) {
    if (asked == "auto") return choose_automatically(km_per_pixel, files);
    for (const Resolution &resolution : resolutions)
        if (asked == std::string(1, resolution.letter) || asked == resolution.name) return resolution.letter;
    throw UsageError(
        "there is no resolution '" + asked +
        "'; the resolutions are c (crude), l (low), i (intermediate), h (high), f (full) and auto");
}

} // namespace lindra::tools
