// SPDX-License-Identifier: MIT

#include "common/memory.hpp"

#include "common/errors.hpp"
#include "common/output_file.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <unistd.h>

namespace lindra::tools {

namespace {

bool has_failed = false;
std::terminate_handler usual_end = nullptr;

[[noreturn]] void remember_and_throw() {
    has_failed = true;
    throw std::bad_alloc();
}

void write_to_standard_error(const char *text) {
    if (write(STDERR_FILENO, text, strlen(text)) < 0) return;
}

// The destructor of a JSON value of nlohmann-json, for one, needs memory.
void end_without_memory() {
    if (!has_failed) usual_end();
    OutputFile::remove_temporary();
    tell_no_memory();
    _exit(exit_bad_data);
}

} // namespace

void watch_memory() {
    has_failed = false;
    if (usual_end) return;
    std::set_new_handler(remember_and_throw);
    usual_end = std::set_terminate(end_without_memory);
}

void tell_no_memory() {
    write_to_standard_error("lindra: ");
    write_to_standard_error(no_memory);
    write_to_standard_error("\n");
}

void require_memory() {
    if (has_failed) throw std::bad_alloc();
}

void require_memory(int reason) {
    if (reason == ENOMEM) throw std::bad_alloc();
}

} // namespace lindra::tools
