#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace varnelle::bench {

/// One line of the table: what we take, what the other takes (same unit), and how they may relate.
struct Row {
    std::string name;
    double ours = 0;
    double theirs = 0;
    std::string unit;
    std::optional<double> targetRatio = std::nullopt;  ///< absent for a row that only explains another
    std::string note = {};                             ///< further figures, for the end of the line
};

void print(const Row& row);

/// The middle value, or the mean of the two in the middle. `values` must not be empty.
double median(std::vector<double> values);

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
std::vector<NamedRow> editingRows();
std::vector<NamedRow> exportRows();
std::vector<NamedRow> savingRows();
std::vector<NamedRow> recordingRows();
std::vector<NamedRow> startRows();
std::vector<NamedRow> timelineRows();
std::vector<NamedRow> playbackRows();

}  // namespace varnelle::bench
