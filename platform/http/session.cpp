#include "platform/http/session.hpp"

#include <mutex>
#include <new>

#include "platform/base/status.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/transfer.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

void startCurl() {
    static std::once_flag once;  // curl_global_init is not safe on every platform
    std::call_once(once, [] {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::bad_alloc();
    });
}

long authMask(AuthScheme scheme) {
    switch (scheme) {
        case AuthScheme::BASIC:
            return static_cast<long>(CURLAUTH_BASIC);
        case AuthScheme::DIGEST:
            return static_cast<long>(CURLAUTH_DIGEST);
        default:  // several: curl sends none before it knows what the server wants
            return static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST);
    }
}

}  // namespace

Session::Session(const Settings& settings) : settings_(settings) {
    startCurl();
    multi_.reset(curl_multi_init());
    if (!multi_) throw std::bad_alloc();
    curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, 4L);
    curl_multi_setopt(multi_.get(), CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
}

Session::~Session() = default;

void Session::forget() {
    easy_.reset();  // the digest state of a handle cannot be dropped otherwise
    scheme_ = AuthScheme::UNKNOWN;
}

void Session::bind(const Target& target) {
    const std::string wanted = origin(target.url);
    const bool same = easy_ && wanted == origin_ &&
                      (credentials_ == target.credentials || *credentials_ == *target.credentials);
    if (same) return;
    forget();
    easy_.reset(curl_easy_init());
    if (!easy_) throw std::bad_alloc();
    setConnectionOptions(easy_.get(), settings_);
    origin_ = wanted;
    credentials_ = target.credentials;
}

Answer Session::send(const Target& target, const Request& request) {
    bind(target);
    Answer answer = transfer(target, request);
    if (answer.status == 417 && request.upload && request.expects) {
        Request impatient = request;
        impatient.expects = false;
        request.upload->rewind();
        return send(target, impatient);
    }
    // It takes no chunks, and stored nothing (RFC 9110, 15.5.12).
    if (answer.status == 411 && request.upload && !request.upload->length()) {
        request.upload->measure();
        return send(target, request);
    }
    // A server may begin anew (another key for its nonces, another scheme): what is known of it is
    // then worthless, and a 401 says that nothing was done yet.
    if (answer.status == 401 && scheme_ != AuthScheme::UNKNOWN) {
        forget();
        bind(target);
        if (request.upload) request.upload->rewind();
        answer = transfer(target, request);
    }
    tellPasswordInClear();
    // After a refusal curl would take every later challenge for another one.
    if (answer.status == 401) {
        forget();
    } else {
        learnScheme();
    }
    return answer;
}

Answer Session::transfer(const Target& target, const Request& request) {
    CURL* easy = easy_.get();
    const Credentials& known = *target.credentials;
    setOption(easy, CURLOPT_USERNAME, known.user.get());
    // An empty password is sent as such; without a user name none may be set.
    const char* empty = known.user.empty() ? nullptr : "";
    setOption(easy, CURLOPT_PASSWORD, known.password.empty() ? empty : known.password.get());
    setOption(easy, CURLOPT_HTTPAUTH, authMask(scheme_));
    setOption(easy, CURLOPT_PROXY, known.proxy.get());
    return Transfer(easy, multi_.get(), target, request).run();
}

// By a 401 that came before the answer.
long Session::offeredSchemes() const {
    long offered = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_HTTPAUTH_AVAIL, &offered);
    return offered;
}

// Of Basic and Digest curl has chosen the better one.
void Session::tellPasswordInClear() const {
    const long offered = offeredSchemes();
    const bool basic = (offered & static_cast<long>(CURLAUTH_BASIC)) != 0 &&
                       (offered & static_cast<long>(CURLAUTH_DIGEST)) == 0;
    const bool clear = basic && !credentials_->user.empty() && origin_.starts_with("http://");
    if (clear && settings_.passwordInClear) settings_.passwordInClear(origin_);
}

void Session::learnScheme() {
    if (scheme_ != AuthScheme::UNKNOWN || credentials_->user.empty()) return;
    const long offered = offeredSchemes();
    if (offered & static_cast<long>(CURLAUTH_DIGEST)) {
        scheme_ = AuthScheme::DIGEST;
    } else if (offered & static_cast<long>(CURLAUTH_BASIC)) {
        scheme_ = AuthScheme::BASIC;
    }
}

}  // namespace vxhost
