#include "cli/session/sites.hpp"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "cli/config/site_file.hpp"
#include "cli/parser/nearest.hpp"
#include "cli/terminal/report.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

struct Parts {
    std::string_view name;
    std::string_view path;
};

std::optional<Parts> split(std::string_view typed) {
    const size_t colon = typed.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const Parts parts{typed.substr(0, colon), typed.substr(colon + 1)};
    const bool isUrl = parts.path.starts_with("//");
    return isUrl || !siteNameValid(parts.name) ? std::nullopt : std::optional(parts);
}

// The rest of what was typed stays out of the message: it may be part of credentials.
Error unknown(std::string_view name) {
    const Result<std::vector<std::string>> known = siteNames();
    if (!known) return known.error();
    Error error{Kind::usage,
                Code::success,
                0,
                {fmt::format("There is no site \"{}\". {}", name,
                             known->empty() ? "None is stored yet: see quillon login --help."
                                            : fmt::format("Known: {}.", fmt::join(*known, ", "))),
                 "A URL begins with https:// or http://."}};
    if (std::string hint = formerFileHint(); !hint.empty())
        error.sentences.push_back(std::move(hint));
    return error;
}

// A key of the person's own is none of ours; one that is nearly ours would be missed.
void tellSlips(std::string_view name) {
    std::vector<std::string> ours;
    for (const SiteKey& key : siteKeys()) ours.emplace_back(key.name);
    for (const std::string& key : unknownKeysOf(name)) {
        const std::string meant = nearestWord(key, ours);
        if (meant.empty()) continue;
        complain(fmt::format("{}: {} is no key of a site and sets nothing; {} is one",
                             siteFile(name).string(), key, meant));
    }
}

// A path from the folder of the site's file; empty stays so.
std::string besideSite(const Site& site, const std::string& path) {
    return path.empty() ? path : (siteFile(site.name).parent_path() / path).string();
}

// Header lines of the site that the command line does not replace.
void addHeaders(std::vector<std::string>& given, const std::vector<std::string>& more) {
    const auto nameOf = [](const std::string& line) { return line.substr(0, line.find(':')); };
    const size_t own = given.size();
    for (const std::string& line : more) {
        const bool replaced = std::any_of(
            given.begin(), given.begin() + static_cast<long>(own), [&](const std::string& each) {
                return strcasecmp(nameOf(each).c_str(), nameOf(line).c_str()) == 0;
            });
        if (!replaced) given.push_back(line);
    }
}

// What the command line says of one way in replaces the site's: a token or a scheme, a certificate.
void takeAccess(AccessOptions& access, const Site& site, const std::string& origin) {
    access.origin = origin;
    const bool said = access.hasToken() || !access.auth.empty();
    if (!said && site.auth != "basic") access.auth = site.auth;
    if (!said) access.tokenFile = besideSite(site, site.tokenFile);
    if (!said) access.tokenCommand = site.tokenCommand;
    if (access.cert.empty()) {
        access.cert = besideSite(site, site.cert);
        if (access.key.empty()) access.key = besideSite(site, site.key);
        const bool isPasswords = site.keyPasswordCommand.empty() && site.user.empty();
        access.keyPasswordCommand = isPasswords ? site.passwordCommand : site.keyPasswordCommand;
    }
    addHeaders(access.headers, site.headers);
    access.headersCommand = site.headersCommand;
    if (access.pin.empty()) access.pin = site.pin;
    if (access.unixSocket.empty()) access.unixSocket = besideSite(site, site.unixSocket);
}

AccessOptions accessOf(const Site& site) {
    AccessOptions access;
    takeAccess(access, site, {});
    return access;
}

bool opensAlike(const Site& a, const Site& b) {
    return a.name == b.name || accessOf(a) == accessOf(b);
}

// Another user of the line than the site's would go unheard where the site says by other means who
// it is. A password of the line may be that of the next site.
Result<void> checkTellerOf(const Site& site, CommonOptions given) {
    const AccessOptions access = withDefaultsOf(site, given).access;
    given.passwordFile.clear();
    const bool isUsers = given.user == site.user || !(access.hasToken() || access.usesTicket());
    if (isUsers) return {};
    return checkSoleTeller(given, fmt::format("the {} of the site {}",
                                              access.hasToken() ? "token" : "ticket", site.name));
}

// A colon that was forgotten behind a site's name is told.
Result<Address> parseUrlOrTellColon(std::string_view typed) {
    Result<Address> address = Address::parse(typed);
    if (address) return address;
    const std::string_view name = typed.substr(0, typed.find('/'));
    std::error_code none;
    if (!siteNameValid(name) || !std::filesystem::exists(siteFile(name), none)) return address;
    Error error = std::move(address).error();
    error.sentences.push_back(
        fmt::format("There is a site of that name: its URLs begin with {}:", name));
    return error;
}

// To which of them a request belongs could not be told by its URL.
Error oneServerTwice(const Site& a, const Site& b) {
    return localError(Kind::usage,
                      fmt::format("The sites {} and {} are one server, for one user name, and each "
                                  "opens it in its own way: use one at a time.",
                                  a.name, b.name));
}

}  // namespace

bool Sites::knows(std::string_view typed) {
    const auto parts = split(typed);
    std::error_code none;
    return parts && std::filesystem::exists(siteFile(parts->name), none);
}

// The user of the line is for the first URL; another one may name somebody else on its server.
Result<Address> Sites::parseUrl(std::string_view typed) const {
    Result<Address> address = parseUrlOrTellColon(typed);
    if (!address) return address;
    CommonOptions given = givenFor(address->origin());
    if (firstOrigin_) given.user.clear();
    const Result<void> checked = checkCommonOptions(given, address->user());
    return checked ? address : checked.error();
}

Result<Address> Sites::resolve(std::string_view typed) {
    Result<Address> address = resolveNamed(typed);
    if (!firstOrigin_) firstOrigin_ = address ? address->origin() : "";
    return address;
}

Result<Address> Sites::resolveNamed(std::string_view typed) {
    auto parts = split(typed);
    if (!parts) return parseUrl(typed);
    Result<Site> site = find(parts->name);
    if (!site) return std::move(site).error();
    Result<Address> root = Address::parse(site->url);
    if (!root) return root;
    if (site->user.empty()) site->user = root->user();
    while (parts->path.starts_with('/')) parts->path.remove_prefix(1);
    Result<Address> address =
        Address::parse(root->asCollection().collection() + std::string(parts->path));
    if (!address) return address;
    const CommonOptions given = givenFor(address->origin());
    if (Result<void> checked = checkTellerOf(*site, given); !checked) return checked.error();
    if (given.user.empty()) address = address->withUser(site->user);
    const Site* other = of(*address);
    if (other != nullptr && !opensAlike(*other, *site)) return oneServerTwice(*other, *site);
    used_.insert_or_assign(identityOf(*address), std::move(*site));
    return address;
}

Result<Site> Sites::find(std::string_view name) {
    if (const auto found = loaded_.find(name); found != loaded_.end()) return found->second;
    Result<std::optional<Site>> site = loadSite(name);
    if (!site) return std::move(site).error();
    if (!*site) return unknown(name);
    tellSlips(name);
    return loaded_.emplace(name, std::move(**site)).first->second;
}

void Sites::reload() {
    loaded_.clear();
    const std::map<std::string, Site> before = std::exchange(used_, {});
    for (const auto& [identity, site] : before) (void)resolveNamed(site.name + ":");
    used_.insert(before.begin(), before.end());
}

const Site* Sites::of(const Address& address) const {
    const auto found = used_.find(identityOf(address));
    return found == used_.end() ? nullptr : &found->second;
}

std::string Sites::shortName(const Address& address) const {
    const std::string url = address.url();
    if (const Site* site = of(address)) {
        const Result<Address> root = Address::parse(site->url);
        const std::string start = root ? root->asCollection().url() : std::string();
        if (root && url.starts_with(start)) {
            return site->name + ":" + vxhost::decodeSegment(url.substr(start.size()));
        }
    }
    const size_t path = url.find('/', url.find("://") + 3);
    return address.host() + vxhost::decodeSegment(url.substr(path));
}

CommonOptions Sites::optionsFor(const Address& address) const {
    CommonOptions options = givenFor(address.origin());
    const Site* site = of(address);
    return site == nullptr ? options : withDefaultsOf(*site, options);
}

bool Sites::lineIsForAnother(const std::string& origin) const {
    return firstOrigin_ && origin != *firstOrigin_;
}

CommonOptions Sites::givenFor(const std::string& origin) const {
    CommonOptions options = options_;
    if (lineIsForAnother(origin)) {
        options.user.clear();
        options.passwordFile.clear();
        options.access = {};
    }
    options.access.origin = origin;
    return options;
}

std::string identityOf(const Address& address) {
    return address.origin() + "\n" + address.user();
}

CommonOptions withDefaultsOf(const Site& site, CommonOptions options) {
    if (options.user.empty()) options.user = site.user;
    if (options.proxy.empty()) options.proxy = site.proxy;
    if (options.proxyAuth.empty()) options.proxyAuth = site.proxyAuth;
    if (options.proxyCaFile.empty()) options.proxyCaFile = besideSite(site, site.proxyCaFile);
    if (options.noProxy.empty()) options.noProxy = site.noProxy;
    options.insecureBasic = site.insecureBasic;
    const Result<Address> address = Address::parse(site.url);
    if (address && site.auth == "basic") options.basicUrl = address->collection();
    if (options.timeoutSeconds == 0) options.timeoutSeconds = site.timeoutSeconds;
    if (options.caFile.empty()) options.caFile = besideSite(site, site.caFile);
    if (options.user == site.user) options.passwordCommand = site.passwordCommand;
    if (address) takeAccess(options.access, site, address->origin());
    return options;
}

}  // namespace quillon::cli
