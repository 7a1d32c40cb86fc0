// SPDX-License-Identifier: MIT

#include "lindra.h"

#define TEXT_OF(number) #number
#define VERSION_TEXT(major, minor, patch) TEXT_OF(major) "." TEXT_OF(minor) "." TEXT_OF(patch)

const char *lindra_version(void) {
    return VERSION_TEXT(LINDRA_VERSION_MAJOR, LINDRA_VERSION_MINOR, LINDRA_VERSION_PATCH);
}
