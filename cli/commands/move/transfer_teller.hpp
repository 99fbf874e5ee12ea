// What cp and mv tell while they work, and the exit code that comes of it.
#pragma once

#include <string>
#include <string_view>

#include "cli/commands/move/telling.hpp"
#include "cli/commands/move/transfer_one.hpp"
#include "cli/session/session.hpp"
#include "cli/terminal/events.hpp"
#include "cli/terminal/exit_code.hpp"

namespace quillon::cli {

class TransferTeller {
public:
    TransferTeller(Session& session, Deed deed, const Telling& telling)
        : deed_(deed),
          events_(telling.manner(session.options().verbosity > 0), session.progress()) {}

    std::string_view attempt() const { return deed_ == Deed::copy ? "copy" : "move"; }
    std::string_view done() const { return deed_ == Deed::copy ? "copied" : "moved"; }

    void tell(const Event& event) { events_.tell(event); }
    void fail(const std::string& url, const Error& error);
    void fail(const Address& address, const Error& error) { fail(address.url(), error); }
    // Of what was reported already: the first code stays, or this one is the last.
    void noteFailure(int code);
    void endWith(int code) { code_ = code; }
    void sumUp() { events_.sumUp(); }

    int code() const { return code_; }  // that of the first failure, or an interrupt's
    bool isInterrupted() const { return code_ == exitInterrupted; }

private:
    const Deed deed_;
    Events events_;
    int code_ = exitDone;
};

}  // namespace quillon::cli
