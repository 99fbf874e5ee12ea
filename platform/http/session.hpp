// The connections to one server: the clients of an http context take turns with one curl handle, so
// that they share connections, names, TLS sessions and the state of authentication.
#pragma once

#include <curl/curl.h>

#include <memory>

#include "platform/http/request.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

struct EasyCleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiCleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

enum class AuthScheme { UNKNOWN, BASIC, DIGEST };

class Transfer;

// One thread at a time.
class Session {
public:
    explicit Session(const Settings& settings);
    ~Session();

    // Sends one request and takes its answer, once: no redirect is followed, nothing is repeated
    // but for authentication, a few times, and a refused Expect or chunks. Credentials go out only
    // after the server asked for them, and from then on with every request; without TLS never for
    // Basic to a server that asked for Digest before, in whatever session of the process, since
    // somebody on the line could be who asks now. Throws a Failure whose text is a sentence.
    Answer send(const Target& target, const Request& request);

private:
    void bind(const Target& target);
    void forget();  // connections and what is known of the server
    Answer attempt(const Target& target, const Request& request);
    Answer transfer(const Target& target, const Request& request);
    AuthScheme offered() const;
    void noteDigest(const Transfer& transfer) const;
    bool refusesBasic() const;
    void tellDowngrade(const Target& target, const Request& request) const;
    void tellPasswordInClear() const;

    const Settings& settings_;
    std::unique_ptr<CURLM, MultiCleanup> multi_;  // keeps the connections, so it goes last
    std::unique_ptr<CURL, EasyCleanup> easy_;
    AuthScheme scheme_ = AuthScheme::UNKNOWN;
    int challenges_ = 0;  // of the request that is under way
    std::string origin_;
    std::shared_ptr<const Credentials> credentials_;
};

}  // namespace vxhost
