// SPDX-License-Identifier: MIT
//
// What the leak sanitizer is to pass over: fontconfig's cache of the fonts that it found, which lives as long
// as the process and to which Cairo keeps no pointer that the sanitizer can follow.

// The sanitizer's library looks the function up by name.
extern "C" [[gnu::visibility("default")]] const char *__lsan_default_suppressions();

const char *__lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
