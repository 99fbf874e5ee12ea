// A private Apache with mod_dav on a free port of 127.0.0.1, with configuration, logs and members
// in a temporary folder. Its log is printed at the end when a test of the program failed.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/certificate.hpp"
#include "tests/support/process.hpp"
#include "tests/support/server.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {

enum class Authentication { none, basic, digest, negotiate };

struct Account {
    std::string user = "demo";
    std::string password = "open sesame: 100%";
};

struct ApacheOptions {
    Authentication authentication = Authentication::none;
    Account account{};
    std::filesystem::path keytab{};           // to negotiate with, as HTTP/localhost
    bool tls = false;                         // with certificate() of certificate.hpp
    bool http2 = false;                       // over TLS, beside HTTP/1.1
    Certificate identity{};                   // the server's; empty: certificate()
    std::filesystem::path clientAuthority{};  // over TLS, clients show a certificate of its
    bool isProxy = false;                     // for whoever is let in, with CONNECT
    bool withoutLocks = false;                // DAV class 1: no LOCK in Allow, 405 for it
    bool tagsOfSizes = false;                 // the same for versions of as many bytes
    std::filesystem::path documentRoot{};     // empty: one of its own
};

class Apache : public Server {
public:
    explicit Apache(ApacheOptions options = {});  // throws with the log when it does not start
    ~Apache() override;

    const Account& account() const { return options_.account; }
    std::string url(std::string_view path = {}) const override;  // as of localUrl()

    const std::filesystem::path& documentRoot() const override { return options_.documentRoot; }
    void addMember(std::string_view path, std::string_view content) const;
    void addCollection(std::string_view path) const override;

    void waitUntilIdle() const override;

    // Of the requests that were answered, in the order in which their answers ended.
    std::string transcript() const;  // lines "METHOD path status"
    int connections() const;         // that carried at least one of them
    void clearTranscript() const;

private:
    void start();
    std::vector<std::string> commandLine() const;
    std::string log() const;

    ApacheOptions options_;
    TemporaryDirectory home_;
    uint16_t statusPort_ = 0;
    std::unique_ptr<RunningProcess> process_;
};

}  // namespace support
