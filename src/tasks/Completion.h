#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QPromise>
#include <coroutine>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "foundation/Queue.h"

namespace varnelle {

/// What goes on on other threads, for a coroutine on the Qt main thread to await. The coroutine always goes
/// on in a later turn of the event loop, even if the result is there already: whoever began the operation
/// ends its own turn first, however fast the other thread was. Awaiting gives the result or throws what it
/// failed with.
template <typename Result>
class Completion {
public:
    Completion() = default;
    explicit Completion(QFuture<Result> future) : future_(std::move(future)) {}

    [[nodiscard]] const QFuture<Result>& future() const { return future_; }

    auto operator co_await() const { return Awaiter{future_}; }

private:
    struct Awaiter {
        QFuture<Result> future;

        [[nodiscard]] bool await_ready() const { return false; }

        void await_suspend(std::coroutine_handle<> coroutine) const {
            // On its own, as it mustn't end inside its signal, with the coroutine.
            auto* watcher = new QFutureWatcher<Result>;
            QObject::connect(watcher, &QFutureWatcherBase::finished, [watcher, coroutine] {
                watcher->deleteLater();
                coroutine.resume();
            });
            watcher->setFuture(future);
        }

        Result await_resume() {
            if constexpr (std::is_void_v<Result>) {
                future.waitForFinished();  // throws
            } else {
                return future.result();
            }
        }
    };

    QFuture<Result> future_;
};

/// The completion of an operation that reports its end by a callback, which may come on any thread. `begin`
/// is called at once with that callback. Awaiting throws what the callback was given.
template <typename Begin>
Completion<void> completionOf(Begin begin) {
    const auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    QFuture<void> future = promise->future();
    begin([promise](std::exception_ptr failure) {
        if (failure) promise->setException(failure);
        promise->finish();
    });
    return Completion<void>(std::move(future));
}

/// Runs a block on a queue; awaiting gives its result or throws its exception. The queue must live until the
/// future has finished. What watches the future copies its `result()`: `takeResult()` makes a future look
/// unfinished, and it would finish again, empty, when the queue lets go of the block.
template <typename Block>
Completion<std::invoke_result_t<Block>> resultOn(Queue& queue, Block block) {
    using Result = std::invoke_result_t<Block>;
    const auto promise = std::make_shared<QPromise<Result>>();
    promise->start();
    QFuture<Result> future = promise->future();
    queue.async([promise, block = std::move(block)]() mutable {
        try {
            promise->addResult(block());
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return Completion<Result>(std::move(future));
}

}  // namespace varnelle
