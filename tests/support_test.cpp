// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "fail.hpp"
#include "log_capture.hpp"
#include "ordinary_user.hpp"
#include "temporary_directory.hpp"
#include "torture/faults.hpp"

#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace lindra::test;

namespace {

int freed_values = 0;
void count_freed(void *) {
    freed_values++;
}

std::vector<std::string> split(const char *text) {
    int argc;
    char **argv;
    if (splitlist(text, &argc, &argv) < 0) return {"failed"};
    std::vector<std::string> items(argv, argv + argc);
    EXPECT_EQ(argv[argc], nullptr);
    freeargs(argc, argv);
    return items;
}

std::string trimmed(std::string text) {
    return strtrim(text.data());
}

// The search sees LINDRA_DATA, the user's directory and the system's, each of its own.
struct DataDirectories : testing::Test {
    TemporaryDirectory root;
    std::string first = root.path() / "first", second = root.path() / "second", user = root.path() / "user",
                system = root.path() / "system";
    std::string list = first + ":" + second;
    Environment lindra_data{"LINDRA_DATA", list.c_str()};
    Environment data_home{"XDG_DATA_HOME", user.c_str()};
    Environment data_dirs{"XDG_DATA_DIRS", system.c_str()};

    std::string found(const char *name, const char *env = nullptr) {
        char *path = datafile(env, name);
        std::string text = path ? path : "none";
        free(path);
        return text;
    }
};

struct MapFile : testing::Test {
    TemporaryDirectory directory;
    char *data = nullptr;
};

} // namespace

// --- Lists

TEST(Lists, new_list_without_hint_is_empty) {
    Tbl *list = newtbl(0);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(counttbl(list), 0);
    freetbl(list, nullptr);
}

TEST(Lists, appending_to_an_empty_list_stores_at_0) {
    Tbl *list = newtbl(0);
    int value;
    EXPECT_EQ(settbl(list, -1, &value), 0);
    EXPECT_EQ(gettbl(list, 0), &value);
    EXPECT_EQ(counttbl(list), 1);
    freetbl(list, nullptr);
}

TEST(Lists, entries_keep_their_order_over_growth) {
    Tbl *list = newtbl(3);
    for (intptr_t i = 0; i < 1000; i++)
        ASSERT_EQ(settbl(list, -1, reinterpret_cast<void *>(i)), i);
    for (intptr_t i = 0; i < 1000; i++)
        ASSERT_EQ(gettbl(list, static_cast<int>(i)), reinterpret_cast<void *>(i));
    freetbl(list, nullptr);
}

TEST(Lists, full_list_doubles) {
    Tbl *list = newtbl(0);
    const AllocationWatch watch;
    for (int i = 0; i < 17; i++)
        settbl(list, -1, nullptr);
    EXPECT_EQ(watch.requested(), (8 + 16 + 32) * sizeof(void *));
    freetbl(list, nullptr);
}

TEST(Lists, storing_replaces_and_refuses_gaps) {
    Tbl *list = newtbl(0);
    int a, b;
    EXPECT_EQ(settbl(list, 0, &a), 0);
    EXPECT_EQ(settbl(list, 0, &b), 0);
    EXPECT_EQ(gettbl(list, 0), &b);
    EXPECT_EQ(settbl(list, 2, &a), -1);
    EXPECT_EQ(settbl(list, -2, &a), -1);
    EXPECT_EQ(settbl(nullptr, 0, &a), -1);
    EXPECT_EQ(counttbl(list), 1);
    freetbl(list, nullptr);
}

TEST(Lists, places_outside_the_list_hold_null) {
    Tbl *list = newtbl(4);
    EXPECT_EQ(gettbl(list, 0), nullptr);
    EXPECT_EQ(gettbl(list, -1), nullptr);
    EXPECT_EQ(gettbl(nullptr, 0), nullptr);
    EXPECT_EQ(counttbl(nullptr), 0);
    int value = 0;
    settbl(list, -1, &value);
    clrtbl(list, nullptr);
    EXPECT_EQ(gettbl(list, 0), nullptr) << "nothing is left of what stood there";
    freetbl(list, nullptr);
}

TEST(Lists, clearing_keeps_the_list_and_frees_entries_only_when_told) {
    freed_values = 0;
    Tbl *list = newtbl(0);
    for (int i = 0; i < 3; i++)
        settbl(list, -1, nullptr);
    clrtbl(list, nullptr);
    EXPECT_EQ(counttbl(list), 0);
    EXPECT_EQ(freed_values, 0);
    for (int i = 0; i < 3; i++)
        settbl(list, -1, nullptr);
    clrtbl(list, count_freed);
    EXPECT_EQ(freed_values, 3);
    settbl(list, -1, nullptr);
    freetbl(list, count_freed);
    EXPECT_EQ(freed_values, 4);
}

TEST(Lists, exhausted_memory_leaves_the_list_as_it_was) {
    for (int nth = 1; nth <= 2; nth++) {
        const AllocationWatch watch(nth);
        EXPECT_EQ(newtbl(5), nullptr);
    }
    Tbl *list = newtbl(1);
    int value;
    settbl(list, -1, &value);
    {
        const AllocationWatch watch(1);
        EXPECT_EQ(settbl(list, -1, &value), -1);
    }
    EXPECT_EQ(counttbl(list), 1);
    EXPECT_EQ(settbl(list, -1, &value), 1);
    EXPECT_EQ(newtbl(-1), nullptr);
    freetbl(list, nullptr);
}

// --- Arrays

TEST(Arrays, missing_key_yields_null) {
    Arr *arr = newarr(nullptr);
    EXPECT_EQ(getarr(arr, "absent"), nullptr);
    EXPECT_EQ(getarr(nullptr, "absent"), nullptr);
    EXPECT_EQ(getarr(arr, nullptr), nullptr);
    freearr(arr, nullptr);
}

TEST(Arrays, existing_key_is_replaced) {
    Arr *arr = newarr(nullptr);
    int a, b;
    EXPECT_EQ(setarr(arr, "key", &a), 0);
    EXPECT_EQ(setarr(arr, "key", &b), 0);
    EXPECT_EQ(getarr(arr, "key"), &b);
    freed_values = 0;
    freearr(arr, count_freed);
    EXPECT_EQ(freed_values, 1);
}

TEST(Arrays, keys_are_copied) {
    Arr *arr = newarr(nullptr);
    char key[] = "first";
    int value;
    setarr(arr, key, &value);
    strcpy(key, "other");
    EXPECT_EQ(getarr(arr, "first"), &value);
    EXPECT_EQ(getarr(arr, "other"), nullptr);
    freearr(arr, nullptr);
}

TEST(Arrays, own_comparison_decides_which_keys_are_equal) {
    Arr *arr = newarr(strcasecmp);
    int value;
    setarr(arr, "Key", &value);
    EXPECT_EQ(getarr(arr, "kEY"), &value);
    freearr(arr, nullptr);
}

TEST(Arrays, exhausted_memory_leaves_the_array_as_it_was) {
    {
        const AllocationWatch watch(1);
        EXPECT_EQ(newarr(nullptr), nullptr);
    }
    Arr *arr = newarr(nullptr);
    const std::string long_key(100, 'k');
    int value;
    for (int nth = 1; nth <= 2; nth++) {
        const AllocationWatch watch(nth);
        EXPECT_EQ(setarr(arr, long_key.c_str(), &value), -1);
    }
    EXPECT_EQ(getarr(arr, long_key.c_str()), nullptr);
    EXPECT_EQ(setarr(arr, nullptr, &value), -1);
    EXPECT_EQ(setarr(nullptr, "key", &value), -1);
    freearr(arr, nullptr);
    freearr(nullptr, nullptr);
}

// --- Text

TEST(Text, items_stand_between_blanks_tabs_line_ends_and_commas) {
    EXPECT_EQ(split("c:1 f:0"), (Lines{"c:1", "f:0"}));
    EXPECT_EQ(split(" \tc:1,,f:0\r\n\nx "), (Lines{"c:1", "f:0", "x"}));
    EXPECT_EQ(split("one"), Lines{"one"});
}

TEST(Text, empty_list_has_no_items) {
    EXPECT_EQ(split(""), Lines{});
    EXPECT_EQ(split(" , "), Lines{});
}

TEST(Text, splitting_nothing_or_without_memory_fails) {
    const auto fails = [](const char *text) {
        char *before = nullptr;
        int argc = 5;
        char **argv = &before;
        EXPECT_EQ(splitlist(text, &argc, &argv), -1);
        EXPECT_EQ(argc, 0);
        EXPECT_EQ(argv, nullptr);
    };
    fails(nullptr);
    for (int nth = 1; nth <= 3; nth++) {
        const AllocationWatch watch(nth);
        fails("a b");
    }
    freeargs(0, nullptr);
}

TEST(Text, items_and_their_vector_are_all_that_is_asked_for) {
    int argc;
    char **argv;
    const AllocationWatch watch;
    ASSERT_EQ(splitlist("ab c", &argc, &argv), 0);
    EXPECT_EQ(watch.requested(), 3 * sizeof(char *) + 3 + 2);
    freeargs(argc, argv);
    EXPECT_EQ(watch.live(), 0);
}

TEST(Text, as_many_items_are_released_as_are_told) {
    int argc;
    char **argv;
    ASSERT_EQ(splitlist("a b", &argc, &argv), 0);
    char *kept = argv[1];
    freeargs(1, argv);
    EXPECT_STREQ(kept, "b");
    free(kept);
}

TEST(Text, trimming_removes_white_space_on_both_sides) {
    EXPECT_EQ(trimmed("  a b\t\n"), "a b");
    EXPECT_EQ(trimmed("a"), "a");
    EXPECT_EQ(trimmed(" \v\f\r"), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(strtrim(nullptr), nullptr);
}

// --- Byte order

TEST(ByteOrder, runs_of_every_width_are_converted) {
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    uint16_t two[2];
    uint32_t four[2];
    uint64_t eight[2];
    N2H2(two, bytes, 2);
    N2H4(four, bytes, 2);
    N2H8(eight, bytes, 2);
    EXPECT_EQ(two[0], 0x0102);
    EXPECT_EQ(two[1], 0x0304);
    EXPECT_EQ(four[0], 0x01020304U);
    EXPECT_EQ(four[1], 0x05060708U);
    EXPECT_EQ(eight[0], 0x0102030405060708U);
    EXPECT_EQ(eight[1], 0x090a0b0c0d0e0f10U);
}

TEST(ByteOrder, same_place_is_converted_in_place) {
    unsigned char bytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    N2H4(bytes + 1, bytes + 1, 2);
    const unsigned char expected[] = {0, 4, 3, 2, 1, 8, 7, 6, 5};
    EXPECT_EQ(memcmp(bytes, expected, sizeof bytes), 0);
}

TEST(ByteOrder, no_items_touch_nothing) {
    unsigned char bytes[] = {1, 2, 3, 4};
    const unsigned char source[] = {9, 9, 9, 9};
    N2H4(bytes, source, 0);
    N2H4(bytes, source, -1);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[3], 4);
}

// --- Log

TEST(Log, handler_receives_flag_and_text) {
    LogCapture log;
    elog_log(1, "reader: %s has %d.\n", "file", 7);
    EXPECT_EQ(log.take(), Lines{"1 reader: file has 7.\n"});
}

TEST(Log, without_handler_the_text_goes_to_standard_error) {
    ::testing::internal::CaptureStderr();
    elog_log(0, "reader: %d.\n", 7);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "reader: 7.\n");
}

TEST(Log, complaint_that_is_too_long_stays_a_line) {
    for (const size_t length : {8190U, 8191U, 8192U, 20000U}) {
        LogCapture log;
        EXPECT_EQ(lindra::fail(0, "%s\n", std::string(length, 'x').c_str()), -1);
        EXPECT_EQ(log.take(), Lines{"0 " + std::string(8190, 'x') + "\n"}) << length;
    }
}

TEST(Log, long_texts_are_cut) {
    LogCapture log;
    elog_log(0, "%s\n", std::string(10000, 'x').c_str());
    EXPECT_EQ(log.take(), Lines{"0 " + std::string(8191, 'x')});
}

TEST(LogDeathTest, dying_says_why_and_ends_the_process) {
    EXPECT_EXIT(elog_die(0, "engine: table %d is broken.\n", 3), ::testing::ExitedWithCode(1),
                "engine: table 3 is broken\\.");
}

TEST(LogDeathTest, dying_runs_what_the_host_left_for_its_exit) {
    EXPECT_EXIT(
        {
            atexit([] { fputs("farewell\n", stderr); });
            elog_die(0, "engine: broken.\n");
        },
        ::testing::ExitedWithCode(1), "broken\\.\nfarewell");
}

// --- Data files

TEST_F(DataDirectories, name_that_exists_nowhere_yields_null) {
    EXPECT_EQ(found("maps/lindra/absent.b"), "none");
    EXPECT_EQ(found(""), "none");
    EXPECT_EQ(datafile(nullptr, nullptr), nullptr);
}

TEST_F(DataDirectories, first_directory_that_has_the_file_wins) {
    const std::string in_system = root.write("system/maps/lindra/a.b", "");
    EXPECT_EQ(found("maps/lindra/a.b"), in_system);
    const std::string in_user = root.write("user/maps/lindra/a.b", "");
    EXPECT_EQ(found("maps/lindra/a.b"), in_user);
    const std::string in_second = root.write("second/maps/lindra/a.b", "");
    EXPECT_EQ(found("maps/lindra/a.b"), in_second);
    const std::string in_first = root.write("first/maps/lindra/a.b", "");
    EXPECT_EQ(found("maps/lindra/a.b"), in_first);
}

TEST_F(DataDirectories, directory_of_that_name_is_passed_over) {
    std::filesystem::create_directories(first + "/maps/lindra/a.b");
    const std::string in_second = root.write("second/maps/lindra/a.b", "");
    EXPECT_EQ(found("maps/lindra/a.b"), in_second);
}

TEST_F(DataDirectories, what_is_no_file_is_passed_over_and_nothing_is_told) {
    std::filesystem::create_directories(first);
    ASSERT_EQ(mkfifo((first + "/fifo").c_str(), 0600), 0);
    for (const auto &[name, target] :
         {std::pair("device", "/dev/zero"), {"loop", "loop"}, {"dangling", "absent"}, {"link", "fifo"}})
        std::filesystem::create_symlink(target, first + "/" + name);
    LogCapture log;
    for (const std::string name : {"fifo", "device", "loop", "dangling", "link"}) {
        EXPECT_EQ(found(name.c_str()), "none") << name;
        const std::string in_second = root.write("second/" + name, "");
        EXPECT_EQ(found(name.c_str()), in_second) << name;
    }
    EXPECT_EQ(log.take(), Lines{});
}

// It is told when it is mapped; another one, of other contents, does not stand in for it.
TEST_F(DataDirectories, file_that_may_not_be_read_is_found) {
    const std::string closed = root.write("first/a.b", "");
    root.write("second/a.b", "");
    std::filesystem::permissions(closed, std::filesystem::perms::none);
    const OrdinaryUser other(root.path());
    EXPECT_EQ(found("a.b"), closed);
}

TEST_F(DataDirectories, own_variable_takes_the_place_of_lindra_data) {
    root.write("first/a.b", "");
    const std::string own = root.write("own/a.b", "");
    const Environment variable("OWN_DATA", (root.path() / "own").c_str());
    EXPECT_EQ(found("a.b", "OWN_DATA"), own);
}

TEST_F(DataDirectories, home_stands_in_for_the_users_directory) {
    const std::string in_home = root.write("home/.local/share/a.b", "");
    const Environment no_data_home("XDG_DATA_HOME", nullptr);
    const Environment home("HOME", (root.path() / "home").c_str());
    EXPECT_EQ(found("a.b"), in_home);
}

TEST_F(DataDirectories, directories_are_listed_in_the_order_of_the_search) {
    char *directories = lindra_data_directories(nullptr);
    const std::string text = directories;
    free(directories);
    EXPECT_EQ(text.find(first + "\n" + second + "\n" + user), 0U);
    EXPECT_EQ(text.substr(text.rfind('\n') + 1), system);
}

TEST_F(DataDirectories, relative_entries_of_the_standard_variables_are_passed_over) {
    const Environment relative("XDG_DATA_DIRS", "not/absolute::");
    char *directories = lindra_data_directories(nullptr);
    EXPECT_EQ(strstr(directories, "not/absolute"), nullptr);
    free(directories);
}

TEST_F(DataDirectories, relative_home_of_the_users_data_is_passed_over) {
    const Environment relative("XDG_DATA_HOME", "not/absolute");
    const Environment home("HOME", "/the/home");
    char *directories = lindra_data_directories(nullptr);
    EXPECT_EQ(strstr(directories, "not/absolute"), nullptr);
    EXPECT_NE(strstr(directories, "/the/home/.local/share"), nullptr);
    free(directories);
}

TEST_F(DataDirectories, own_list_may_be_relative_and_empty_entries_count_for_nothing) {
    const Environment own("LINDRA_DATA", ":some/where::/else:");
    char *directories = lindra_data_directories(nullptr);
    EXPECT_EQ(std::string(directories).find("some/where\n/else\n" + user), 0U);
    free(directories);
}

TEST_F(DataDirectories, system_directories_have_a_default) {
    const Environment unset("XDG_DATA_DIRS", nullptr);
    char *directories = lindra_data_directories(nullptr);
    const std::string text = directories;
    free(directories);
    EXPECT_TRUE(text.ends_with("/usr/local/share\n/usr/share")) << text;
}

TEST_F(DataDirectories, file_of_the_build_tree_is_found) {
    EXPECT_NE(found("maps/lindra/gshhs_c.b").find("/share/maps/lindra/gshhs_c.b"), std::string::npos);
}

TEST_F(DataDirectories, empty_variables_count_as_unset) {
    const std::string in_system = root.write("system/a.b", "");
    const Environment empty("LINDRA_DATA", "");
    const Environment no_data_home("XDG_DATA_HOME", "");
    const Environment no_home("HOME", nullptr);
    EXPECT_EQ(found("a.b"), in_system);
}

// Told to the process that started this one, too.
TEST_F(DataDirectories, count_is_told) {
    char *directories = lindra_data_directories(nullptr);
    ASSERT_NE(directories, nullptr);
    const std::string text = directories;
    free(directories);
    const auto listed = std::ranges::count(text, '\n') + 1;
    fprintf(stderr, "directories: %td.\n", listed);
    EXPECT_GE(listed, 4) << text; // two of the list, the user's and the system's
}

// The tests again under another name, by which they look for the place they were loaded from.
class DataDirectoriesDeathTest : public testing::TestWithParam<std::pair<std::string, int>> {};

constexpr int without_place = 4;

TEST_P(DataDirectoriesDeathTest, place_is_found_by_the_name_of_the_program_or_is_none) {
    const auto &[name, directories] = GetParam();
    std::string tests = "--gtest_filter=DataDirectories.first_directory_*:DataDirectories.count_is_told";
    if (directories > without_place) tests += ":DataDirectories.file_of_the_build_tree_is_found";
    EXPECT_EXIT(execl("/proc/self/exe", name.c_str(), tests.c_str(), nullptr), testing::ExitedWithCode(0),
                "directories: " + std::to_string(directories) + "\\.");
}

// A bare name was found through PATH; the others are no place, or none with a prefix.
class PrefixDeathTest : public testing::TestWithParam<std::pair<const char *, int>> {};

// The share directory stands in the test's own.
TEST_P(PrefixDeathTest, prefix_is_looked_for_in_three_directories_above) {
    const auto &[name, directories] = GetParam();
    const TemporaryDirectory root;
    const std::string program = root.write(name, "");
    std::filesystem::create_directory(root.path() / "share");
    EXPECT_EXIT(
        execl("/proc/self/exe", program.c_str(), "--gtest_filter=DataDirectories.count_is_told", nullptr),
        testing::ExitedWithCode(0), "directories: " + std::to_string(directories) + "\\.");
}

INSTANTIATE_TEST_SUITE_P(Names, PrefixDeathTest,
                         testing::Values(std::pair("program", without_place + 1),
                                         std::pair("lib/arch/program", without_place + 1),
                                         std::pair("lib/arch/deeper/program", without_place)),
                         [](const auto &name) { return "name" + std::to_string(name.index); });

INSTANTIATE_TEST_SUITE_P(Names, DataDirectoriesDeathTest,
                         testing::Values(std::pair("bare", without_place + 1),
                                         std::pair("moved/since", without_place),
                                         std::pair("/dev/null", without_place)),
                         [](const auto &name) { return "name" + std::to_string(name.index); });

TEST_F(DataDirectories, exhausted_memory_yields_null) {
    root.write("first/a.b", "");
    const AllocationWatch watch(1, AllocationWatch::from_then_on);
    EXPECT_EQ(datafile(nullptr, "a.b"), nullptr);
    EXPECT_EQ(lindra_data_directories(nullptr), nullptr);
}

// --- Mapping

TEST_F(MapFile, whole_file_is_readable) {
    const std::string path = directory.write("file", "content");
    ASSERT_EQ(mapfile(path.c_str(), nullptr, &data), 7);
    EXPECT_EQ(std::string(data, 7), "content");
}

TEST_F(MapFile, missing_file_is_negative_and_leaves_null) {
    data = reinterpret_cast<char *>(this);
    EXPECT_EQ(mapfile((directory.path() / "absent").c_str(), nullptr, &data), -1);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(mapfile(nullptr, nullptr, &data), -1);
}

TEST_F(MapFile, file_that_ends_before_its_size_is_a_failure) {
    const std::string path = directory.write("file", "content");
    {
        const Faults faults(FaultKind::ended_read, 1, false);
        EXPECT_EQ(mapfile(path.c_str(), nullptr, &data), -1);
    }
    EXPECT_EQ(data, nullptr);
}

TEST_F(MapFile, cache_gives_the_same_address_again) {
    const std::string path = directory.write("file", "content");
    Arr *cache = nullptr;
    ASSERT_EQ(mapfile(path.c_str(), &cache, &data), 7);
    EXPECT_EQ(std::string(data, 7), "content");
    std::filesystem::remove(path);
    char *again = nullptr;
    EXPECT_EQ(mapfile(path.c_str(), &cache, &again), 7);
    EXPECT_EQ(again, data);
    freearr(cache, free);
}

TEST_F(MapFile, without_cache_each_call_maps_anew) {
    const std::string path = directory.write("file", "content");
    char *again = nullptr;
    mapfile(path.c_str(), nullptr, &data);
    mapfile(path.c_str(), nullptr, &again);
    EXPECT_NE(again, data);
}

TEST_F(MapFile, file_that_could_not_be_mapped_is_tried_again_through_its_cache) {
    Arr *cache = nullptr;
    const std::string path = directory.path() / "file";
    EXPECT_EQ(mapfile(path.c_str(), &cache, &data), -1);
    directory.write("file", "content");
    EXPECT_EQ(mapfile(path.c_str(), &cache, &data), 7);
    freearr(cache, free);
}

TEST_F(MapFile, empty_file_has_an_address_and_no_bytes) {
    EXPECT_EQ(mapfile(directory.write("file", "").c_str(), nullptr, &data), 0);
    EXPECT_NE(data, nullptr);
}

TEST_F(MapFile, small_file_is_out_of_reach_of_a_later_truncation) {
    const std::string path = directory.write("file", "content");
    mapfile(path.c_str(), nullptr, &data);
    ASSERT_EQ(truncate(path.c_str(), 0), 0);
    EXPECT_EQ(std::string(data, 7), "content");
}

TEST_F(MapFile, file_of_16_mib_is_still_out_of_reach) {
    const int64_t size = 16 << 20;
    const std::string path = directory.write("file", "begin");
    std::filesystem::resize_file(path, static_cast<uintmax_t>(size));
    ASSERT_EQ(mapfile(path.c_str(), nullptr, &data), size);
    ASSERT_EQ(truncate(path.c_str(), 0), 0);
    EXPECT_EQ(std::string(data, 5), "begin");
    lindra_unmapfile(data, size);
}

TEST_F(MapFile, unreadable_page_follows_the_last_byte_of_a_small_file) {
    mapfile(directory.write("file", std::string(5000, 'x')).c_str(), nullptr, &data);
    char *end = data + 5000;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(end) % static_cast<uintptr_t>(sysconf(_SC_PAGESIZE)), 0U);
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    EXPECT_EQ(write(pipe_ends[1], end - 1, 1), 1);
    EXPECT_EQ(write(pipe_ends[1], end, 1), -1); // EFAULT, without a fault of our own
    EXPECT_EQ(read(pipe_ends[0], data, 1), -1); // nor can the copy be changed
    close(pipe_ends[0]);
    close(pipe_ends[1]);
}

TEST_F(MapFile, large_file_is_mapped_whole) {
    const int64_t size = (16 << 20) + 5;
    const std::string path = directory.write("file", "begin");
    std::filesystem::resize_file(path, static_cast<uintmax_t>(size));
    ASSERT_EQ(mapfile(path.c_str(), nullptr, &data), size);
    EXPECT_EQ(std::string(data, 5), "begin");
    EXPECT_EQ(data[size - 1], '\0');
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    EXPECT_EQ(write(pipe_ends[1], data + (16 << 20) + 4096, 1), -1); // the page behind the last one
    close(pipe_ends[0]);
    close(pipe_ends[1]);
}

// None of them is waited for.
TEST_F(MapFile, only_regular_files_are_opened) {
    const std::filesystem::path here = directory.path();
    ASSERT_EQ(mkfifo((here / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(mknod((here / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    std::filesystem::create_symlink("loop", here / "loop");
    std::filesystem::create_symlink("absent", here / "dangling");
    std::filesystem::create_symlink("fifo", here / "link");
    for (const std::string &path :
         std::vector<std::string>{here, here / "fifo", here / "socket", here / "loop", here / "dangling",
                                  here / "link", "/dev/zero", "/dev/null", "/proc/self/status"}) {
        data = reinterpret_cast<char *>(this);
        EXPECT_EQ(mapfile(path.c_str(), nullptr, &data), -1) << path;
        EXPECT_EQ(data, nullptr) << path;
        Arr *cache = nullptr;
        data = reinterpret_cast<char *>(this);
        EXPECT_EQ(mapfile(path.c_str(), &cache, &data), -1) << path;
        EXPECT_EQ(data, nullptr) << path;
        freearr(cache, free);
    }
}

TEST_F(MapFile, file_that_may_not_be_read_is_negative_and_leaves_null) {
    for (const uintmax_t size : {uintmax_t{7}, uintmax_t{17} << 20}) {
        const std::string path = directory.write("closed", "content");
        std::filesystem::resize_file(path, size);
        std::filesystem::permissions(path, std::filesystem::perms::none);
        const OrdinaryUser user(directory.path());
        data = reinterpret_cast<char *>(this);
        EXPECT_EQ(mapfile(path.c_str(), nullptr, &data), -1) << size;
        EXPECT_EQ(data, nullptr);
    }
}

TEST_F(MapFile, exhausted_memory_of_the_cache_is_a_failure) {
    const std::string path = directory.write("file", "content");
    for (int nth = 1; nth <= 3; nth++) {
        Arr *cache = nullptr;
        const AllocationWatch watch(nth);
        EXPECT_EQ(mapfile(path.c_str(), &cache, &data), -1) << nth;
        EXPECT_EQ(data, nullptr);
        freearr(cache, free);
    }
}

// Whether anything is mapped at the page of an address.
bool is_mapped(const void *at) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t begin = reinterpret_cast<uintptr_t>(at) / page * page;
    unsigned char resident;
    return mincore(reinterpret_cast<void *>(begin), page, &resident) == 0;
}

TEST_F(MapFile, an_unmapped_file_is_gone_with_its_guard) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    for (const size_t size :
         {size_t{0}, size_t{7}, page, page + 1, size_t{17} << 20, (size_t{17} << 20) + 1}) {
        const int64_t mapped =
            mapfile(directory.write("file", std::string(size, 'x')).c_str(), nullptr, &data);
        ASSERT_EQ(mapped, static_cast<int64_t>(size));
        const char *guard = data + size + (page - 1);
        EXPECT_TRUE(is_mapped(guard)) << size;
        lindra_unmapfile(data, mapped);
        EXPECT_FALSE(is_mapped(data)) << size;
        EXPECT_FALSE(is_mapped(guard)) << size;
    }
    lindra_unmapfile(nullptr, 0);
}
