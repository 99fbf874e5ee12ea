#include "client/remote/remote.hpp"

#include <utility>

#include "client/outcome.hpp"
#include "client/remote/content.hpp"
#include "client/state.hpp"
#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/http/engine.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using vxhost::Request;

constexpr unsigned mostConnections = 16;

std::shared_ptr<const vxhost::Credentials> credentialsOf(const Login& login) {
    auto credentials = std::make_shared<vxhost::Credentials>();
    credentials->user = vxhost::SecretText(login.user);
    credentials->password = vxhost::SecretText(login.password.view());
    credentials->proxy = vxhost::SecretText(login.proxy);
    return credentials;
}

}  // namespace

Error requestError(const std::exception& thrown) {
    const auto* failed = dynamic_cast<const vxhost::Failure*>(&thrown);
    if (!failed || failed->status() == vxhost::WEBLNK_INTERRUPTED) return thrownError(thrown);
    Error error = localError(Kind::local, thrown.what());
    error.code = static_cast<Code>(failed->status());
    error.kind = kindOf(error.code, 0);
    const bool isOfServer = error.kind != Kind::local && error.kind != Kind::usage;
    if (isOfServer) error.sentences.push_back(vxhost::statusText(failed->status()));
    return error;
}

Error refusal(const Answer& answer) {
    Error error = localError(Kind::refused, explainAnswer(answer.status, answer.unknownSchemes));
    error.code = Code::requestFailed;
    error.httpStatus = answer.status;
    error.kind = kindOf(error.code, answer.status);
    if (answer.status == 401 && answer.unknownSchemes) error.code = Code::otherSchemes;
    return error;
}

Remote::Remote(const Extension& extension, const Address& address, const Login& login)
    : extension_(extension.state()),
      origin_(address.origin()),
      sender_{extension_->host.settings(), credentialsOf(login), nullptr,
              vxhost::findLogger(U"App.WebDAV")},
      engine_(std::make_unique<vxhost::Engine>(sender_.settings)),
      loop_([this] { return engine_->advance([this] { return loop_.hasReady(); }); }),
      width_(sender_.settings.mostSpeed > 0),
      window_(loop_, width_.width()) {
    engine_->setMostConnections(mostConnections);
}

Remote::~Remote() = default;

Result<std::unique_ptr<Remote>> Remote::open(const Extension& extension, const Address& address,
                                             const Login& login) {
    return caught([&]() -> Result<std::unique_ptr<Remote>> {
        return std::unique_ptr<Remote>(new Remote(extension, address, login));
    });
}

std::string Remote::authenticationScheme() const {
    return engine_->authenticationScheme();
}

// Awaits one request.
struct Remote::Sending {
    vxhost::Engine& engine;
    const vxhost::Sender& sender;
    Request request;
    Answer answer{};
    std::exception_ptr failure{};

    bool await_ready() const { return false; }
    void await_suspend(std::coroutine_handle<> task) {
        engine.submit(sender, std::move(request),
                      [this, task](Answer came, std::exception_ptr failed) {
                          answer = std::move(came);
                          failure = std::move(failed);
                          task.resume();
                      });
    }
    Answer await_resume() {
        if (failure) std::rethrow_exception(failure);
        return std::move(answer);
    }
};

void Remote::noteEnd(std::chrono::steady_clock::duration took, bool isLarge) {
    const unsigned busy = engine_->timesBusy();
    if (std::exchange(timesBusy_, busy) != busy) width_.noteBusy();
    // How long a large content takes tells nothing of the others.
    if (!isLarge) width_.noteEnd(took, engine_->isMultiplexed().value_or(false));
    window_.setWidth(width_.width());
}

Task<Result<Answer>> Remote::send(Request request) {
    const Gate::Pass within = co_await window_.enter();
    const auto since = std::chrono::steady_clock::now();
    bool isLarge = request.isLarge;
    try {
        Sending sending{*engine_, sender_, std::move(request)};
        Answer answer = co_await sending;
        isLarge = isLarge || vxhost::parseFraming(answer.headers).length.value_or(0) > largeContent;
        noteEnd(std::chrono::steady_clock::now() - since, isLarge);
        co_return std::move(answer);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& thrown) {
        co_return requestError(thrown);
    }
}

}  // namespace quillon
