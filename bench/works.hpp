// SPDX-License-Identifier: MIT
//
// Works that are compared: each is done by lindra, by its peers, and as fast as memory allows ("limit"). A
// program registers those of one family; report.py pairs them by their names, which tell the family, what is
// done and who does it.
#ifndef BENCH_WORKS_HPP
#define BENCH_WORKS_HPP

#include <functional>
#include <string>
#include <vector>

namespace bench {

// What was read: polygons, lines, rows or variables, and the points, bytes or numbers in them.
struct Delivered {
    double records = 0;
    double points = 0;
};

// How much of what lindra reads another must read, and lindra of what the other does; 0: not compared.
struct Agreement {
    double records = 0.999;
    double points = 0.999;
};
inline constexpr Agreement not_compared{0, 0};

// One who does a work.
struct Doer {
    std::string name;
    std::function<Delivered()> run; // what is timed
    Agreement agreement = {};
    std::function<Delivered()> count = {}; // run with what need not be timed; null: run tells it
    std::function<void()> release = {};    // of what run has kept, not timed
};

// Lindra comes first. Before anything is timed, each does the work once and must deliver as much as lindra.
void add_work(const std::string &name, std::vector<Doer> doers);

// Registers the works of the program's family.
void add_works();

} // namespace bench

#endif
