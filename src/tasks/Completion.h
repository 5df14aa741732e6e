#pragma once

#include <QCoro/QCoroFuture>
#include <QFuture>
#include <QPromise>
#include <exception>
#include <functional>
#include <memory>
#include <type_traits>

#include "foundation/Queue.h"

namespace varnelle {

/// The future of an operation that reports its end by a callback, which may come on any thread. `begin` is
/// called at once with that callback. Awaiting the future on the Qt main thread throws what the callback was
/// given.
template <typename Begin>
QFuture<void> futureOf(Begin begin) {
    const auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    QFuture<void> future = promise->future();
    begin([promise](std::exception_ptr failure) {
        if (failure) promise->setException(failure);
        promise->finish();
    });
    return future;
}

/// Runs a block on a queue; awaiting the future gives its result or throws its exception. The queue must live
/// until the future has finished. What watches the future copies its `result()`: `takeResult()` makes a
/// future look unfinished, and it would finish again, empty, when the queue lets go of the block.
template <typename Block>
QFuture<std::invoke_result_t<Block>> resultOn(Queue& queue, Block block) {
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
    return future;
}

}  // namespace varnelle
