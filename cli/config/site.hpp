// Sites: servers with a name, and the keys by which their files describe them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quillon::cli {

using Texts = std::vector<std::string>;  // of a command: the program and its arguments

struct Site {
    std::string name{};
    std::string url{};  // of a collection
    // Empty, 0 or false: not set.
    std::string user{};
    std::string password{};  // encoded
    std::string proxy{};
    std::string caFile{};
    int timeoutSeconds = 0;
    int jobs = 0;
    bool insecureBasic = false;  // no warning of passwords that go over http
    // "basic": over TLS the password goes with the first request; "negotiate", "ntlm": connections
    // log in.
    std::string auth{};
    std::string cert{};  // files, from the folder of the site's
    std::string key{};
    Texts keyPasswordCommand{};
    Texts passwordCommand{};
    std::string tokenFile{};
    Texts tokenCommand{};
    Texts headers{};  // lines "Name: value"
    Texts headersCommand{};
    std::string pin{};  // of the server's public key, "sha256//BASE64"
    std::string unixSocket{};
    std::string proxyAuth{};
    std::string proxyCaFile{};
    std::string noProxy{};

    bool operator==(const Site&) const = default;
};

// Reading, writing and listing follow from the table of keys alone. A key of another type needs an
// alternative here, and how it is read in site_text.cpp.
struct SiteKey {
    std::string_view name;
    std::string_view meaning;  // in the manual
    std::variant<std::string Site::*, int Site::*, bool Site::*, Texts Site::*> field;
    // Listings tell whether it is set, and no more; a file with it is the person's alone.
    bool isSecret = false;
    // What is wrong with a value that is set, behind the key's name; empty: nothing. Null: any will
    // do.
    std::string (*problem)(const Site& site) = nullptr;
};

std::span<const SiteKey> siteKeys();
bool isSet(const Site& site, const SiteKey& key);
// In a secret key, or in the proxy's URL.
bool holdsSecret(const Site& site);

// Two characters or more of A-Z, a-z, 0-9, "-", "_" and ".", the first no ".", none of the URL
// schemes: what stands before the colon of "work:reports/", and names a file.
bool siteNameValid(std::string_view name);
std::string siteNameIn(std::string typed);  // behind which the colon may stand, as in URLs
inline constexpr std::string_view siteNameRule =
    "A site's name is two letters, digits, \"-\", \"_\" or \".\" or more, the first no \".\".";

}  // namespace quillon::cli
