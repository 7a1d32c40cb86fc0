// SPDX-License-Identifier: MIT
//
// The iterators with random access: over the records of a shapefile, the points of a record and the images of
// a texture.
#include "shapefile_files.hpp"
#include "texture_builder.hpp"

#include "lindra/lindra.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <compare>
#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

namespace lindra::test {
namespace {

// Each tells its values, of which there are four, apart by the numbers 0 to 3.

struct Records {
    using iterator = shapefile::iterator;
    static size_t number(const shape_record &record) { return record.index(); }
    const shapefile &range() { return *file; }

    OpenShapefile file{main_file_of(SHAPE_POINT, std::vector<std::string>(4, point_shape(1, 2)))};
};

struct Points {
    using iterator = point_range::iterator;
    static size_t number(shape_point point) { return static_cast<size_t>(point.x); }
    point_range range() { return record.points(); }

    OpenShapefile file{main_file_of(SHAPE_MULTIPOINT, {multipoint_shape({{0, 5}, {1, 6}, {2, 7}, {3, 8}})})};
    shape_record record = (*file)[0];
};

struct Images {
    using iterator = texture_image_range::iterator;
    static size_t number(const texture_image &image) { return image.level; }
    texture_image_range range() { return file.images(); }

    GuardedBuffer bytes{dds::Texture{.levels = 4}.file()};
    texture file{byte_span(bytes.data(), bytes.size())};
};

template <class Source>
class ValueIterator : public testing::Test, public Source {
  public:
    auto begin() { return this->range().begin(); }
    auto end() { return this->range().end(); }
};

using Sources = testing::Types<Records, Points, Images>;
TYPED_TEST_SUITE(ValueIterator, Sources);

TYPED_TEST(ValueIterator, has_random_access_to_values) {
    using Iterator = typename TypeParam::iterator;
    static_assert(std::random_access_iterator<Iterator>);
    static_assert(std::sized_sentinel_for<Iterator, Iterator>);
    static_assert(std::is_same_v<std::iter_reference_t<Iterator>, std::iter_value_t<Iterator>>);
    // What hands out values is no more than this to the algorithms of before.
    static_assert(std::is_same_v<typename Iterator::iterator_category, std::input_iterator_tag>);
    const auto first = this->begin();
    EXPECT_EQ(this->end() - first, 4);
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(this->number(first[static_cast<std::ptrdiff_t>(i)]), i);
        EXPECT_EQ(this->number(*(first + static_cast<std::ptrdiff_t>(i))), i);
    }
}

TYPED_TEST(ValueIterator, steps_forwards_and_backwards) {
    auto it = this->begin();
    EXPECT_EQ(this->number(*++it), 1U);
    EXPECT_EQ(this->number(*it++), 1U);
    EXPECT_EQ(this->number(*it), 2U);
    EXPECT_EQ(this->number(*--it), 1U);
    EXPECT_EQ(this->number(*it--), 1U);
    EXPECT_EQ(it, this->begin());
}

TYPED_TEST(ValueIterator, is_moved_by_any_number_of_values) {
    auto it = this->begin();
    EXPECT_EQ(this->number(*(it += 3)), 3U);
    EXPECT_EQ(this->number(*(it -= 2)), 1U);
    EXPECT_EQ(this->number(*(it + 2)), 3U);
    EXPECT_EQ(this->number(*(2 + it)), 3U);
    EXPECT_EQ(this->number(*(it - 1)), 0U);
    EXPECT_EQ(this->number(it[-1]), 0U);
    EXPECT_EQ(this->number(*it), 1U);
    EXPECT_EQ(it - this->begin(), 1);
    EXPECT_EQ(it - this->end(), -3);
}

TYPED_TEST(ValueIterator, is_ordered_by_its_place) {
    const auto first = this->begin();
    const auto second = first + 1;
    EXPECT_TRUE(first == this->begin());
    EXPECT_FALSE(first == second);
    EXPECT_TRUE(first != second);
    EXPECT_TRUE(first < second);
    EXPECT_FALSE(second < first);
    EXPECT_TRUE(second > first);
    EXPECT_TRUE(first <= first);
    EXPECT_FALSE(first >= second);
    EXPECT_TRUE((second <=> first) == std::strong_ordering::greater);
    EXPECT_TRUE((first <=> first) == std::strong_ordering::equal);
    EXPECT_TRUE(first + 4 == this->end());
}

TYPED_TEST(ValueIterator, one_that_belongs_to_nothing_equals_another) {
    using Iterator = typename TypeParam::iterator;
    EXPECT_EQ(Iterator(), Iterator());
    EXPECT_EQ(Iterator() - Iterator(), 0);
}

TYPED_TEST(ValueIterator, serves_the_algorithms_of_ranges) {
    const auto number = [](const auto &value) { return TypeParam::number(value); };
    const auto first = this->begin();
    const auto last = this->end();
    EXPECT_EQ(std::ranges::lower_bound(first, last, 2U, {}, number) - first, 2);
    EXPECT_EQ(std::ranges::find(first, last, 3U, number) - first, 3);
    EXPECT_EQ(std::ranges::find(first, last, 4U, number), last);
    EXPECT_EQ(std::ranges::next(first, 9, last), last);
    EXPECT_EQ(std::ranges::prev(last, 9, first), first);
    EXPECT_TRUE(std::ranges::is_sorted(first, last, {}, number));
}

} // namespace
} // namespace lindra::test
