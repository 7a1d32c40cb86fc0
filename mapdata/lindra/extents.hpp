// SPDX-License-Identifier: MIT
#ifndef LINDRA_EXTENTS_HPP
#define LINDRA_EXTENTS_HPP

namespace lindra {

// The end of the known extent that pos lies in, or null when it lies in none. An extent includes its end
// address: a position one past the last byte is inside with nothing left. Of two extents that meet at pos the
// one that begins there counts; of nested ones the inner one.
const unsigned char *extent_end(const unsigned char *pos);

} // namespace lindra

#endif
