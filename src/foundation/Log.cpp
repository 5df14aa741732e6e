#include "foundation/Log.h"

#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <array>
#include <memory>
#include <mutex>

namespace varnelle {
namespace {

struct Channel {
    explicit Channel(const char* name)
        : sinks(std::make_shared<spdlog::sinks::dist_sink_mt>()), logger(name, sinks) {
        sinks->add_sink(std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
        logger.set_pattern("%H:%M:%S.%e [%n] %l: %v");
    }

    std::shared_ptr<spdlog::sinks::dist_sink_mt> sinks;
    spdlog::logger logger;
};

Channel& channel(LogCategory category) {
    static std::array<Channel, 3> channels{Channel("app"), Channel("recording"), Channel("capture")};
    return channels.at(static_cast<std::size_t>(category));
}

class CallbackSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    explicit CallbackSink(std::function<void(const std::string&)> onMessage)
        : onMessage_(std::move(onMessage)) {}

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        onMessage_(std::string(message.payload.data(), message.payload.size()));
    }
    void flush_() override {}

    std::function<void(const std::string&)> onMessage_;
};

}  // namespace

spdlog::logger& logger(LogCategory category) {
    return channel(category).logger;
}

LogObserver::LogObserver(LogCategory category, std::function<void(const std::string&)> onMessage)
    : category_(category), sink_(std::make_shared<CallbackSink>(std::move(onMessage))) {
    channel(category_).sinks->add_sink(sink_);
}

LogObserver::~LogObserver() {
    channel(category_).sinks->remove_sink(sink_);
}

}  // namespace varnelle
