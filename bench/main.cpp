#include <fmt/format.h>

#include <string>

#include "Measure.h"

/// Runs the rows whose names contain any of the arguments, or all of them.
int main(int argc, char** argv) {
    using namespace varnelle::bench;
    for (const auto& rows : {frameRows(), telemetryRows()}) {
        for (const NamedRow& row : rows) {
            bool isWanted = argc < 2;
            for (int i = 1; i < argc; ++i) isWanted = isWanted || row.name.find(argv[i]) != std::string::npos;
            if (isWanted) print(row.measure());
        }
    }
    return 0;
}
