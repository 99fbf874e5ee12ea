// A private Apache with mod_dav.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/web_dav_server.hpp"

namespace support {

enum class Authentication { none, basic, digest };

struct Account {
    std::string user = "demo";
    std::string password = "open sesame: 100%";
};

struct ApacheOptions {
    Authentication authentication = Authentication::none;
    Account account{};
    bool tls = false;                      // with certificates() of certificates.hpp
    bool withoutLocks = false;             // DAV class 1: no LOCK in Allow, 405 for it
    std::filesystem::path documentRoot{};  // empty: one of its own
};

struct LoggedRequest {
    std::string method;
    std::string target;  // as sent
    int status;
    int nthOfConnection;  // 0: the first request over its connection
};

class Apache : public WebDavServer {
public:
    explicit Apache(ApacheOptions options = {});

    const Account& account() const { return options_.account; }

    // All requests that were answered so far, in the order in which their answers ended; waits
    // until no request is in work.
    std::vector<LoggedRequest> accessLog() const;
    std::string transcript() const;  // of it: lines "METHOD target status"
    int connections() const;         // that carried at least one request
    void clearAccessLog() const;

private:
    ApacheOptions options_;
};

}  // namespace support
