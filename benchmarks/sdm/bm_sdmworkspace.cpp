// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A workspace of a million items laid out like a day of detections over a 100 MHz band:
// loading it, adding to it, and the queries painting and hit testing make, next to the
// same queries as a linear scan over a std::vector of the same rectangles.
//
// Every benchmark runs three times; the summary at the end prints the medians and the
// ratios to the scans.

#include "DayOfDetections.h"

#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceItem.h>

#include <benchmark/benchmark.h>

#include <QList>
#include <QRectF>
#include <QString>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceItem;
using namespace sdmbench;

namespace {

// The day, loaded once for the query benchmarks.
SdmWorkspace& dayWorkspace()
{
    static SdmWorkspace* const workspace = [] {
        auto* loaded = new SdmWorkspace(QStringLiteral("day")); // lives as long as the program
        loaded->setItems(day());
        return loaded;
    }();
    return *workspace;
}

// The same items as plain vectors, for the scans.
struct Scanned
{
    std::vector<QRectF> rects;
    std::vector<SdmWorkspaceItem> items;
};

const Scanned& scanned()
{
    static const Scanned vectors = [] {
        Scanned result;
        result.rects.reserve(dayItemCount);
        result.items.reserve(dayItemCount);
        for (const SdmWorkspaceItem& item : day()) {
            result.rects.push_back(item.rect);
            result.items.push_back(item);
        }
        return result;
    }();
    return vectors;
}

// The scan: the closed-interval test of the index, over every rectangle.
QList<SdmWorkspaceItem> scanIntersecting(const QRectF& query)
{
    const Scanned& vectors = scanned();
    QList<SdmWorkspaceItem> found;
    const double left = query.left();
    const double right = query.right();
    const double top = query.top();
    const double bottom = query.bottom();
    for (std::size_t i = 0; i < vectors.rects.size(); ++i) {
        const QRectF& r = vectors.rects[i];
        if (left <= r.x() + r.width() && r.x() <= right && top <= r.y() + r.height() && r.y() <= bottom)
            found.append(vectors.items[i]);
    }
    return found;
}

double residentBytes()
{
    std::ifstream statm("/proc/self/statm");
    double size = 0;
    double resident = 0;
    statm >> size >> resident;
    return resident * double(sysconf(_SC_PAGESIZE));
}

// The resident memory a loaded workspace of the day adds, per item; measured first,
// before any other workspace has been built and freed.
double residentBytesPerItem()
{
    day();
    const double before = residentBytes();
    auto workspace = std::make_unique<SdmWorkspace>(QStringLiteral("measured"));
    workspace->setItems(day());
    const double after = residentBytes();
    return (after - before) / dayItemCount;
}

void BM_SetItems1M(benchmark::State& state)
{
    const QList<SdmWorkspaceItem>& items = day();
    for (auto _ : state) {
        auto workspace = std::make_unique<SdmWorkspace>(QStringLiteral("day"));
        workspace->setItems(items);
        state.PauseTiming();
        workspace.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * dayItemCount);
}

void BM_AddItems100kInto1M(benchmark::State& state)
{
    const QList<SdmWorkspaceItem>& later = laterDetections();
    for (auto _ : state) {
        state.PauseTiming();
        auto workspace = std::make_unique<SdmWorkspace>(QStringLiteral("day"));
        workspace->setItems(day());
        state.ResumeTiming();
        workspace->addItems(later);
        state.PauseTiming();
        if (workspace->itemCount() != dayItemCount + addedItemCount)
            state.SkipWithError("items missing after addItems");
        workspace.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * addedItemCount);
}

template <typename Query> void runQueries(benchmark::State& state, Query query)
{
    std::size_t i = 0;
    double found = 0;
    for (auto _ : state) {
        const QList<SdmWorkspaceItem> items = query(i);
        found += items.size();
        benchmark::DoNotOptimize(items.isEmpty());
        i = (i + 1) & (queryCount - 1);
    }
    state.counters["items"] = benchmark::Counter(found / double(state.iterations()));
}

void BM_ItemsIntersecting(benchmark::State& state)
{
    SdmWorkspace& workspace = dayWorkspace();
    const std::vector<QRectF> queries = views();
    runQueries(state, [&](std::size_t i) { return workspace.itemsIntersecting(queries[i]); });
}

void BM_ScanIntersecting(benchmark::State& state)
{
    scanned();
    const std::vector<QRectF> queries = views();
    runQueries(state, [&](std::size_t i) { return scanIntersecting(queries[i]); });
}

void BM_ItemsAt(benchmark::State& state)
{
    SdmWorkspace& workspace = dayWorkspace();
    const std::vector<QPointF> queries = points();
    runQueries(state, [&](std::size_t i) { return workspace.itemsAt(queries[i]); });
}

void BM_ScanAt(benchmark::State& state)
{
    scanned();
    const std::vector<QPointF> queries = points();
    runQueries(state, [&](std::size_t i) { return scanIntersecting(QRectF(queries[i], QSizeF(0, 0))); });
}

BENCHMARK(BM_SetItems1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_AddItems100kInto1M)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ItemsIntersecting)->Unit(benchmark::kMicrosecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_ScanIntersecting)->Unit(benchmark::kMicrosecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_ItemsAt)->Unit(benchmark::kMicrosecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_ScanAt)->Unit(benchmark::kMicrosecond)->Repetitions(3)->ReportAggregatesOnly(true);

// Prints as usual and keeps each benchmark's median real and CPU time, in seconds.
class MedianReporter : public benchmark::ConsoleReporter
{
public:
    struct Times
    {
        double real = 0.0;
        double cpu = 0.0;
    };

    void ReportRuns(const std::vector<Run>& reports) override
    {
        for (const Run& run : reports) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
                m_medians[run.run_name.function_name]
                    = {run.GetAdjustedRealTime() / unit, run.GetAdjustedCPUTime() / unit};
            }
        }
        ConsoleReporter::ReportRuns(reports);
    }

    // Zero when the benchmark did not run.
    Times median(const std::string& name) const
    {
        const auto found = m_medians.find(name);
        return found == m_medians.end() ? Times() : found->second;
    }

private:
    std::map<std::string, Times> m_medians;
};

// Both ways must find the same items, or the comparison means nothing.
bool scansAgreeWithTheIndex()
{
    SdmWorkspace& workspace = dayWorkspace();
    for (const QRectF& view : views()) {
        if (workspace.itemsIntersecting(view).size() != scanIntersecting(view).size())
            return false;
    }
    for (const QPointF& point : points()) {
        if (workspace.itemsAt(point).size() != scanIntersecting(QRectF(point, QSizeF(0, 0))).size())
            return false;
    }
    return true;
}

double ratio(double slow, double fast)
{
    return fast > 0 ? slow / fast : 0.0;
}

void printQuery(const char* what, const MedianReporter& reporter, const std::string& index, const std::string& scan,
                const char* targets)
{
    const MedianReporter::Times byIndex = reporter.median(index);
    const MedianReporter::Times byScan = reporter.median(scan);
    std::printf("%-30s %10.2f us (cpu %10.2f us)   scan %9.0f us (cpu %9.0f us)   %7.1fx (cpu %7.1fx)   targets %s\n",
                what, byIndex.real * 1e6, byIndex.cpu * 1e6, byScan.real * 1e6, byScan.cpu * 1e6,
                ratio(byScan.real, byIndex.real), ratio(byScan.cpu, byIndex.cpu), targets);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    const double bytesPerItem = residentBytesPerItem();
    if (!scansAgreeWithTheIndex()) {
        std::fprintf(stderr, "the index and the scan found different items\n");
        return 1;
    }
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const MedianReporter::Times setItems = reporter.median("BM_SetItems1M");
    const MedianReporter::Times addItems = reporter.median("BM_AddItems100kInto1M");
    // CPU time is given beside real time: on a shared machine the wall clock also counts
    // the time other processes held the cores.
    std::printf("\nMedians of 3 runs, %d items over %.0f MHz and %.0f h:\n", dayItemCount, bandWidth / 1e6,
                dayLength / 3600);
    std::printf("%-30s %10.3f s  (cpu %6.3f s)   target <= 1.5 s; resident memory %.0f bytes per item\n",
                "setItems of 1 M", setItems.real, setItems.cpu, bytesPerItem);
    std::printf("%-30s %10.1f ms (cpu %6.1f ms)\n", "addItems of 100 k into 1 M", addItems.real * 1e3,
                addItems.cpu * 1e3);
    printQuery("itemsIntersecting, ~10 k items", reporter, "BM_ItemsIntersecting", "BM_ScanIntersecting",
               "<= 1000 us, >= 50x");
    printQuery("itemsAt", reporter, "BM_ItemsAt", "BM_ScanAt", "<= 5 us, >= 50x");
    return 0;
}
