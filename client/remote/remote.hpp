// A server by its bare requests, many at a time: what the table of operations has no verb for, or
// does for one member at a time. One thread has it; its tasks share it.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "client/collection.hpp"
#include "client/remote/loop.hpp"
#include "client/remote/window.hpp"
#include "client/result.hpp"
#include "platform/http/request.hpp"
#include "platform/http/target.hpp"

namespace vxhost {
class Engine;
}

namespace quillon {

// Why a request has no answer that could be used: of an exception, or of an answer's status.
Error requestError(const std::exception& thrown);
Error refusal(const vxhost::Answer& answer);

class Remote {
public:
    // Nothing is asked yet. The address: of any resource of the server.
    static Result<std::unique_ptr<Remote>> open(const Extension& extension, const Address& address,
                                                const Login& login);
    ~Remote();
    Remote(const Remote&) = delete;
    Remote& operator=(const Remote&) = delete;

    Loop& loop() { return loop_; }
    template <class T>
    T run(Task<T> task) {
        return loop_.run(std::move(task));
    }

    // To be awaited for its answer, whatever the status. What the request refers to lives until
    // then. Requests wait for each other beyond what the server and the line can take.
    Task<Result<vxhost::Answer>> send(vxhost::Request request);

    const std::string& origin() const { return origin_; }
    // By which the server asked who this is, as "Basic"; empty: it asked for nothing so far.
    std::string authenticationScheme() const;
    const vxhost::Settings& settings() const { return sender_.settings; }
    bool isInterrupted() const {
        const auto* flag = settings().interrupted;
        return flag && flag->load(std::memory_order_relaxed);
    }

private:
    Remote(const Extension& extension, const Address& address, const Login& login);
    struct Sending;
    void noteEnd(std::chrono::steady_clock::duration took, bool isLarge);

    std::shared_ptr<Extension::State> extension_;  // has the settings
    std::string origin_;
    vxhost::Sender sender_;
    std::unique_ptr<vxhost::Engine> engine_;
    Loop loop_;
    Window width_;
    Gate window_;
    unsigned timesBusy_ = 0;  // that the engine had told by then
};

}  // namespace quillon
