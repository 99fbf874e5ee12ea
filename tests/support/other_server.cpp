#include "tests/support/other_server.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "tests/support/files.hpp"

namespace support {
namespace {

constexpr int portsToTry = 5;
constexpr int exitNotInstalled = 77;

}  // namespace

// rclone takes a file whose date is not the one that it knows for one that is being written.
OtherServer::OtherServer(const std::string& name, const std::string& without)
    : bearsOtherDates_(name != "rclone") {
    const std::string script = SOURCE_DIR "/tests/interoperability.py";
    for (int attempt = 1;; ++attempt) {
        home_ = folder_ / std::to_string(attempt);
        documentRoot_ = home_ / "members";
        process_ = std::make_unique<RunningProcess>(
            Command{{script, "--serve", home_, "--without", without, BINARY_DIR, name}});
        if (process_->expect("/\n")) {
            const std::string& url = process_->output();
            port_ = static_cast<uint16_t>(std::atoi(url.c_str() + url.rfind(':') + 1));
            return;
        }
        const auto outcome = process_->wait();
        if (outcome && outcome->exitCode == exitNotInstalled) break;
        if (attempt == portsToTry)
            throw std::runtime_error(name + " does not start: " + process_->errors());
    }
    std::filesystem::create_directories(documentRoot_);
}

OtherServer::~OtherServer() {
    process_->signal(SIGTERM);
    process_->wait(std::chrono::seconds(3));
    if (testing::UnitTest::GetInstance()->Failed() && isInstalled())
        std::fprintf(stderr, "---- log of the server ----\n%s----\n",
                     readFile(home_ / "log").c_str());
}

}  // namespace support
