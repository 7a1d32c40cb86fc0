// SPDX-License-Identifier: MIT
//
// What the library says to the command, and what comes of it where memory was lacking.

#include "common/captured_log.hpp"
#include "common/damage.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "common/memory.hpp"
#include "common/presence.hpp"

#include "support.h"

#include "temporary_directory.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>

using namespace lindra::tools;

namespace {

// As the library does behind an allocation that failed.
void complain_of_memory() {
    errno = ENOMEM;
    elog_log(1, "esri_unstuff_stream: malloc() error.\n");
}

} // namespace

TEST(CapturedLog, complaints_are_one_line) {
    const CapturedLog log;
    elog_log(1, "esri_unstuff_stream: y has 1 elements, 7 bytes left.\n");
    elog_log(0, "esri_decode_shapefile: esri_unstuff_stream() error.\n");
    EXPECT_EQ(log.one_line(), "esri_unstuff_stream: y has 1 elements, 7 bytes left. "
                              "esri_decode_shapefile: esri_unstuff_stream() error");
}

TEST(CapturedLog, complaint_for_lack_of_memory_is_none_of_a_file) {
    const CapturedLog log;
    complain_of_memory();
    errno = ENOENT;
    elog_log(0, "esri_decode_shapefile: esri_unstuff_stream() error.\n");
    EXPECT_THROW((void)log.one_line(), std::bad_alloc);
}

TEST(CapturedLog, memory_that_was_lacking_before_is_not_taken_for_its_own) {
    errno = ENOMEM;
    const CapturedLog log;
    elog_log(0, "esri_decode_dbase_file: file is empty.\n");
    EXPECT_EQ(log.one_line(), "esri_decode_dbase_file: file is empty");
}

TEST(CapturedLog, damage_is_not_told_where_memory_was_lacking) {
    const lindra::test::TemporaryDirectory directory;
    const InputFile file(directory.write("a.shp", "bytes"));
    const CapturedLog log;
    complain_of_memory();
    EXPECT_THROW((void)damage(file, file.data(), log), std::bad_alloc);
}

TEST(Memory, call_that_failed_for_its_lack_is_told_as_that) {
    EXPECT_THROW(require_memory(ENOMEM), std::bad_alloc);
    EXPECT_NO_THROW(require_memory(ENOENT));
    EXPECT_THROW((void)cannot_be_looked_up("a.shp", std::make_error_code(std::errc::not_enough_memory)),
                 std::bad_alloc);
    EXPECT_STREQ(cannot_be_looked_up("a.shp", std::make_error_code(std::errc::io_error)).what(),
                 "a.shp cannot be looked up: Input/output error");
}
