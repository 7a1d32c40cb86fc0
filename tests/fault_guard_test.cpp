// SPDX-License-Identifier: MIT
//
// Shapefiles and textures that another process cuts while they are read.

#include "cut_files.hpp"

#include "lindra/lindra.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace lindra::test {
namespace {

class FaultGuard : public testing::Test {
  protected:
    TemporaryDirectory directory;
};

// What is thrown, or nothing.
std::optional<error> error_of(const std::function<void()> &call) {
    try {
        call();
    } catch (const error &reason) {
        return reason;
    }
    return std::nullopt;
}

// The sum of all coordinates, which is 0: it is there so that every point is looked at.
double sum_of(const shape_record &record) {
    double sum = 0;
    for (const shape_point p : record.points())
        sum += p.x + p.y;
    return sum;
}

double sum_of(const shapefile &file) {
    double sum = 0;
    for (const shape_record &record : file)
        sum += sum_of(record);
    return sum;
}

struct sigaction handler_now() {
    struct sigaction now = {};
    sigaction(SIGBUS, nullptr, &now);
    return now;
}

auto address_of(const struct sigaction &action) {
    return action.sa_flags & SA_SIGINFO ? reinterpret_cast<uintptr_t>(action.sa_sigaction)
                                        : reinterpret_cast<uintptr_t>(action.sa_handler);
}

// A file of the test's own, mapped whole; its second page is gone.
class HarmedMapping {
  public:
    explicit HarmedMapping(const TemporaryDirectory &directory) {
        const std::string path = directory.write("harmed", std::string(2 * page, 'x'));
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        bytes_ = static_cast<const volatile char *>(
            mmap(nullptr, 2 * page, PROT_READ, MAP_PRIVATE, descriptor, 0));
        close(descriptor);
        if (truncate(path.c_str(), page) != 0) throw std::runtime_error("truncate failed");
    }
    ~HarmedMapping() { munmap(const_cast<char *>(bytes_), 2 * page); }
    HarmedMapping(const HarmedMapping &) = delete;
    HarmedMapping &operator=(const HarmedMapping &) = delete;

    char touch() const { return bytes_[page]; }
    void *gone() const { return const_cast<char *>(bytes_) + page; }

  private:
    const volatile char *bytes_;
};

// --- Files that are cut -----------------------------------------------------------------------------------

TEST_F(FaultGuard, shapefile_cut_while_it_is_walked_is_an_error_with_file_and_byte) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    ASSERT_EQ(file.size(), LargeShapes::count);
    constexpr uint64_t rest = 12 * megabyte; // ends in the second record
    Cutter cutter(path, rest);
    size_t walked = 0;
    const auto reason = error_of([&] {
        guarded(file, [&] {
            for (const shape_record &record : file) {
                if (walked == 1) cutter.cut();
                EXPECT_EQ(sum_of(record), 0);
                walked++;
            }
        });
    });
    EXPECT_EQ(walked, LargeShapes::count) << "the walk goes on over zeros";
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->file(), path);
    EXPECT_GE(reason->offset(), rest);
    EXPECT_LT(reason->offset(), rest + 16);
    EXPECT_EQ(reason->what(),
              path + ": byte " + std::to_string(reason->offset()) + ": changed while it was read; try again");
}

TEST_F(FaultGuard, harmed_file_stays_harmed) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    Cutter(path, page).cut();
    const auto first = error_of([&] { guarded(file, [&] { sum_of(file[2]); }); });
    ASSERT_TRUE(first);
    bool called = false;
    const auto second = error_of([&] { guarded(file, [&] { called = true; }); });
    ASSERT_TRUE(second);
    EXPECT_FALSE(called);
    EXPECT_EQ(second->offset(), first->offset());
    LargeShapes::write(directory);
    const shapefile again(path);
    EXPECT_EQ(guarded(again, [&] { return sum_of(again); }), 0);
}

TEST_F(FaultGuard, whole_file_is_walked_without_complaint) {
    const shapefile file(LargeShapes::write(directory));
    EXPECT_EQ(guarded(file, [&] { return sum_of(file); }), 0);
    const fault_guard guard(file);
    EXPECT_EQ(sum_of(file), 0);
    EXPECT_NO_THROW(guard.check());
}

TEST_F(FaultGuard, shapefile_cut_while_it_is_opened_is_an_error) {
    const std::string path = LargeShapes::write(directory);
    write_at(path, 24, be32(50)); // a length that is told as a repair, before the records are looked for
    Cutter cutter(path, page);
    bool told = false;
    const auto reason = error_of([&] {
        const shapefile file(path, {"", [&](const repair &) {
                                        if (!std::exchange(told, true)) cutter.cut();
                                    }});
    });
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->file(), path);
    EXPECT_GE(reason->offset(), LargeShapes::begin(1));
    EXPECT_LT(reason->offset(), LargeShapes::begin(1) + 8) << "the header of the second record";
}

TEST_F(FaultGuard, table_is_guarded_too) {
    const std::string path = directory.write("few.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    const std::string table = directory.write("few.dbf", table_file({{"NAME", 'C', 4}}, {" full"}));
    std::filesystem::resize_file(table, 20 * megabyte);
    const shapefile file(path);
    Cutter(table, 0).cut();
    const auto reason = error_of([&] { guarded(file, [&] { return file[0].attributes()[0]; }); });
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->file(), table);
}

TEST_F(FaultGuard, name_of_an_encoding_is_guarded_while_it_is_read) {
    const std::string path = directory.write("few.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    write_at(path, 24, be32(50)); // is told before the name is looked for
    directory.write("few.dbf", table_file({{"NAME", 'C', 4}}, {" full"}));
    const std::string name = directory.write("few.cpg", "UTF-8");
    std::filesystem::resize_file(name, 20 * megabyte);
    Cutter cutter(name, 0);
    bool told = false;
    const auto reason = error_of([&] {
        const shapefile file(path, {"", [&](const repair &) {
                                        if (!std::exchange(told, true)) cutter.cut();
                                    }});
    });
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->file(), name);
    EXPECT_EQ(reason->offset(), 0U);
}

TEST_F(FaultGuard, files_beyond_16_mib_are_shared) {
    for (const int64_t more : {0, 1}) {
        const std::string path = directory.write("file", "");
        std::filesystem::resize_file(path, 16 * megabyte + static_cast<uint64_t>(more));
        const detail::mapped_file file(path);
        EXPECT_EQ(file.shared() != nullptr, more > 0);
    }
}

TEST_F(FaultGuard, mapping_holds_its_bytes_and_no_other) {
    const std::string path = directory.write("file", "ab");
    const detail::mapping file(path);
    const unsigned char *data = file.bytes().data();
    EXPECT_FALSE(file.holds(data - 1));
    EXPECT_TRUE(file.holds(data));
    EXPECT_TRUE(file.holds(data + 1));
    EXPECT_FALSE(file.holds(data + 2));
}

TEST_F(FaultGuard, geojson_of_a_file_that_is_cut_has_no_end) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    Cutter(path, LargeShapes::begin(1) + page).cut();
    std::ostringstream out;
    const auto reason = error_of([&] { write_geojson(out, file); });
    ASSERT_TRUE(reason);
    const std::string written = out.str();
    EXPECT_TRUE(written.ends_with(R"("properties":null})")) << "the first record, which is whole";
    EXPECT_EQ(written.find("Feature\"", written.find("Feature\"") + 1), std::string::npos);
}

TEST_F(FaultGuard, number_that_appears_meanwhile_and_that_json_has_not_is_null) {
    std::string out;
    for (const double number : {std::numeric_limits<double>::infinity(), std::nan(""), 0.5})
        detail::append_number(out, number);
    EXPECT_EQ(out, "nullnull0.5");
}

// Small squares, which are overwritten in thousands of places while they are read.
TEST_F(FaultGuard, file_that_is_overwritten_while_it_is_read_is_read_to_its_end) {
    std::vector<std::string> shapes(15'000,
                                    path_shape(SHAPE_POLYGON, {{{0, 0}, {0, 1}, {1, 1}, {1, 0}, {0, 0}}}));
    shapes.push_back(large_null_shape());
    const std::string path = directory.write("large.shp", main_file_of(SHAPE_POLYGON, shapes));
    ASSERT_GT(std::filesystem::file_size(path), 16 * megabyte);
    const shapefile file(path);
    const Rewriter rewriter(path, 100, std::filesystem::file_size(path) - shapes.back().size());
    for (int round = 0; round < 3; round++) {
        std::ostringstream out;
        write_geojson(out, file);
        const std::string written = out.str();
        EXPECT_TRUE(written.ends_with("]}\n")) << written.substr(written.size() - 20);
        EXPECT_EQ(written.find("inf"), std::string::npos);
        EXPECT_EQ(written.find("nan"), std::string::npos);
        (void)error_of([&] { sum_of(shapefile(path)); });
    }
}

TEST_F(FaultGuard, texture_cut_between_two_images_is_an_error_from_the_first_one_that_is_gone) {
    const std::string path = LargeTexture::write(directory);
    const texture file(path);
    ASSERT_EQ(file.images().size(), LargeTexture::faces);
    Cutter cutter(path, file.images()[2].offset);
    EXPECT_EQ(file.expand(file.images()[1]).size(), size_t{2048} * 2048);
    cutter.cut();
    EXPECT_EQ(file.expand(file.images()[1]).back(), 0xff000000);
    const auto reason = error_of([&] { (void)file.expand(file.images()[4]); });
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->file(), path);
    EXPECT_EQ(reason->offset(), file.images()[4].offset);
    EXPECT_TRUE(error_of([&] { (void)file.expand(file.images()[1]); })) << "harmed files stay harmed";
}

TEST_F(FaultGuard, exceptions_over_bytes_that_are_gone_give_way) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    Cutter(path, page).cut();
    const auto reason = error_of([&] {
        guarded(file, [&] {
            sum_of(file[2]);
            throw std::runtime_error("the sum is not what it was");
        });
    });
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->file(), path);
}

TEST_F(FaultGuard, other_exceptions_pass) {
    const shapefile file(LargeShapes::write(directory));
    EXPECT_THROW(guarded(file, [] { throw std::out_of_range("mine"); }), std::out_of_range);
}

TEST_F(FaultGuard, guards_within_guards_know_each_its_file) {
    const std::string outer_path = LargeShapes::write(directory, "outer.shp");
    const std::string inner_path = LargeShapes::write(directory, "inner.shp");
    const shapefile outer(outer_path);
    const shapefile inner(inner_path);
    Cutter(outer_path, page).cut();
    const fault_guard guard(outer);
    guarded(inner, [&] { sum_of(outer[1]); });
    EXPECT_EQ(error_of([&] { guard.check(); })->file(), outer_path);
    EXPECT_EQ(guarded(inner, [&] { return sum_of(inner); }), 0);
}

TEST_F(FaultGuard, small_files_are_immune) {
    const std::string path = directory.write(
        "small.shp", main_file_of(SHAPE_MULTIPOINT, {multipoint_shape(Path(10'000, {1.0, 2.0}))}));
    const shapefile file(path);
    const uintptr_t before = address_of(handler_now());
    const fault_guard guard(file);
    EXPECT_EQ(address_of(handler_now()), before) << "nothing to guard";
    Cutter(path, 0).cut();
    EXPECT_EQ(sum_of(file), 30'000);
    EXPECT_NO_THROW(guard.check());
}

// --- Threads ----------------------------------------------------------------------------------------------

TEST_F(FaultGuard, each_thread_learns_of_its_own_file) {
    const std::array<std::string, 2> paths = {LargeShapes::write(directory, "cut.shp"),
                                              LargeShapes::write(directory, "whole.shp")};
    Cutter cutter(paths[0], page);
    std::array<std::optional<error>, 2> reasons;
    std::barrier together(2);
    const auto walk = [&](size_t i) {
        const shapefile file(paths[i]);
        reasons[i] = error_of([&] {
            guarded(file, [&] {
                together.arrive_and_wait();
                if (i == 0) cutter.cut();
                together.arrive_and_wait();
                EXPECT_EQ(sum_of(file), 0);
                together.arrive_and_wait();
            });
        });
    };
    std::thread first(walk, 0);
    std::thread second(walk, 1);
    first.join();
    second.join();
    ASSERT_TRUE(reasons[0]);
    EXPECT_EQ(reasons[0]->file(), paths[0]);
    EXPECT_FALSE(reasons[1]);
}

TEST_F(FaultGuard, one_file_on_two_threads_is_an_error_on_both) {
    const std::string path = LargeShapes::write(directory);
    Cutter cutter(path, page);
    std::array<std::optional<error>, 2> reasons;
    std::barrier together(2);
    const auto walk = [&](size_t i) {
        const shapefile file(path);
        reasons[i] = error_of([&] {
            guarded(file, [&] {
                together.arrive_and_wait();
                if (i == 0) cutter.cut();
                together.arrive_and_wait();
                sum_of(file[i + 1]);
            });
        });
    };
    std::thread first(walk, 0);
    std::thread second(walk, 1);
    first.join();
    second.join();
    EXPECT_TRUE(reasons[0]);
    EXPECT_TRUE(reasons[1]);
}

// --- The host's handler -----------------------------------------------------------------------------------

std::atomic<int> faults_of_host = 0;

// Mends the fault as a host of its own kind would.
void mend_as_host(int, siginfo_t *info, void *) {
    faults_of_host++;
    mmap(info->si_addr, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
}

void count_as_host(int) {
    faults_of_host++;
}

struct sigaction mending() {
    struct sigaction action = {};
    action.sa_sigaction = mend_as_host;
    action.sa_flags = SA_SIGINFO;
    return action;
}

struct sigaction plain(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    return action;
}

// While one lives, the host has a handler of its own.
class HostHandler {
  public:
    explicit HostHandler(const struct sigaction &action = mending()) {
        sigaction(SIGBUS, &action, &before_);
        faults_of_host = 0;
    }
    ~HostHandler() { sigaction(SIGBUS, &before_, nullptr); }
    HostHandler(const HostHandler &) = delete;
    HostHandler &operator=(const HostHandler &) = delete;

  private:
    struct sigaction before_ = {};
};

TEST_F(FaultGuard, handler_is_there_as_long_as_a_guard_is) {
    const uintptr_t before = address_of(handler_now());
    const shapefile file(LargeShapes::write(directory));
    EXPECT_EQ(address_of(handler_now()), before);
    {
        const fault_guard outer(file);
        const uintptr_t during = address_of(handler_now());
        EXPECT_NE(during, before);
        { const fault_guard inner(file); }
        EXPECT_EQ(address_of(handler_now()), during);
    }
    EXPECT_EQ(address_of(handler_now()), before);
}

TEST_F(FaultGuard, other_faults_go_to_the_handler_that_was_there) {
    const HostHandler host;
    const HarmedMapping harmed(directory);
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    Cutter(path, page).cut();
    EXPECT_TRUE(error_of([&] {
        guarded(file, [&] {
            EXPECT_EQ(harmed.touch(), 0);
            sum_of(file[2]);
        });
    }));
    EXPECT_EQ(faults_of_host, 1) << "its own fault and no other";
    EXPECT_EQ(address_of(handler_now()), reinterpret_cast<uintptr_t>(mend_as_host));
    EXPECT_TRUE(handler_now().sa_flags & SA_SIGINFO);
}

TEST_F(FaultGuard, sent_signals_go_to_the_handler_that_was_there) {
    const shapefile file(LargeShapes::write(directory));
    const HostHandler host(plain(count_as_host));
    guarded(file, [] { std::raise(SIGBUS); });
    EXPECT_EQ(faults_of_host, 1);
    EXPECT_EQ(address_of(handler_now()), reinterpret_cast<uintptr_t>(count_as_host));
}

TEST_F(FaultGuard, sent_signals_that_the_host_ignores_stay_ignored) {
    const shapefile file(LargeShapes::write(directory));
    const HostHandler host(plain(SIG_IGN));
    guarded(file, [] {
        for (int i = 0; i < 2; i++) {
            std::raise(SIGBUS);
            kill(getpid(), SIGBUS);
        }
        EXPECT_NE(handler_now().sa_handler, SIG_DFL);
    });
    EXPECT_EQ(handler_now().sa_handler, SIG_IGN);
}

TEST_F(FaultGuard, what_the_host_holds_back_while_it_handles_a_fault_is_held_back) {
    const shapefile file(LargeShapes::write(directory));
    struct sigaction action = mending();
    sigaddset(&action.sa_mask, SIGUSR1);
    action.sa_flags |= SA_RESTART;
    const HostHandler host(action);
    const fault_guard guard(file);
    const struct sigaction now = handler_now();
    EXPECT_NE(address_of(now), reinterpret_cast<uintptr_t>(mend_as_host));
    EXPECT_TRUE(sigismember(&now.sa_mask, SIGUSR1));
    EXPECT_FALSE(sigismember(&now.sa_mask, SIGUSR2));
    EXPECT_TRUE(now.sa_flags & SA_RESTART);
    EXPECT_FALSE(now.sa_flags & SA_NODEFER);
}

void spoil_errno(int) {
    errno = EDOM;
}

TEST_F(FaultGuard, handler_of_the_host_leaves_no_errno_behind) {
    const shapefile file(LargeShapes::write(directory));
    const HostHandler host(plain(spoil_errno));
    guarded(file, [] {
        errno = 0;
        std::raise(SIGBUS);
        EXPECT_EQ(errno, 0);
    });
}

TEST_F(FaultGuard, handler_that_the_host_sets_meanwhile_stays) {
    const shapefile file(LargeShapes::write(directory));
    const HostHandler host;
    struct sigaction ours = {};
    {
        const fault_guard guard(file);
        const struct sigaction on_top = plain(count_as_host);
        sigaction(SIGBUS, &on_top, &ours);
    }
    EXPECT_EQ(address_of(handler_now()), reinterpret_cast<uintptr_t>(count_as_host));
    // The next guard takes away what is still below.
    sigaction(SIGBUS, &ours, nullptr);
    { const fault_guard guard(file); }
    EXPECT_EQ(address_of(handler_now()), reinterpret_cast<uintptr_t>(mend_as_host));
}

void (*below_host)(int, siginfo_t *, void *) = nullptr;

void hand_on(int number, siginfo_t *info, void *context) {
    faults_of_host++;
    below_host(number, info, context);
}

TEST_F(FaultGuard, handler_stays_below_one_that_was_set_on_top_of_it) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    struct sigaction ours = {};
    struct sigaction on_top = {};
    on_top.sa_sigaction = hand_on;
    on_top.sa_flags = SA_SIGINFO;
    faults_of_host = 0;
    {
        const fault_guard guard(file);
        sigaction(SIGBUS, nullptr, &ours);
        below_host = ours.sa_sigaction;
        sigaction(SIGBUS, &on_top, nullptr);
    }
    EXPECT_EQ(address_of(handler_now()), reinterpret_cast<uintptr_t>(hand_on));
    Cutter(path, page).cut();
    EXPECT_TRUE(error_of([&] { guarded(file, [&] { sum_of(file[1]); }); }));
    EXPECT_EQ(faults_of_host, 1);
    // The host takes its handler away in good order, and so does the next guard.
    sigaction(SIGBUS, &ours, nullptr);
    const shapefile other(LargeShapes::write(directory, "other.shp"));
    { const fault_guard guard(other); }
    EXPECT_NE(address_of(handler_now()), reinterpret_cast<uintptr_t>(below_host));
}

using FaultGuardDeathTest = FaultGuard;

// As without the sanitizers, which have a handler of their own.
void set_default_action() {
    std::signal(SIGBUS, SIG_DFL);
}

TEST_F(FaultGuardDeathTest, fault_outside_the_guarded_files_ends_the_process) {
    const shapefile file(LargeShapes::write(directory));
    const HarmedMapping harmed(directory);
    EXPECT_EXIT(
        {
            set_default_action();
            guarded(file, [&] { return harmed.touch(); });
        },
        testing::KilledBySignal(SIGBUS), "");
}

TEST_F(FaultGuardDeathTest, ignored_faults_end_the_process_too) {
    const shapefile file(LargeShapes::write(directory));
    const HarmedMapping harmed(directory);
    EXPECT_EXIT(
        {
            std::signal(SIGBUS, SIG_IGN);
            const fault_guard guard(file);
            std::raise(SIGBUS);
            fputs("alive\n", stderr);
            harmed.touch();
        },
        testing::KilledBySignal(SIGBUS), "alive");
}

// Of every kind, as the kernel sends it; a process may send it to itself.
void fault_of_kind(int code) {
    siginfo_t info = {};
    info.si_signo = SIGBUS;
    info.si_code = code;
    syscall(SYS_rt_sigqueueinfo, getpid(), SIGBUS, &info);
}

TEST_F(FaultGuardDeathTest, no_kind_of_fault_is_ignored) {
    const shapefile file(LargeShapes::write(directory));
    for (const int code : {BUS_ADRALN, BUS_ADRERR, BUS_OBJERR})
        EXPECT_EXIT(
            {
                std::signal(SIGBUS, SIG_IGN);
                const fault_guard guard(file);
                fault_of_kind(code);
                const bool is_next_the_last = handler_now().sa_handler == SIG_DFL;
                _exit(is_next_the_last ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
}

TEST_F(FaultGuardDeathTest, signal_that_was_sent_ends_the_process) {
    const shapefile file(LargeShapes::write(directory));
    EXPECT_EXIT(
        {
            set_default_action();
            const fault_guard guard(file);
            std::raise(SIGBUS);
        },
        testing::KilledBySignal(SIGBUS), "");
}

TEST_F(FaultGuardDeathTest, thread_without_a_guard_is_not_guarded_by_another) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    Cutter(path, page).cut();
    EXPECT_EXIT(
        {
            set_default_action();
            const fault_guard guard(file);
            std::thread([&] { sum_of(file[2]); }).join();
        },
        testing::KilledBySignal(SIGBUS), "");
}

TEST_F(FaultGuardDeathTest, file_without_a_guard_ends_the_process) {
    const std::string path = LargeShapes::write(directory);
    const shapefile file(path);
    Cutter(path, page).cut();
    EXPECT_EXIT(
        {
            set_default_action();
            sum_of(file[2]);
        },
        testing::KilledBySignal(SIGBUS), "");
}

// --- Files that are no files ------------------------------------------------------------------------------

class SpecialFile : public FaultGuard, public testing::WithParamInterface<const char *> {
  protected:
    // A path of that kind with the ending, or nothing where there can be none.
    std::string make(const std::string &kind, const std::string &ending) const {
        const std::string path = (directory.path() / ("special" + ending)).string();
        if (kind == "fifo")
            EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        else if (kind == "directory")
            std::filesystem::create_directory(path);
        else if (kind == "loop")
            std::filesystem::create_symlink(path, path);
        else
            std::filesystem::create_symlink(kind, path);
        return path;
    }
};

TEST_P(SpecialFile, is_refused_at_once_by_every_class) {
    const std::string main = make(GetParam(), ".shp");
    const auto shapes = error_of([&] { const shapefile file(main); });
    ASSERT_TRUE(shapes);
    EXPECT_EQ(shapes->file(), main);
    const std::string image = make(GetParam(), ".dds");
    const auto pixels = error_of([&] { const texture file(image); });
    ASSERT_TRUE(pixels);
    EXPECT_EQ(pixels->file(), image);
}

TEST_P(SpecialFile, is_left_aside_beside_a_main_file) {
    const std::string main = directory.write("special.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    for (const char *ending : {".shx", ".dbf", ".cpg"})
        make(GetParam(), ending);
    size_t told = 0;
    const shapefile file(main, {"", [&](const repair &) { told++; }});
    EXPECT_EQ(file.size(), 1U);
    EXPECT_FALSE(file.has_attributes());
    // A link that leads nowhere is no file at all.
    EXPECT_EQ(told, std::string(GetParam()) == "loop" ? 0U : 3U);
}

// Root may read everything: then the test is another user for a while.
class OtherUser {
  public:
    OtherUser() { is_other_ = geteuid() == 0 && seteuid(65534) == 0; }
    ~OtherUser() {
        if (is_other_ && seteuid(0) != 0) abort();
    }
    OtherUser(const OtherUser &) = delete;
    OtherUser &operator=(const OtherUser &) = delete;

  private:
    bool is_other_;
};

TEST_F(FaultGuard, unreadable_files_are_refused_with_the_reason) {
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    const std::string main = directory.write("closed.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    const std::string image = directory.write("closed.dds", dds::Header().bytes() + dds::plain_block(0));
    for (const std::string &path : {main, image})
        std::filesystem::permissions(path, std::filesystem::perms::none);
    const OtherUser other;
    EXPECT_EQ(error_of([&] { const shapefile file(main); })->what(), main + ": byte 0: Permission denied");
    EXPECT_EQ(error_of([&] { const texture file(image); })->what(), image + ": byte 0: Permission denied");
}

INSTANTIATE_TEST_SUITE_P(Kinds, SpecialFile,
                         testing::Values("fifo", "directory", "loop", "/dev/zero", "/proc/self/maps"),
                         [](const auto &kind) {
                             std::string name = kind.param;
                             std::ranges::replace(name, '/', '_');
                             return name;
                         });

} // namespace
} // namespace lindra::test
