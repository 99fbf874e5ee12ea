#include "platform/http/session.hpp"

#include <fmt/format.h>

#include <mutex>
#include <new>
#include <set>

#include "platform/base/journal.hpp"
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
        if (const auto code = curl_global_init(CURL_GLOBAL_DEFAULT)) refuseOption(code);
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

// The origins that were given a Digest without TLS, of all sessions of the process.
class DigestOrigins {
public:
    void add(const std::string& origin) {
        const std::lock_guard lock(mutex_);
        origins_.insert(origin);
    }
    bool has(const std::string& origin) const {
        const std::lock_guard lock(mutex_);
        return origins_.count(origin) > 0;
    }

private:
    mutable std::mutex mutex_;
    std::set<std::string> origins_;
};

DigestOrigins& digestOrigins() {
    static DigestOrigins origins;
    return origins;
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
    challenges_ = 0;
    return attempt(target, request);
}

Answer Session::attempt(const Target& target, const Request& request) {
    bind(target);
    Answer answer = transfer(target, request);
    if (answer.status == 417 && request.upload && request.expects) {
        Request impatient = request;
        impatient.expects = false;
        request.upload->rewind();
        return attempt(target, impatient);
    }
    // It takes no chunks, and stored nothing (RFC 9110, 15.5.12).
    if (answer.status == 411 && request.upload && !request.upload->length()) {
        request.upload->measure();
        return attempt(target, request);
    }
    // A server may begin anew (another key for its nonces, another scheme): what is known of it is
    // then worthless, and a 401 says that nothing was done yet.
    const bool mayAskAgain = challenges_ < Transfer::mostChallenges;
    if (answer.status == 401 && scheme_ != AuthScheme::UNKNOWN && mayAskAgain) {
        forget();
        bind(target);
        if (request.upload) request.upload->rewind();
        answer = transfer(target, request);
    }
    tellPasswordInClear();
    if (answer.status == 401) {
        const std::string schemes = unknownSchemes(answer.headers);
        if (!schemes.empty() && settings_.unknownSchemes) settings_.unknownSchemes(schemes);
        const bool wantsBasic = !credentials_->user.empty() && offered() == AuthScheme::BASIC;
        if (wantsBasic && refusesBasic()) tellDowngrade(target, request);
        forget();  // or curl would take every later challenge for another refusal
    } else if (scheme_ == AuthScheme::UNKNOWN && !credentials_->user.empty()) {
        scheme_ = offered();
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
    setOption(easy, CURLOPT_HTTPAUTH, authMask(refusesBasic() ? AuthScheme::DIGEST : scheme_));
    setOption(easy, CURLOPT_PROXY, known.proxy.get());
    Transfer transfer(easy, multi_.get(), target, request, challenges_);
    try {
        Answer answer = transfer.run();
        noteDigest(transfer);
        return answer;
    } catch (const Failure&) {
        noteDigest(transfer);
        throw;
    }
}

void Session::tellPasswordInClear() const {
    const bool given = !credentials_->user.empty() && offered() == AuthScheme::BASIC;
    const bool clear = given && origin_.starts_with("http:") && !refusesBasic();
    if (clear && settings_.passwordInClear) settings_.passwordInClear(origin_);
}

void Session::noteDigest(const Transfer& transfer) const {
    const bool given = !credentials_->user.empty() && transfer.askedForDigest();
    if (given) digestOrigins().add(origin_);
}

bool Session::refusesBasic() const {
    return origin_.starts_with("http:") && digestOrigins().has(origin_);
}

void Session::tellDowngrade(const Target& target, const Request& request) const {
    journalSentence(target.journal, vx::JOURNAL_FAILURE,
                    fmt::format("{} {}: this server asked for Digest before, and asks for Basic "
                                "now, which would send the password in clear. Somebody on the line "
                                "may want it; it was not sent.",
                                request.method, request.url));
}

// The scheme that curl answers the latest challenge with; it may have come before the answer.
AuthScheme Session::offered() const {
    long schemes = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_HTTPAUTH_AVAIL, &schemes);
    if (schemes & static_cast<long>(CURLAUTH_DIGEST)) return AuthScheme::DIGEST;
    if (schemes & static_cast<long>(CURLAUTH_BASIC)) return AuthScheme::BASIC;
    return AuthScheme::UNKNOWN;
}

}  // namespace vxhost
