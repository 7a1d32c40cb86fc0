// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_SCRATCH_HPP
#define LINDRA_TESTS_SCRATCH_HPP

#include "temporary_directory.hpp"

namespace lindra::tests {

using ScratchDirectory = testing::TemporaryDirectory;
using testing::Environment;

} // namespace lindra::tests

#endif
