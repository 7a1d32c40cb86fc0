// SPDX-License-Identifier: MIT

#include "map/resolution.hpp"
