#include <fmt/format.h>

#include <exception>
#include <string>

#include "Measure.h"

/// Runs the rows whose names contain any of the arguments, or all of them.
int main(int argc, char** argv) {
    using namespace varnelle::bench;
    bool hasFailed = false;
    for (const auto& rows : {frameRows(), telemetryRows(), editingRows(), savingRows(), exportRows(),
                             recordingRows(), startRows(), timelineRows(), playbackRows()}) {
        for (const NamedRow& row : rows) {
            bool isWanted = argc < 2;
            for (int i = 1; i < argc; ++i) isWanted = isWanted || row.name.find(argv[i]) != std::string::npos;
            if (!isWanted) continue;
            try {
                print(row.measure());
            } catch (const std::exception& error) {
                hasFailed = true;
                fmt::print(stderr, "{}: {}\n", row.name, error.what());
            }
        }
    }
    return hasFailed ? 1 : 0;
}
