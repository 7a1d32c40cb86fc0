// SPDX-License-Identifier: MIT
//
// How much memory the process has in use, as Linux tells it (proc(5), /proc/self/status).
#ifndef BENCH_RESIDENT_HPP
#define BENCH_RESIDENT_HPP

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {

// The number of bytes after that name: VmRSS all that is resident, VmHWM the most that was, RssAnon what is
// no page of a file.
inline int64_t resident(const std::string &name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":")) return 1024 * std::stoll(line.substr(name.size() + 1));
    throw std::runtime_error("/proc/self/status does not tell " + name);
}

} // namespace bench

#endif
