// SPDX-License-Identifier: MIT
//
// Put before every source of the mutated tree. Each of the changes that mutate.py has written into the
// sources has a number; the environment variable LINDRA_MUTANT says which one is made, and what is worked out
// at compile time is never changed. With LINDRA_REACHED a process adds the numbers of the changes that it
// came by to that file.
#ifndef LINDRA_TESTS_MUTANT_HPP
#define LINDRA_TESTS_MUTANT_HPP

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <type_traits>
#include <unistd.h>

namespace mutant {

constexpr int most = 1 << 16;

// One for every part of the program that has its own copy.
struct Reached {
    std::atomic<bool> at[most] = {};
    const int file = getenv("LINDRA_REACHED")
                         ? open(getenv("LINDRA_REACHED"), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666)
                         : -1;

    // Written at once: a process that is killed by its test has told what it reached.
    void note(int number) {
        if (at[number].exchange(true, std::memory_order_relaxed)) return;
        const ssize_t written = write(file, &number, sizeof number);
        static_cast<void>(written);
    }
};

inline Reached reached;

inline bool is_made(int number) {
    static const int made = getenv("LINDRA_MUTANT") ? atoi(getenv("LINDRA_MUTANT")) : 0;
    if (reached.file >= 0) reached.note(number);
    return number == made;
}

constexpr bool active(int number) {
    return !std::is_constant_evaluated() && is_made(number);
}

// a <less<7>> b is a < b, or a <= b when number 7 is made: the two operators bind as the one in their place
// does.
template <int number>
struct Less {
    static constexpr bool compare(const auto &a, const auto &b) { return active(number) ? a <= b : a < b; }
};
template <int number>
struct LessEqual {
    static constexpr bool compare(const auto &a, const auto &b) { return active(number) ? a < b : a <= b; }
};
template <int number>
struct Greater {
    static constexpr bool compare(const auto &a, const auto &b) { return active(number) ? a >= b : a > b; }
};
template <int number>
struct GreaterEqual {
    static constexpr bool compare(const auto &a, const auto &b) { return active(number) ? a > b : a >= b; }
};
template <int number>
struct Equal {
    static constexpr bool compare(const auto &a, const auto &b) { return active(number) ? a != b : a == b; }
};
template <int number>
struct Unequal {
    static constexpr bool compare(const auto &a, const auto &b) { return active(number) ? a == b : a != b; }
};

template <class Operation>
struct Operator {};
template <class Operation>
inline constexpr Operator<Operation> op;

template <class A, class Operation>
struct Left {
    const A &a;
};

template <class A, class Operation>
constexpr Left<A, Operation> operator<(const A &a, Operator<Operation>) {
    return {a};
}
template <class A, class Operation, class B>
constexpr bool operator>(Left<A, Operation> left, const B &b) {
    return Operation::compare(left.a, b);
}
template <class A, class Operation>
constexpr Left<A, Operation> operator==(const A &a, Operator<Operation>) {
    return {a};
}
template <class A, class Operation, class B>
constexpr bool operator==(Left<A, Operation> left, const B &b) {
    return Operation::compare(left.a, b);
}
// Otherwise optional's own comparison with anything would do as well.
template <class A, class Operation, class B>
constexpr bool operator==(Left<A, Operation> left, const std::optional<B> &b) {
    return Operation::compare(left.a, b);
}

template <class T>
constexpr T shifted(int number, T constant, int by) {
    return active(number) ? static_cast<T>(constant + by) : constant;
}

} // namespace mutant

#endif
