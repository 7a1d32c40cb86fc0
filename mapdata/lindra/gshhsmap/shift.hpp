// SPDX-License-Identifier: MIT
#ifndef LINDRA_GSHHSMAP_SHIFT_HPP
#define LINDRA_GSHHSMAP_SHIFT_HPP

#include "lindra.h"
#include "outline.hpp"

namespace lindra::gshhs {

// The multiple of 360, but for rounding, that brings the point nearest the centre of the handle's frame to
// its place; the first such point counts.
double shift_to_window(const GshhsMap *gs, const Outline &outline);

} // namespace lindra::gshhs

#endif
