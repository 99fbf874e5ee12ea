// The resource that a client serves; the client and the locks it took share it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/journal.h"
#include "host/logger.h"
#include "platform/base/settings.hpp"
#include "platform/http/secret_text.hpp"

namespace vxhost {

class Engine;
struct HeldLock;

struct Credentials {
    SecretText user;  // empty: anonymous
    SecretText password;
    SecretText proxy;  // a URL that may carry credentials of its own
    bool operator==(const Credentials&) const = default;
};

// On whose behalf a request goes out.
struct Sender {
    const Settings& settings;
    std::shared_ptr<const Credentials> credentials;
    vx::Journal* journal;  // may be null
    vx::Logger* logger;    // may be null
};

struct Target : Sender {
    std::shared_ptr<Engine> engine;
    std::string spelt;  // the client's URL, UTF-8
    std::string url;    // the same as a request carries it, without credentials; empty: no URL
    std::vector<HeldLock*> locks{};
    // Of a lock under which a PUT was answered 412, until the next LOCK, or empty: its holder takes
    // it for lost and asks for another one.
    std::string forsakenToken{};
};

// The client's URL as a request carries it: encoded, without credentials; empty for what is no
// http or https URL.
std::string requestUrl(const std::string& spelt);

std::string withoutCredentials(const std::string& url);  // of an absolute URL

}  // namespace vxhost
