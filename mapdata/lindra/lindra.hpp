// SPDX-License-Identifier: MIT
//
// lindra in C++20: ranges over what is in a file, without copies, and exceptions. Header-only, over lindra.h
// and the system's iconv. Compile with -std=c++20 and link with -llindra.
//
//   shapefile, shape_record    shapefiles with their attributes, also those that break the rules
//   geojson                    what they show, as GeoJSON (RFC 7946, 2016)
//   texture, texture_image     textures (.dds), also those that break the rules
//   guarded, fault_guard       files that others cut while they are read
//
// The names below lindra::detail, and those of the headers for the library's own use, may change.
#ifndef LINDRA_HPP
#define LINDRA_HPP

#include "lindra.h"

#include "face/fault_guard.hpp"
#include "shapefile/geojson.hpp"
#include "shapefile/shapefile.hpp"
#include "texture/texture.hpp"

#endif
