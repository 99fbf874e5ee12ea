// The login flow v2 of Nextcloud: the person signs in with a browser, whatever that takes there,
// and the program gets a password of its own, which can be taken back alone.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "client/collection.hpp"
#include "client/remote/remote.hpp"

namespace quillon::cli {

struct LoginFlow {
    std::string page;  // for the browser; a plain URL of the server's origin, like the next
    std::string endpoint;
    Secret token;  // by which this login is asked for, there
};

// The server's own URL, without a final slash: what stands before its scripts.
std::string baseOfScripts(std::string_view url);

// Fails for a server that has no such flow, and for one that names another origin.
Result<LoginFlow> beginLoginFlow(Remote& remote, const std::string& base);

// Asks until the person has signed in. Fails with Kind::notAuthorized when that takes longer.
Result<Login> awaitLogin(Remote& remote, const LoginFlow& flow, std::chrono::seconds most);

// Where the collection of who signed in may be: the URL, where it names a script, else the
// likeliest first.
std::vector<std::string> collectionsOf(const std::string& url, const std::string& user);

}  // namespace quillon::cli
