#include "Measure.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace varnelle::bench {
namespace {

double milliseconds(const std::function<void()>& block) {
    const auto start = std::chrono::steady_clock::now();
    block();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

void print(const Row& row) {
    const double ratio = row.ours / row.theirs;
    std::string verdict = "no target of its own";
    if (row.targetRatio) {
        verdict = fmt::format("target {:>5.2f}  {}", *row.targetRatio,
                              ratio <= *row.targetRatio ? "reached" : "MISSED");
    }
    fmt::print("{:<36} {:>10.3f} {:>10.3f} {:<9} ratio {:>6.3f}  {}{}{}\n", row.name, row.ours, row.theirs,
               row.unit, ratio, verdict, row.note.empty() ? "" : "  ", row.note);
    std::fflush(stdout);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Medians measureByTurns(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs) {
    ours();
    theirs();
    std::vector<double> a;
    std::vector<double> b;
    for (int i = 0; i < rounds; ++i) {
        a.push_back(milliseconds(ours));
        b.push_back(milliseconds(theirs));
    }
    return {median(a), median(b)};
}

}  // namespace varnelle::bench
