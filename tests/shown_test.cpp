// SPDX-License-Identifier: MIT

#include "common/shown.hpp"

#include <gtest/gtest.h>

#include <string>

using lindra::tools::shown;

TEST(Shown, control_characters_of_ascii_are_question_marks) {
    EXPECT_EQ(shown("a\nb\tc\x1b[31m\x7f"), "a?b?c?[31m?");
    EXPECT_EQ(shown(std::string("\0\x1f ~", 4)), "?? ~");
}

TEST(Shown, control_characters_of_utf8_are_one_question_mark_each) {
    EXPECT_EQ(shown("a\xc2\x9b"
                    "31m\xc2\x80\xc2\x9f"),
              "a?31m??");
}

TEST(Shown, all_other_characters_of_utf8_stay) {
    // U+00A0, U+00FF, U+0439, U+20AC with a byte 0x82, U+1F600 with 0x9f and 0x80, U+10FFFF.
    const std::string text = "\xc2\xa0\xc3\xbf\xd0\xb9\xe2\x82\xac\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf";
    EXPECT_EQ(shown(text), text);
}

TEST(Shown, bytes_that_are_no_utf8_stay_unless_they_steer_alone) {
    EXPECT_EQ(shown("\xe4\xf6\xfc\xff"), "\xe4\xf6\xfc\xff");
    EXPECT_EQ(shown("\x9b"
                    "31m\xe4\x80"),
              "?31m\xe4?");
    EXPECT_EQ(shown("\xe2\x82"), "\xe2?");
}

// Each is a longer way to write U+001B or U+009B, which some terminals take.
TEST(Shown, longer_forms_of_a_character_are_none) {
    EXPECT_EQ(shown("\xc0\x9b"), "\xc0?");
    EXPECT_EQ(shown("\xe0\x80\x9b"), "\xe0??");
    EXPECT_EQ(shown("\xe0\x82\x9b"), "\xe0??");
    EXPECT_EQ(shown("\xf0\x80\x80\x9b"), "\xf0???");
}
