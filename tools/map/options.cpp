// SPDX-License-Identifier: MIT

#include "map/options.hpp"
