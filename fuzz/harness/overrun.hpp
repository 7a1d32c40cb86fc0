// SPDX-License-Identifier: MIT
//
// What a limit does when it is exceeded. A target may start children, and take their end for one of the
// things that happen; that of a limit must come to light all the same, and so must a fault of ours: what a
// sanitizer complains of, or without one a signal of a bad access. Where libnetcdf or libhdf5 is on the
// stack it is theirs, and let pass.
#ifndef LINDRA_FUZZ_OVERRUN_HPP
#define LINDRA_FUZZ_OVERRUN_HPP

namespace lindra::fuzz {

// Tells the text, of less than 160 characters and no line's end, and ends the process. Allocates nothing.
[[noreturn]] void end_by_overrun(const char *text);

// A limit begins: children that start from here on are watched.
void watch_children();

// A limit is over: where a child was ended by one meanwhile, or by a fault, so is this process.
void require_sound_children();

} // namespace lindra::fuzz

#endif
