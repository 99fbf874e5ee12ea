// What the calls that follow will ask of a server. Told before, they go out together with the first
// of them; each call still gets its answer when it is made, so that who makes them sees no
// difference but in time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/http/target.hpp"

namespace vxhost {

enum class SafeCall : uint8_t {
    head,
    options,
    kind,  // whether there is a collection, or anything, where HEAD tells nothing
    properties,
    locks,
    listing,
    get
};

struct ExpectedCall {
    SafeCall call;
    std::string url;  // of a client, as spelt
};

// For the next requests of this thread, as long as it lives. A check against changes of somebody
// else's is worth what its order is worth: nothing that such a check asks may be expected before
// the lock, or the request, that it comes after.
class Expecting {
public:
    // afterLock: those that follow the LOCK that is going to be granted.
    explicit Expecting(std::vector<ExpectedCall> now, std::vector<ExpectedCall> afterLock = {});
    ~Expecting();
    Expecting(const Expecting&) = delete;
    Expecting& operator=(const Expecting&) = delete;

    std::vector<ExpectedCall> now, afterLock;

private:
    Expecting* const outer_;
};

// While it lives, HEAD may be answered from memory on this thread though the client has seen the
// member's properties: the caller does not compare what it saw with what HEAD says.
class LookingTwice {
public:
    LookingTwice();
    ~LookingTwice();
    LookingTwice(const LookingTwice&) = delete;
    LookingTwice& operator=(const LookingTwice&) = delete;
    static bool isOn();
};

// Tells the target's engine what is expected on this thread, once.
void announceExpected(const Target& target);
void announceExpectedAfterLock(const Target& target);

}  // namespace vxhost
