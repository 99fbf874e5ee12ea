#include "platform/base/logger.hpp"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <limits>
#include <map>
#include <memory>
#include <mutex>

#include "platform/base/render.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"

namespace vxhost {
namespace {

constexpr uint32_t nothingWanted = std::numeric_limits<uint32_t>::max();

// What Render made for this thread; valid until its next Render. What a program keeps in statics is
// released after the thread's own objects are gone, and is logged no more.
thread_local bool ended = false;
struct Rendered {
    ~Rendered() { ended = true; }
    std::string text;
};
thread_local Rendered rendered;
thread_local FailureRecords* failureRecords = nullptr;

struct ChannelLogger : vx::Logger {
    ChannelLogger(std::string channelName, uint32_t wantedFrom);
    void setThreshold(uint32_t wantedFrom) noexcept {
        // Extensions read the field at any time, without a lock.
        std::atomic_ref(threshold).store(wantedFrom, std::memory_order_relaxed);
    }
    const std::string channel;
};

struct Channels : vx::LoggerFactory {
    Channels();
    vx::Logger* find(std::u32string_view channel);
    void configure(const LogSettings& settings);
    void deliver(uint32_t level, const ChannelLogger& logger, const std::string& text);

private:
    // Failures are always asked for: they are few, and FailureRecords may want them.
    uint32_t wantedFrom() const { return std::min(threshold_, vx::LOG_FAILURE); }

    std::mutex mutex_;
    std::map<std::u32string, std::unique_ptr<ChannelLogger>, std::less<>> loggers_;
    uint32_t threshold_ = nothingWanted;

    std::mutex sinkMutex_;
    std::function<void(uint32_t, std::string_view, std::string_view)> sink_;
};

Channels& channels() {
    static Channels all;
    return all;
}

vx::RenderedMessage* renderedMessage(std::string text) {
    if (ended) return nullptr;
    rendered.text = std::move(text);
    return reinterpret_cast<vx::RenderedMessage*>(&rendered.text);
}

vx::LoggerTable makeTable() {
    vx::LoggerTable table;
    fillSlots(table);
    table.RenderNumbered = [](vx::Logger*, int64_t number,
                              va_list) noexcept -> vx::RenderedMessage* {
        vx::RenderedMessage* message = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            message = renderedMessage("message number " + std::to_string(number));
            return vx::VX_SUCCESS;
        });
        return message;
    };
    table.IsEnabled = [](vx::Logger* self, uint32_t level) noexcept {
        return std::atomic_ref(self->threshold).load(std::memory_order_relaxed) <= level;
    };
    table.Render = [](vx::Logger*, vx::Word, const char32_t* text, uint64_t length,
                      va_list arguments) noexcept -> vx::RenderedMessage* {
        vx::RenderedMessage* message = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            message = renderedMessage(renderTemplate({text, length}, arguments));
            return vx::VX_SUCCESS;
        });
        return message;
    };
    table.Log = [](vx::Logger* self, uint32_t level, vx::Word, vx::Word, vx::Word, const char*,
                   const char*, uint64_t, vx::RenderedMessage* message, vx::Word) noexcept {
        guarded(vx::VX_NO_MEMORY, [&] {
            channels().deliver(level, static_cast<ChannelLogger&>(*self),
                               *reinterpret_cast<std::string*>(message));
            return vx::VX_SUCCESS;
        });
    };
    return table;
}

ChannelLogger::ChannelLogger(std::string channelName, uint32_t wantedFrom)
    : channel(std::move(channelName)) {
    static const vx::LoggerTable operations = makeTable();
    fillSlots<vx::Logger>(*this);
    table = &operations;
    threshold = wantedFrom;
    inheritedThreshold = 0;
}

Channels::Channels() {
    fillSlots<vx::LoggerFactory>(*this);
    GetLogger = [](vx::LoggerFactory* self, const char32_t* channel,
                   uint64_t length) noexcept -> vx::Logger* {
        vx::Logger* logger = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            logger = static_cast<Channels*>(self)->find({channel, length});
            return vx::VX_SUCCESS;
        });
        return logger;
    };
}

vx::Logger* Channels::find(std::u32string_view channel) {
    const std::lock_guard lock(mutex_);
    auto found = loggers_.find(channel);
    if (found == loggers_.end()) {
        auto logger = std::make_unique<ChannelLogger>(toUtf8(channel), wantedFrom());
        found = loggers_.emplace(channel, std::move(logger)).first;
    }
    return found->second.get();
}

void Channels::configure(const LogSettings& settings) {
    const std::scoped_lock lock(mutex_, sinkMutex_);
    threshold_ = settings.threshold != 0 && settings.sink ? settings.threshold : nothingWanted;
    sink_ = settings.sink;
    for (const auto& entry : loggers_) entry.second->setThreshold(wantedFrom());
}

void Channels::deliver(uint32_t level, const ChannelLogger& logger, const std::string& text) {
    if (failureRecords != nullptr && level >= vx::LOG_FAILURE) failureRecords->add(text);
    {
        const std::lock_guard lock(mutex_);
        if (level < threshold_) return;
    }
    const std::lock_guard lock(sinkMutex_);
    if (sink_) sink_(level, logger.channel, text);
}

vx::RenderedMessage* render(vx::Logger* logger, std::u32string_view text, ...) {
    va_list arguments;
    va_start(arguments, text);
    auto* message = logger->table->Render(logger, 0, text.data(), text.size(), arguments);
    va_end(arguments);
    return message;
}

}  // namespace

vx::LoggerFactory& loggerFactory() {
    return channels();
}

vx::Logger* findLogger(std::u32string_view channel) {
    return channels().find(channel);
}

bool logWanted(vx::Logger* logger, uint32_t level) noexcept {
    if (logger == nullptr) return false;
    for (uint32_t* threshold : {&logger->threshold, &logger->inheritedThreshold}) {
        const auto set = std::atomic_ref(*threshold).load(std::memory_order_relaxed);
        if (set != 0) return set <= level;
    }
    return logger->table->IsEnabled(logger, level);
}

void logLine(vx::Logger* logger, uint32_t level, std::string_view text) noexcept {
    if (!logWanted(logger, level)) return;
    guarded(vx::VX_NO_MEMORY, [&] {
        if (auto* message = render(logger, U"%s", shownUtf32(text).c_str())) {
            logger->table->Log(logger, level, 0, 0, 0, "0", "platform", 0, message, 0);
        }
        return vx::VX_SUCCESS;
    });
}

void configureLogging(const LogSettings& settings) {
    channels().configure(settings);
}

FailureRecords::FailureRecords() {
    failureRecords = this;
}

FailureRecords::~FailureRecords() {
    failureRecords = nullptr;
}

void FailureRecords::add(std::string_view text) {
    if (!text_.empty()) text_ += "; ";
    text_ += text;
}

}  // namespace vxhost
