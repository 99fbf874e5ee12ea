#include "cli/commands/content_output.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "cli/terminal/exit_code.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/remote/content.hpp"

namespace quillon::cli {
namespace {

class OutputTaker : public ContentTaker {
public:
    explicit OutputTaker(Progress& progress) : progress_(progress) {}

    void announce(std::optional<uint64_t> length, const std::string&) override {
        total_ = length.value_or(0);
    }
    void begin() override {}
    void take(std::string_view piece) override {
        failure_ = writeOut(piece);
        if (failure_ == 0) failure_ = flushOut();
        if (failure_ != 0) throw std::runtime_error("the output takes no more");
        written_ += piece.size();
        progress_.update(written_, total_);
    }
    bool takesOnce() const override { return true; }

    int failure() const { return failure_; }       // of the output: errno, or 0
    uint64_t written() const { return written_; }  // bytes

private:
    Progress& progress_;
    uint64_t total_ = 0;  // bytes; 0: not known
    uint64_t written_ = 0;
    int failure_ = 0;
};

}  // namespace

Result<void> outputFailure(int error) {
    if (interrupted()) return interruption();
    if (outputAbandoned()) return {};
    return localError(
        Kind::local, fmt::format("Cannot write to the standard output: {}.", std::strerror(error)));
}

Error noMember() {
    return localError(Kind::usage,
                      "This is a collection, which has no content. Name a member of it.");
}

std::string unprovenEnd(const std::string& url) {
    return fmt::format(
        "{}: the server tells neither its length nor its size, so check that all of it came", url);
}

Result<void> writeContent(Session& session, Servers& servers, const Address& address) {
    if (!address.namesMember()) return noMember();
    session.leftWork().tell(address.url());
    OutputTaker taker(session.progress());
    // On the same terminal it would stand in the midst of the content.
    if (!isTerminal(stdout)) session.progress().start(address.name());
    Result<FetchedContent> fetched =
        servers.with(address, [&](Remote& remote) -> Result<FetchedContent> {
            return remote.run(fetch(remote, address.url(), taker, {}));
        });
    session.progress().finish();
    if (taker.failure() != 0) return outputFailure(taker.failure());
    if (!fetched) {
        Error error = std::move(fetched).error();
        if (taker.written() > 0) {
            error.sentences.push_back(fmt::format(
                "The first {} of it went to the standard output, and whoever reads that may have "
                "taken them for all.",
                shortSize(taker.written())));
        }
        return error;
    }
    if (!fetched->endProven) complain(unprovenEnd(address.url()));
    return {};
}

int writeContents(Session& session, const std::vector<Address>& members) {
    Servers& servers = session.servers();
    int code = exitDone;
    for (const Address& member : members) {
        const Result<void> written = writeContent(session, servers, member);
        const int failed = written ? exitDone : report("fetch", member.url(), written.error());
        if (failed == exitInterrupted) return failed;
        if (code == exitDone) code = failed;
        if (outputAbandoned()) break;
    }
    return code == exitDone && outputAbandoned() ? exitUnread : code;
}

}  // namespace quillon::cli
