// SPDX-License-Identifier: MIT

#include "peaks.hpp"

#include <cstdlib>
#include <sys/mman.h>

namespace lindra::fuzz {

namespace {

Peaks *shared_peaks() {
    void *memory = mmap(nullptr, sizeof(Peaks), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) abort();
    return static_cast<Peaks *>(memory);
}

double share(const Peak &peak) {
    return peak.allowed ? static_cast<double>(peak.used) / static_cast<double>(peak.allowed) : 0;
}

} // namespace

Peaks &peaks() {
    static Peaks *const all = shared_peaks();
    return *all;
}

void keep_higher(Peak &peak, const Peak &other) {
    if (share(other) > share(peak)) peak = other;
}

} // namespace lindra::fuzz
