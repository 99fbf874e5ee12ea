// One of the servers of tests/interoperability.py, which starts it, with its members in a temporary
// folder. Its log is printed at the end when a test of the program failed.
#pragma once

#include <memory>

#include "tests/support/process.hpp"
#include "tests/support/server.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {

class OtherServer : public Server {
public:
    // name: "lighttpd", "nginx", ... without: what lines of its configuration hold that it shall do
    // without; empty: none. Throws with what it printed when it does not start.
    explicit OtherServer(const std::string& name, const std::string& without = {});
    ~OtherServer() override;

    bool isInstalled() const { return port_ != 0; }  // else nobody answers
    const std::filesystem::path& documentRoot() const override { return documentRoot_; }
    bool bearsOtherDates() const override { return bearsOtherDates_; }

private:
    const bool bearsOtherDates_;
    TemporaryDirectory folder_;
    std::filesystem::path home_, documentRoot_;
    std::unique_ptr<RunningProcess> process_;
};

}  // namespace support
