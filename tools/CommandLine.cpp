#include "CommandLine.h"

#include <charconv>
#include <cmath>
#include <iostream>

#include "foundation/Error.h"

namespace varnelle {

CommandLine::CommandLine(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            asksForHelp_ = true;
        } else if (argument.starts_with("--")) {
            if (i + 1 >= argc) throw Error("The option “" + argument + "” needs a value.");
            options_[argument.substr(2)] = argv[++i];
        } else {
            positional_.push_back(argument);
        }
    }
}

std::optional<std::string> CommandLine::option(const std::string& name) const {
    const auto found = options_.find(name);
    return found == options_.end() ? std::nullopt : std::optional(found->second);
}

double CommandLine::number(const std::string& text, const std::string& what) {
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || !std::isfinite(value)) {
        throw Error("“" + text + "” is not a number of " + what + ".");
    }
    return value;
}

int runTool(int argc, char** argv, const std::string& help, std::size_t positionalCount,
            const std::function<int(const CommandLine&)>& body) {
    try {
        const CommandLine arguments(argc, argv);
        if (arguments.asksForHelp()) {
            std::cout << help;
            return 0;
        }
        if (arguments.positional().size() != positionalCount) {
            std::cerr << help;
            return 2;
        }
        return body(arguments);
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}

}  // namespace varnelle
