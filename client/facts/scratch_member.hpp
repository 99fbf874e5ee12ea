// The scratch member: what is asked of it, and how it goes. What is asked ends by itself after an
// interrupt, so that the member can be removed behind it.
#pragma once

#include <string>

#include "client/facts/probe_body.hpp"
#include "client/remote/conditions.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

class ScratchMember {
public:
    // Of this process, in the collection, whose URL ends in a slash. Nothing is asked yet.
    ScratchMember(Remote& remote, const std::string& collectionUrl);

    const std::string& url() const { return url_; }

    // The body must live until the answer has come.
    vxhost::Request put(ProbeBody& body, const Conditions& conditions) const;
    // Its body goes out once the server has asked for it, by when it has seen the conditions.
    vxhost::Request putHeld(ProbeBody& body, const Conditions& conditions) const;
    vxhost::Request get() const;
    vxhost::Request remove(const Conditions& conditions) const;

    // One that may have stayed is told to the log. lockToken: of a lock that is held there; empty:
    // none.
    Task<> removeAtTheEnd(std::string lockToken) const;

private:
    Remote& remote_;
    const std::string url_;
};

// What a process of this machine that was killed has left in the collection. Whether it can be
// removed decides nothing.
Task<> removeLeftScratches(Remote& remote, std::string collectionUrl);

}  // namespace quillon
