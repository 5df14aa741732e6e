#include "tasks/Completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/Queue.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

/// Says when it goes on, and what it goes on with.
template <typename Result>
QCoro::Task<> tell(Completion<Result> completion, std::vector<std::string>& said) {
    said.emplace_back("begins");
    try {
        if constexpr (std::is_void_v<Result>) {
            co_await completion;
            said.emplace_back("goes on");
        } else {
            said.push_back(co_await completion);
        }
    } catch (const std::exception& error) {
        said.emplace_back(error.what());
    }
}

TEST(Completion, WhatIsThereAlreadyWaitsForALaterTurnToo) {
    SerialQueue queue("test.tasks");
    std::vector<std::string> said;
    const auto awaited = [&](auto completion) {
        auto future = completion.future();
        future.waitForFinished();
        QCoro::Task<> telling = tell(completion, said);
        said.emplace_back("is begun");
        await(std::move(telling));
    };
    awaited(resultOn(queue, [] { return std::string("result"); }));
    awaited(completionOf([](const auto& completion) { completion(nullptr); }));
    EXPECT_THAT(said, testing::ElementsAre("begins", "is begun", "result", "begins", "is begun", "goes on"));
}

TEST(Completion, HandsOnWhatComesLateAndWhatFails) {
    SerialQueue queue("test.tasks");
    std::vector<std::string> said;
    std::function<void(std::exception_ptr)> end;
    QCoro::Task<> late = tell(completionOf([&](auto completion) { end = completion; }), said);
    await(tell(resultOn(queue, [] { return std::string("meanwhile"); }), said));
    EXPECT_FALSE(late.isReady());
    queue.async([&] { end(std::make_exception_ptr(std::runtime_error("is lost"))); });
    await(std::move(late));
    await(tell(resultOn(queue, []() -> std::string { throw std::runtime_error("can't be read"); }), said));
    EXPECT_THAT(said,
                testing::ElementsAre("begins", "begins", "meanwhile", "is lost", "begins", "can't be read"));
}

}  // namespace
}  // namespace varnelle
