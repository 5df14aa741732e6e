#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace varnelle {

/// The arguments of a tool: positional ones, and options of the form `--name value`.
class CommandLine {
public:
    /// Throws `Error` for an option without value.
    CommandLine(int argc, char** argv);

    [[nodiscard]] bool asksForHelp() const { return asksForHelp_; }
    [[nodiscard]] const std::vector<std::string>& positional() const { return positional_; }
    [[nodiscard]] std::optional<std::string> option(const std::string& name) const;
    /// Throws `Error` unless `text` is a finite number; `what` names it.
    [[nodiscard]] static double number(const std::string& text, const std::string& what);

private:
    bool asksForHelp_ = false;
    std::vector<std::string> positional_;
    std::map<std::string, std::string> options_;
};

/// Runs a tool: prints `help` if it is asked for or if the number of positional arguments isn't
/// `positionalCount`, and the sentence of an error that `body` throws. Returns the exit status.
int runTool(int argc, char** argv, const std::string& help, std::size_t positionalCount,
            const std::function<int(const CommandLine&)>& body);

}  // namespace varnelle
