// What is known of the way in to a server: the scheme of its authentication (RFC 9110, 11).
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/http/headers.hpp"
#include "platform/http/target.hpp"
#include "platform/http/way_in.hpp"

namespace vxhost {

// Credentials go out only after the server asked for them, and from then on with every request, or
// at once where the program knows that Basic is wanted and TLS hides it. Without TLS never for
// Basic to a server that asked for Digest before, in whatever context of the process, since
// somebody on the line could be who asks now. Where the way in says what the server wants (a token,
// a scheme of connections), that is used from the first request on, and nothing else.
class Authentication {
public:
    explicit Authentication(const Settings& settings) : settings_(settings) {}

    // What holds for requests of these credentials to the URL's origin from now on.
    void begin(const std::string& url, std::shared_ptr<const Credentials> credentials);
    // A refusal makes what was known worthless. Gives whether anything was.
    bool forget();
    // The same of an attempt that carried a token: whether there is another one. One that came
    // after the attempt had begun is such. Throws what asking for it throws.
    bool renewToken(std::chrono::steady_clock::time_point begun);
    // After a refusal that asks for Digest in a way that nobody here can answer, and for Basic,
    // too: curl would answer neither. Gives whether Basic is tried.
    bool fallBackToBasic(const Headers& challenges);

    void apply(CURL* easy, const std::string& url) const;
    // From the handle of a request at its end: what challenges before the answer offered.
    void noteChallenges(CURL* easy, bool askedForDigest);
    void learn(CURL* easy);  // the same, after an answer that was none
    bool refusesOfferedBasic(CURL* easy) const;

    bool isKnown() const { return scheme_ != Scheme::unknown; }
    bool isDigest() const { return scheme_ == Scheme::digest; }
    bool isBearer() const { return scheme_ == Scheme::bearer; }
    bool isGiven() const { return isBearer() || isOfConnection(); }  // not learnt from the server
    bool isOfConnection() const { return scheme_ == Scheme::connection; }
    bool usesTicket() const { return isOfConnection() && connectionScheme_ != CURLAUTH_NTLM; }
    bool isByHeader() const { return byHeader_; }  // of the person's own: curl then adds none
    const char* schemeName() const;  // such as "Basic"; empty: it asked for none, or unknown
    // Whether requests have to go out one after another, over one handle: until one has been
    // answered, and under Digest, whose nonces belong to the handle.
    bool isInTurn() const;
    unsigned generation() const { return generation_; }  // how often it was begun or forgotten

private:
    enum class Scheme { unknown, basic, digest, bearer, connection };
    static Scheme offered(CURL* easy);
    bool hasUser() const { return !credentials_->user.empty(); }
    bool refusesBasic() const;
    void begin(const WayIn& wayIn);
    void takeToken(const SecretText* refused);
    void tellInClear(std::string_view what) const;
    void applyGiven(CURL* easy) const;

    const Settings& settings_;
    std::string origin_;
    std::shared_ptr<const Credentials> credentials_;
    Scheme scheme_ = Scheme::unknown;
    bool answered_ = false;
    bool presumed_ = false;  // the scheme: no answer has shown it yet
    unsigned generation_ = 0;
    unsigned long connectionScheme_ = 0;  // of curl
    bool byHeader_ = false;
    std::shared_ptr<const SecretText> token_;
    std::chrono::steady_clock::time_point tokenSince_{};
};

}  // namespace vxhost
