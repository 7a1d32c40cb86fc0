// SPDX-License-Identifier: MIT
//
// Memory that runs out. A failed allocation is an exception, which streams of the standard library and
// libraries of others swallow: their text then lacks a part and nobody is told. Here it is remembered, and
// keeps whatever was made of it from being published.
#ifndef LINDRA_TOOLS_MEMORY_HPP
#define LINDRA_TOOLS_MEMORY_HPP

namespace lindra::tools {

// What there is to say of it.
inline constexpr const char *no_memory = "memory is exhausted; close other programs, or ask for less at once";

// Says that on standard error, without any memory.
void tell_no_memory();

// From here on, for the life of the process; what failed before is forgotten. Where such an exception meets a
// destructor, which can throw nothing, the process ends with the message and exit status 1, and leaves no
// temporary file.
void watch_memory();

// Throws std::bad_alloc when an allocation has failed. To be called before anything is published.
void require_memory();

// Throws std::bad_alloc when that is the reason, an errno, for which a call failed.
void require_memory(int reason);

} // namespace lindra::tools

#endif
