// What is known of the way in to a server: the scheme of its authentication (RFC 9110, 11).
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

#include "platform/http/headers.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

// Credentials go out only after the server asked for them, and from then on with every request, or
// at once where the program knows that Basic is wanted and TLS hides it. Without TLS never for
// Basic to a server that asked for Digest before, in whatever context of the process, since
// somebody on the line could be who asks now.
class Authentication {
public:
    explicit Authentication(const Settings& settings) : settings_(settings) {}

    // What holds for requests of these credentials to the URL's origin from now on.
    void begin(const std::string& url, std::shared_ptr<const Credentials> credentials);
    // A refusal makes what was known worthless. Gives whether anything was.
    bool forget();
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
    const char* schemeName() const;  // "Basic" or "Digest"; empty: it asked for none, or unknown
    // Whether requests have to go out one after another, over one handle: until one has been
    // answered, and under Digest, whose nonces belong to the handle.
    bool isInTurn() const;
    unsigned generation() const { return generation_; }  // how often it was begun or forgotten

private:
    enum class Scheme { unknown, basic, digest };
    static Scheme offered(CURL* easy);
    bool hasUser() const { return !credentials_->user.empty(); }
    bool refusesBasic() const;

    const Settings& settings_;
    std::string origin_;
    std::shared_ptr<const Credentials> credentials_;
    Scheme scheme_ = Scheme::unknown;
    bool answered_ = false;
    bool presumed_ = false;  // the scheme: no answer has shown it yet
    unsigned generation_ = 0;
};

}  // namespace vxhost
