#pragma once

#include <QGuiApplication>
#include <chrono>
#include <fstream>

namespace varnelle {

/// The application, keeping a record of every event whose handling held up the main thread, to find what
/// makes the program feel slow. What a slow graphics driver or another program's need for the processor takes
/// isn't counted: drawing, and time in which the thread was ready but didn't run.
class StallLoggingApplication final : public QGuiApplication {
public:
    static constexpr std::chrono::milliseconds kLongest{8};

    /// A heading and one line for each event that took longer than `kLongest` are written to the file `path`:
    /// the milliseconds that the thread waited for something (a server, a lock, a disk) and those that it
    /// worked, the receiver's class, the event's number. Empty writes nothing and measures nothing.
    StallLoggingApplication(int& argc, char** argv, const std::string& path);
    ~StallLoggingApplication() override;

    bool notify(QObject* receiver, QEvent* event) override;

private:
    /// What the main thread has spent so far, in milliseconds.
    struct Spent {
        double wall;
        double working;
        double ready;  ///< able to run while the processors were others'
    };
    [[nodiscard]] Spent spent() const;

    std::ofstream file_;
    int schedule_ = -1;  ///< the kernel's account of the main thread
    int depth_ = 0;
};

}  // namespace varnelle
