#pragma once

#include <QCoro/QCoroFuture>
#include <QFuture>
#include <QPromise>
#include <exception>
#include <functional>
#include <memory>

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

}  // namespace varnelle
