// SPDX-License-Identifier: MIT
#ifndef LINDRA_EXTENTS_HPP
#define LINDRA_EXTENTS_HPP

#include <memory>

namespace lindra {

// The end of the known extent that pos lies in, or null when it lies in none. An extent includes its end
// address: a position one past the last byte is inside with nothing left. Of two extents that meet at pos the
// one that begins there counts; of nested ones the inner one.
const unsigned char *extent_end(const unsigned char *pos);

// What a reader remembers of a file, for as long as its extent is known. Any thread may declare the extent
// anew, or take it back, while another reads: who holds the memo goes on with it.
class Memo {
  public:
    Memo() = default;
    virtual ~Memo() = default;
    Memo(const Memo &) = delete;
    Memo &operator=(const Memo &) = delete;
};

// Keeps the memo with the extent that begins at base, if there is one, in place of an earlier one.
void keep_memo(const unsigned char *base, std::shared_ptr<Memo> memo);

// The memo of the known extent that pos lies in, or null.
std::shared_ptr<Memo> memo_at(const unsigned char *pos);

} // namespace lindra

#endif
