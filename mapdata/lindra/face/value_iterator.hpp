// SPDX-License-Identifier: MIT
#ifndef LINDRA_FACE_VALUE_ITERATOR_HPP
#define LINDRA_FACE_VALUE_ITERATOR_HPP

#include <compare>
#include <cstddef>
#include <iterator>
#include <utility>

namespace lindra::detail {

// Base of an iterator with random access to values that are made as they are looked at:
// Iterator::at(position) makes them. A position is a number or an address, and one value is step further than
// the one before it.
template <class Iterator, class Value, class Position = std::ptrdiff_t, std::ptrdiff_t step = 1>
class value_iterator {
  public:
    using iterator_concept = std::random_access_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Value;
    using difference_type = std::ptrdiff_t;
    using reference = Value;
    using pointer = void;

    Value operator*() const { return self().at(position_); }
    Value operator[](difference_type n) const { return self().at(position_ + n * step); }
    Iterator &operator++() { return self() += 1; }
    Iterator &operator--() { return self() -= 1; }
    Iterator operator++(int) { return std::exchange(self(), self() + 1); }
    Iterator operator--(int) { return std::exchange(self(), self() - 1); }
    Iterator &operator+=(difference_type n) {
        position_ += n * step;
        return self();
    }
    Iterator &operator-=(difference_type n) { return self() += -n; }
    friend Iterator operator+(Iterator it, difference_type n) { return it += n; }
    friend Iterator operator+(difference_type n, Iterator it) { return it += n; }
    friend Iterator operator-(Iterator it, difference_type n) { return it -= n; }
    friend difference_type operator-(const Iterator &a, const Iterator &b) {
        return (a.position_ - b.position_) / step;
    }
    friend bool operator==(const Iterator &a, const Iterator &b) { return a.position_ == b.position_; }
    friend auto operator<=>(const Iterator &a, const Iterator &b) { return a.position_ <=> b.position_; }

  protected:
    value_iterator() = default;
    explicit value_iterator(Position position) : position_(position) {}

  private:
    Iterator &self() { return static_cast<Iterator &>(*this); }
    const Iterator &self() const { return static_cast<const Iterator &>(*this); }

    Position position_{};
};

} // namespace lindra::detail

#endif
