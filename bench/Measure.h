#pragma once

#include <functional>
#include <string>
#include <vector>

namespace varnelle::bench {

/// One line of the table: what we take, what the other takes (same unit), and how they may relate.
struct Row {
    std::string name;
    double ours = 0;
    double theirs = 0;
    std::string unit;
    double targetRatio = 0;
};

void print(const Row& row);

/// Milliseconds of each block, run by turns so that whatever else the machine does hits both alike: the
/// medians.
struct Medians {
    double ours = 0;
    double theirs = 0;
};
Medians measureByTurns(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs);

/// The rows that one source of the benchmark measures, by name.
struct NamedRow {
    std::string name;
    std::function<Row()> measure;
};
std::vector<NamedRow> frameRows();
std::vector<NamedRow> telemetryRows();

}  // namespace varnelle::bench
