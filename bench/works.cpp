// SPDX-License-Identifier: MIT
#include "works.hpp"

#include "files.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>

namespace bench {
namespace {

struct Work {
    std::vector<Doer> doers;
    std::map<size_t, std::string> verdicts; // of each who was asked: empty, or why it is not timed
    std::map<size_t, Delivered> counts;
};

Delivered count_once(Work &work, size_t index) {
    if (const auto known = work.counts.find(index); known != work.counts.end()) return known->second;
    const Doer &doer = work.doers[index];
    const Delivered count = doer.count ? doer.count() : doer.run();
    if (doer.release) doer.release();
    return work.counts[index] = count;
}

bool agree(double a, double b, double share) {
    return std::min(a, b) >= share * std::max(a, b);
}

std::string text(const Delivered &count) {
    return std::to_string(count.records) + " records, " + std::to_string(count.points) + " points";
}

// One who reads nothing must not win.
std::string judge(Work &work, size_t index) {
    const Delivered ours = count_once(work, 0);
    if (ours.records <= 0) return "lindra reads nothing";
    const Agreement &wanted = work.doers[index].agreement;
    const Delivered theirs = count_once(work, index);
    if (agree(ours.records, theirs.records, wanted.records) &&
        agree(ours.points, theirs.points, wanted.points))
        return "";
    return "reads " + text(theirs) + "; lindra " + text(ours);
}

const std::string &verdict(Work &work, size_t index) {
    if (const auto known = work.verdicts.find(index); known != work.verdicts.end()) return known->second;
    try {
        return work.verdicts[index] = judge(work, index);
    } catch (const std::exception &reason) {
        return work.verdicts[index] = reason.what();
    }
}

void time_doer(benchmark::State &state, Work &work, size_t index) {
    if (const std::string &reason = verdict(work, index); !reason.empty()) {
        state.SkipWithError(reason.c_str());
        return;
    }
    const Doer &doer = work.doers[index];
    for (auto _ : state) {
        benchmark::DoNotOptimize(doer.run());
        if (!doer.release) continue;
        state.PauseTiming();
        doer.release();
        state.ResumeTiming();
    }
    state.counters["records"] = work.counts[index].records;
    state.counters["points"] = work.counts[index].points;
}

} // namespace

void add_work(const std::string &name, std::vector<Doer> doers) {
    const auto work = std::make_shared<Work>(Work{std::move(doers), {}, {}});
    for (size_t i = 0; i < work->doers.size(); i++)
        benchmark::RegisterBenchmark((name + "/" + work->doers[i].name).c_str(),
                                     [work, i](benchmark::State &state) { time_doer(state, *work, i); })
            ->MeasureProcessCPUTime()
            ->Unit(benchmark::kMillisecond);
}

} // namespace bench

int main(int argc, char **argv) {
    setenv("LINDRA_DATA", bench::data_file("gshhg").c_str(), 1);
    bench::add_works();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
