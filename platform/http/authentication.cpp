#include "platform/http/authentication.hpp"

#include <strings.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

#include "platform/http/curl_options.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

// The origins that were given a Digest, of all contexts of the process.
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

bool isAuthorization(const SecretText& line) {
    constexpr std::string_view name = "Authorization:";
    return strncasecmp(line.get(), name.data(), name.size()) == 0;
}

bool isClear(const std::string& origin) {
    return origin.starts_with("http:");
}

}  // namespace

void Authentication::begin(const std::string& url, std::shared_ptr<const Credentials> credentials) {
    scheme_ = Scheme::unknown;  // so that what was given for another origin goes, too
    token_.reset();
    byHeader_ = false;
    forget();
    origin_ = origin(url);
    credentials_ = std::move(credentials);
    if (const WayIn* wayIn = wayInTo(url, settings_)) begin(*wayIn);
    if (isGiven()) return;
    const bool may = hasUser() && !isClear(origin_) && settings_.knowsBasic;
    presumed_ = may && settings_.knowsBasic(url);
    if (presumed_) scheme_ = Scheme::basic;
}

void Authentication::begin(const WayIn& wayIn) {
    connectionScheme_ = wayIn.connectionScheme;
    if (connectionScheme_ != 0) scheme_ = Scheme::connection;
    if (connectionScheme_ == CURLAUTH_NTLM) tellInClear("what NTLM makes of your password");
    if (!wayIn.headers.empty()) tellInClear("the headers that you add");
    byHeader_ = std::any_of(wayIn.headers.begin(), wayIn.headers.end(), isAuthorization);
    if (!wayIn.token) return;
    takeToken(nullptr);
    if (!token_) return;
    scheme_ = Scheme::bearer;
    tellInClear("your token");
}

void Authentication::tellInClear(std::string_view what) const {
    if (isClear(origin_) && settings_.secretInClear) settings_.secretInClear(origin_, what);
}

void Authentication::takeToken(const SecretText* refused) {
    token_ = settings_.wayIn->token(refused);
    tokenSince_ = std::chrono::steady_clock::now();
    ++generation_;
}

bool Authentication::renewToken(std::chrono::steady_clock::time_point begun) {
    if (tokenSince_ > begun) return true;
    const auto refused = token_;
    takeToken(refused.get());
    if (token_) return true;
    token_ = refused;
    return false;
}

bool Authentication::forget() {
    if (isGiven()) return false;
    ++generation_;
    answered_ = presumed_ = false;
    return std::exchange(scheme_, Scheme::unknown) != Scheme::unknown;
}

// curl answers challenges of connections once there is a user name, be it an empty one: then the
// ticket says who it is.
void Authentication::applyGiven(CURL* easy) const {
    setOption(easy, CURLOPT_PROXY, credentials_->proxy.get());
    if (isBearer()) {
        setOption(easy, CURLOPT_XOAUTH2_BEARER, token_->get());
        setOption(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BEARER));
        return;
    }
    setOption(easy, CURLOPT_USERNAME, hasUser() ? credentials_->user.get() : "");
    setOption(easy, CURLOPT_PASSWORD,
              credentials_->password.empty() ? "" : credentials_->password.get());
    setOption(easy, CURLOPT_HTTPAUTH, static_cast<long>(connectionScheme_));
}

void Authentication::apply(CURL* easy, const std::string& url) const {
    if (isGiven()) return applyGiven(easy);
    setOption(easy, CURLOPT_USERNAME, credentials_->user.get());
    // An empty password is sent as such; without a user name none may be set.
    const char* empty = hasUser() ? "" : nullptr;
    setOption(easy, CURLOPT_PASSWORD,
              credentials_->password.empty() ? empty : credentials_->password.get());
    // With several schemes curl sends none before it knows what the server wants.
    unsigned long schemes = CURLAUTH_BASIC | CURLAUTH_DIGEST;
    // A redirect may lead out of where the scheme is known.
    const bool asksFirst = presumed_ && !settings_.knowsBasic(url);
    if (scheme_ == Scheme::basic && !asksFirst) schemes = CURLAUTH_BASIC;
    if (scheme_ == Scheme::digest || refusesBasic()) schemes = CURLAUTH_DIGEST;
    setOption(easy, CURLOPT_HTTPAUTH, static_cast<long>(schemes));
    setOption(easy, CURLOPT_PROXY, credentials_->proxy.get());
}

// The scheme that curl answers the latest challenge with; it may have come before the answer.
Authentication::Scheme Authentication::offered(CURL* easy) {
    long schemes = 0;
    curl_easy_getinfo(easy, CURLINFO_HTTPAUTH_AVAIL, &schemes);
    if (schemes & static_cast<long>(CURLAUTH_DIGEST)) return Scheme::digest;
    if (schemes & static_cast<long>(CURLAUTH_BASIC)) return Scheme::basic;
    return Scheme::unknown;
}

void Authentication::noteChallenges(CURL* easy, bool askedForDigest) {
    if (!hasUser() || isGiven()) return;
    if (askedForDigest) digestOrigins().add(origin_);
    if (offered(easy) == Scheme::basic && !refusesBasic()) tellInClear("your password");
}

void Authentication::learn(CURL* easy) {
    answered_ = true;
    if (!hasUser() || isKnown()) return;
    scheme_ = offered(easy);
    if (scheme_ == Scheme::basic && settings_.foundBasic) settings_.foundBasic(origin_);
}

bool Authentication::fallBackToBasic(const Headers& challenges) {
    const bool basicAlone = offersScheme(challenges, "Basic") && !offersUsableDigest(challenges);
    const bool passedOver = basicAlone && offersScheme(challenges, "Digest");
    if (!hasUser() || isGiven() || !passedOver || refusesBasic()) return false;
    forget();
    scheme_ = Scheme::basic;
    if (settings_.foundBasic) settings_.foundBasic(origin_);
    tellInClear("your password");
    return true;
}

bool Authentication::refusesBasic() const {
    return isClear(origin_) && digestOrigins().has(origin_);
}

bool Authentication::refusesOfferedBasic(CURL* easy) const {
    return hasUser() && !isGiven() && offered(easy) == Scheme::basic && refusesBasic();
}

const char* Authentication::schemeName() const {
    if (isOfConnection()) return usesTicket() ? "Negotiate" : "NTLM";
    constexpr const char* names[] = {"", "Basic", "Digest", "Bearer"};
    return names[static_cast<size_t>(scheme_)];
}

bool Authentication::isInTurn() const {
    return hasUser() && (isDigest() || (!isKnown() && !answered_));
}

}  // namespace vxhost
