// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_PARAMETERS_HPP
#define LINDRA_FUZZ_PARAMETERS_HPP

#include "input.hpp"

#include <cmath>
#include <iterator>
#include <limits>

namespace lindra::fuzz {

// What a target is called with beside a file: taken from the head of the input, the file is what follows.
// Behind the end of the input everything is 0.
class Parameters {
  public:
    explicit Parameters(Bytes input) : rest_(input) {}

    Bytes rest() const { return rest_; }

    unsigned byte() {
        if (rest_.empty()) return 0;
        const unsigned value = rest_.front();
        rest_ = rest_.subspan(1);
        return value;
    }

    unsigned half() {
        const unsigned high = byte();
        return high << 8 | byte();
    }

    template <class T, size_t count>
    const T &one_of(const T (&choices)[count]) {
        return choices[byte() % count];
    }

    // Degrees in steps of 1/64 to either side of 0, or one of those that are trouble.
    double angle() {
        static constexpr double troublesome[] = {std::numeric_limits<double>::quiet_NaN(),
                                                 std::numeric_limits<double>::infinity(),
                                                 -std::numeric_limits<double>::infinity(),
                                                 1e9,
                                                 -1e9,
                                                 1e300,
                                                 360,
                                                 -360,
                                                 359.99999999999994,
                                                 -1e-300,
                                                 720};
        const unsigned value = half();
        if ((value & 31) == 31) return troublesome[(value >> 5) % std::size(troublesome)];
        return static_cast<int16_t>(value) / 64.0;
    }

  private:
    Bytes rest_;
};

} // namespace lindra::fuzz

#endif
