#include "platform/weblnk/expecting.hpp"

#include <utility>

#include "platform/http/engine.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

thread_local Expecting* current = nullptr;
thread_local bool lookingTwice = false;

// As the extension asks for properties, to the byte: another text would be another request.
constexpr std::string_view allProperties =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<D:propfind xmlns:D=\"DAV:\"><D:allprop/></D:propfind>";

Request requestFor(const ExpectedCall& expected) {
    std::string url = requestUrl(expected.url);
    switch (expected.call) {
        case SafeCall::head:
            return headRequest(std::move(url));
        case SafeCall::options:
            return optionsRequest(std::move(url));
        case SafeCall::kind:
            return propertyRequest(std::move(url), "resourcetype");
        case SafeCall::properties:
            return propertiesRequest(std::move(url), 0, std::string(allProperties));
        case SafeCall::locks:
            return propertyRequest(std::move(url), "lockdiscovery");
        case SafeCall::listing:
            return propertiesRequest(std::move(url), 1, std::string(allProperties));
        case SafeCall::get:
            return contentRequest(std::move(url));
    }
    __builtin_unreachable();
}

void announce(const Target& target, std::vector<ExpectedCall>& calls) {
    if (calls.empty()) return;
    std::vector<Request> requests;
    for (const ExpectedCall& expected : std::exchange(calls, {})) {
        requests.push_back(requestFor(expected));
    }
    target.engine->expect(std::move(requests));
}

}  // namespace

Expecting::Expecting(std::vector<ExpectedCall> callsNow, std::vector<ExpectedCall> callsAfterLock)
    : now(std::move(callsNow)), afterLock(std::move(callsAfterLock)), outer_(current) {
    current = this;
}

Expecting::~Expecting() {
    current = outer_;
}

LookingTwice::LookingTwice() {
    lookingTwice = true;
}

LookingTwice::~LookingTwice() {
    lookingTwice = false;
}

bool LookingTwice::isOn() {
    return lookingTwice;
}

void announceExpected(const Target& target) {
    if (current) announce(target, current->now);
}

void announceExpectedAfterLock(const Target& target) {
    if (current) announce(target, current->afterLock);
}

}  // namespace vxhost
