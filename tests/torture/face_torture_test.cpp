// SPDX-License-Identifier: MIT
//
// The C++ face, with every call failing: an exception escapes, and nothing is lost.

#include "allocations.hpp"
#include "shapefile_files.hpp"
#include "temporary_directory.hpp"
#include "texture_builder.hpp"
#include "torture/faults.hpp"

#include "lindra/lindra.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <string>

namespace lindra::test {

namespace {

// What stands in a file, as text, after it was opened, looked at, and moved.
using Look = std::function<std::string()>;

struct Outcome {
    int calls = 0;
    bool failed = false;
    bool threw = false;
    std::string seen;
};

Outcome run(const Look &look, FaultKind kind, int nth, bool from_then_on) {
    Outcome outcome;
    const int mappings = live_mappings();
    const int descriptors = live_descriptors();
    AllocationWatch watch;
    {
        const Faults faults(kind, nth, from_then_on);
        try {
            std::string seen = look();
            const AllocationPause pause;
            outcome.seen = seen;
        } catch (const std::bad_alloc &) {
            outcome.threw = true;
        } catch (const error &) {
            outcome.threw = true;
        }
        outcome.calls = Faults::calls();
        outcome.failed = Faults::failed() > 0;
    }
    const int live = watch.live();
    const AllocationPause pause;
    EXPECT_EQ(live, 0);
    EXPECT_EQ(live_mappings(), mappings);
    EXPECT_EQ(live_descriptors(), descriptors);
    return outcome;
}

// told: whether a look that did not throw may have seen something else, because a repair was told.
void torture(const Look &look, const std::function<bool()> &told) {
    int faults = 0;
    for (const FaultKind kind : {FaultKind::allocation, FaultKind::system_call, FaultKind::short_read,
                                 FaultKind::interrupted_read}) {
        const Outcome undisturbed = run(look, kind, 0, false);
        ASSERT_FALSE(undisturbed.threw);
        const bool must_succeed = kind == FaultKind::short_read || kind == FaultKind::interrupted_read;
        for (const bool from_then_on : {false, true}) {
            if (kind == FaultKind::interrupted_read && from_then_on) break; // without end
            for (int nth = 1; nth <= undisturbed.calls; nth++) {
                SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + (from_then_on ? "/on/" : "/once/") +
                             std::to_string(nth));
                const Outcome outcome = run(look, kind, nth, from_then_on);
                EXPECT_TRUE(outcome.failed);
                if (must_succeed) {
                    EXPECT_FALSE(outcome.threw);
                }
                if (!outcome.threw && !told()) {
                    EXPECT_EQ(outcome.seen, undisturbed.seen);
                }
                EXPECT_EQ(run(look, kind, 0, false).seen, undisturbed.seen) << "after the failure";
                faults++;
            }
        }
    }
    EXPECT_GT(faults, 0);
    testing::Test::RecordProperty("faults", faults);
}

void torture_shapefile(const char *encoding) {
    const TemporaryDirectory directory;
    directory.write("roads.shp",
                    main_file_of(SHAPE_POLYLINE, {path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}}),
                                                  path_shape(SHAPE_POLYLINE, {{{5, 6}, {7, 8}}})}));
    directory.write("roads.dbf",
                    table_file({{"NAME", 'C', 8}, {"LANES", 'N', 4}}, {" M\xfcnster    4", " Ring      12"}));
    directory.write("roads.cpg", encoding);
    const std::string path = (directory.path() / "roads").string();
    bool beside = false;
    const auto look = [&] {
        beside = false;
        shapefile opened(path, {.on_repair = [&](const repair &told) {
                             beside = beside || told.kind == repair_kind::file_beside;
                         }});
        const shapefile file = std::move(opened);
        std::string text;
        for (const shape_record &record : file)
            text += geojson(record);
        return text;
    };
    torture(look, [&] { return beside; });
}

TEST(FaceTorture, a_shapefile_is_whole_or_an_exception) {
    torture_shapefile("CP1252");
}

// Whether iconv does not know the encoding or only fails to open it is asked by more calls.
TEST(FaceTorture, a_shapefile_of_an_unknown_encoding_is_whole_or_an_exception) {
    torture_shapefile("KLINGON");
}

TEST(FaceTorture, a_texture_is_whole_or_an_exception) {
    const TemporaryDirectory directory;
    dds::Texture made;
    made.levels = 3;
    const std::string path = directory.write("t.dds", made.file() + "more");
    const auto look = [&] {
        texture opened(path, {.on_repair = [](const repair &) {}});
        const texture file = std::move(opened);
        std::string text;
        for (const texture_image &image : file.images())
            for (const uint32_t pixel : file.expand(image))
                text += std::to_string(pixel) + " ";
        return text;
    };
    torture(look, [] { return false; });
}

TEST(FaceTorture, a_large_file_is_guarded_or_an_exception) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("large", std::string((16 << 20) + 1, 'x'));
    const auto look = [&] {
        const detail::mapped_file file(path);
        const detail::mapped_files files = {file.shared()};
        return guarded(files, [&] { return std::string(1, static_cast<char>(file.bytes().back())); });
    };
    torture(look, [] { return false; });
}

} // namespace

} // namespace lindra::test
