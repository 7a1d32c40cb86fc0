// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_QUIET_HPP
#define LINDRA_FUZZ_QUIET_HPP

namespace lindra::fuzz {

// Every target begins so; one needs it again after the command's readers have set a handler of their own.
void ignore_log();

} // namespace lindra::fuzz

#endif
