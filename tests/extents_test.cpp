// SPDX-License-Identifier: MIT

#include "lindra/extents.hpp"
#include "lindra/stream.hpp"

#include "lindra/lindra.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

using lindra::extent_end;
using lindra::keep_memo;
using lindra::memo_at;
using lindra::Stream;

namespace {

struct Note : lindra::Memo {
    explicit Note(bool &kept) : is_kept(kept) { is_kept = true; }
    ~Note() override { is_kept = false; }
    bool &is_kept;
};

struct Extents : testing::Test {
    unsigned char bytes[64] = {1, 2, 3, 4, 5, 6, 7, 8};

    void bound(size_t offset, size_t size) {
        ASSERT_EQ(lindra_bound(bytes + offset, size), 0);
        bases.push_back(bytes + offset);
    }
    void TearDown() override {
        for (unsigned char *base : bases)
            lindra_unbound(base);
        EXPECT_EQ(extent_end(bytes), nullptr);
    }
    std::vector<unsigned char *> bases;
};

} // namespace

TEST_F(Extents, position_in_no_extent_is_trusted) {
    EXPECT_EQ(extent_end(bytes), nullptr);
    bound(8, 8);
    EXPECT_EQ(extent_end(bytes + 7), nullptr);
    EXPECT_EQ(extent_end(bytes + 17), nullptr);
}

TEST_F(Extents, extent_reaches_from_its_base_to_its_end_address) {
    bound(8, 8);
    EXPECT_EQ(extent_end(bytes + 8), bytes + 16);
    EXPECT_EQ(extent_end(bytes + 15), bytes + 16);
    EXPECT_EQ(extent_end(bytes + 16), bytes + 16);
}

TEST_F(Extents, extent_that_begins_where_another_ends_counts_there) {
    bound(0, 8);
    bound(8, 8);
    EXPECT_EQ(extent_end(bytes + 8), bytes + 16);
}

TEST_F(Extents, memo_is_found_wherever_its_extent_counts) {
    bound(8, 8);
    bound(10, 2);
    bool is_kept = false;
    keep_memo(bytes + 8, std::make_shared<Note>(is_kept));
    EXPECT_TRUE(is_kept);
    EXPECT_EQ(memo_at(bytes + 7), nullptr);
    EXPECT_NE(memo_at(bytes + 8), nullptr);
    EXPECT_EQ(memo_at(bytes + 11), nullptr);
    EXPECT_EQ(memo_at(bytes + 15), memo_at(bytes + 8));
}

TEST_F(Extents, memo_that_is_held_outlives_its_extent) {
    bound(0, 8);
    bool is_kept = false;
    keep_memo(bytes, std::make_shared<Note>(is_kept));
    auto held = memo_at(bytes);
    bound(0, 8);
    EXPECT_EQ(memo_at(bytes), nullptr);
    EXPECT_TRUE(is_kept);
    held.reset();
    EXPECT_FALSE(is_kept);
}

TEST_F(Extents, memo_goes_with_its_extent) {
    bool is_kept = false;
    keep_memo(bytes, std::make_shared<Note>(is_kept));
    EXPECT_FALSE(is_kept);
    bound(0, 8);
    keep_memo(bytes, std::make_shared<Note>(is_kept));
    bound(0, 16);
    EXPECT_FALSE(is_kept);
    keep_memo(bytes, std::make_shared<Note>(is_kept));
    lindra_unbound(bytes);
    EXPECT_FALSE(is_kept);
}

TEST_F(Extents, inner_extent_counts_inside_and_the_outer_one_beyond_it) {
    bound(0, 64);
    bound(8, 8);
    EXPECT_EQ(extent_end(bytes + 10), bytes + 16);
    EXPECT_EQ(extent_end(bytes + 20), bytes + 64);
}

TEST_F(Extents, second_call_replaces_the_size) {
    bound(0, 8);
    bound(0, 32);
    EXPECT_EQ(extent_end(bytes + 20), bytes + 32);
}

TEST_F(Extents, null_and_impossible_sizes_are_refused) {
    EXPECT_EQ(lindra_bound(nullptr, 1), -1);
    EXPECT_EQ(lindra_bound(bytes, SIZE_MAX), -1);
    const size_t most = UINTPTR_MAX - reinterpret_cast<uintptr_t>(bytes);
    EXPECT_EQ(lindra_bound(bytes, most + 1), -1);
    EXPECT_EQ(lindra_bound(bytes, most), 0);
    lindra_unbound(bytes);
}

TEST_F(Extents, several_threads_may_bound_and_look_up) {
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 4; i++)
        threads.emplace_back([this, i] {
            for (int round = 0; round < 1000; round++) {
                lindra_bound(bytes + 16 * i, 8);
                EXPECT_EQ(extent_end(bytes + 16 * i + 1), bytes + 16 * i + 8);
                lindra_unbound(bytes + 16 * i);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(Extents, stream_moves_the_callers_position_and_stops_at_the_end) {
    bound(0, 7);
    unsigned char *pos = bytes;
    Stream stream(&pos);
    int32_t word = 0;
    EXPECT_TRUE(stream.be(word));
    EXPECT_EQ(word, 0x01020304);
    EXPECT_EQ(pos, bytes + 4);
    EXPECT_EQ(stream.left(), 3U);
    EXPECT_FALSE(stream.be(word));
    EXPECT_EQ(pos, bytes + 4);
    EXPECT_EQ(word, 0x01020304);
    EXPECT_TRUE(stream.skip(3));
    EXPECT_FALSE(stream.skip(1));
}
