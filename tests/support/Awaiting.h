#pragma once

#include <QCoro/QCoroTask>
#include <exception>
#include <optional>
#include <utility>

namespace varnelle::test {

/// Runs Qt's event loop until the task has ended; hands on its result or exception. (`QCoro::waitFor` never
/// returns from a task that throws.)
template <typename Result>
Result await(QCoro::Task<Result> task) {
    std::exception_ptr failure;
    std::optional<Result> result;
    const auto guarded = [&]() -> QCoro::Task<> {
        try {
            result = co_await std::move(task);
        } catch (...) {
            failure = std::current_exception();
        }
    };
    QCoro::waitFor(guarded());
    if (failure) std::rethrow_exception(failure);
    return *std::move(result);
}

inline void await(QCoro::Task<> task) {
    std::exception_ptr failure;
    const auto guarded = [&]() -> QCoro::Task<> {
        try {
            co_await std::move(task);
        } catch (...) {
            failure = std::current_exception();
        }
    };
    QCoro::waitFor(guarded());
    if (failure) std::rethrow_exception(failure);
}

}  // namespace varnelle::test
