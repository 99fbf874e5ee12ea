// A private Apache with mod_dav.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/web_dav_server.hpp"

namespace support {

enum class Authentication { none, basic, digest };

struct ApacheOptions {
    Authentication authentication = Authentication::none;
    Account account{};
    bool tls = false;                      // with certificates() of certificates.hpp
    bool withoutLocks = false;             // DAV class 1: no LOCK in Allow, 405 for it
    uint64_t limitRequestBody = 0;         // bytes; 0: no limit
    std::filesystem::path documentRoot{};  // empty: one of its own
    std::string extra{};                   // more configuration, of the server as a whole
};

struct LoggedRequest {
    std::string method;
    std::string target;  // as sent
    int status;
    int nthOfConnection;  // 0: the first request over its connection
    uint64_t received;    // bytes, with the header
    uint64_t sent;
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
    Command command(uint16_t port);
    std::string configuration(uint16_t port) const;
    std::string authenticationLines() const;
    void writeUsers() const;
    bool idle() const;

    ApacheOptions options_;
    uint16_t statusPort_ = 0;  // a second port that only tells what is in work
};

}  // namespace support
