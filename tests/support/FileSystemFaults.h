#pragma once

#include <functional>
#include <string>

namespace varnelle::test {

/// What goes wrong in the file system. A program that links FileSystemFaults.cpp makes all its calls of the
/// system through functions there, which obey the plan of their thread. Such a program never waits for the
/// disk: flushing does nothing.
struct FaultPlan {
    enum class Effect { failOnce, failFromThenOn, killProcess };
    /// Which calls count: all, those that change what is on the disk, or those of them that take space.
    enum class Calls { all, changing, takingSpace };

    int at = 0;  ///< which of the calls meets the fault, counted from 1; 0 for none
    Effect effect = Effect::failOnce;
    Calls calls = Calls::all;
    int errorNumber = 0;
    bool canExchange = true;            ///< else renameat2 refuses flags, as some file systems do
    std::function<void()> before = {};  ///< runs, without faults, before each call
};

/// Carries out a plan on this thread for as long as it lives.
class FileSystemFaults {
public:
    explicit FileSystemFaults(FaultPlan plan);
    ~FileSystemFaults();
    FileSystemFaults(const FileSystemFaults&) = delete;
    FileSystemFaults& operator=(const FileSystemFaults&) = delete;

    /// Calls of the counted kind so far.
    [[nodiscard]] int callCount() const { return callCount_; }
    [[nodiscard]] bool hasStruck() const { return !struck_.empty(); }
    /// The first call that met the fault.
    [[nodiscard]] const std::string& struckCall() const { return struck_; }

    /// For the functions: whether a call is to fail, with errno set.
    bool refuses(const char* call, FaultPlan::Calls kind);
    [[nodiscard]] bool canExchange() const { return plan_.canExchange; }

private:
    FaultPlan plan_;
    int callCount_ = 0;
    std::string struck_;
};

}  // namespace varnelle::test
