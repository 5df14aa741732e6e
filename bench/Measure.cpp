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

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

}  // namespace

void print(const Row& row) {
    const double ratio = row.ours / row.theirs;
    fmt::print("{:<34} {:>10.3f} {:>10.3f} {:<10} ratio {:>6.3f}  target {:>5.2f}  {}\n", row.name, row.ours,
               row.theirs, row.unit, ratio, row.targetRatio, ratio <= row.targetRatio ? "reached" : "MISSED");
    std::fflush(stdout);
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
