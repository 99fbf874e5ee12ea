// The sites that are named in a run. The file of each is read when it is named first; who types
// URLs alone does without, and a file that is wrong is told of when its own site is named.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "cli/config/site.hpp"
#include "cli/parser/options.hpp"
#include "client/address.hpp"

namespace quillon::cli {

class Sites {
public:
    explicit Sites(const CommonOptions& options) : options_(options) {}

    // Whether the text begins with the name of a site that is there and a colon.
    static bool knows(std::string_view typed);

    // A URL; or a path from a site's collection, spelt as in a URL. Fails with Kind::usage for a
    // site that is not there.
    Result<Address> resolve(std::string_view typed);

    Result<Site> find(std::string_view name);  // fails like resolve
    // After a change of a file, with those that are in use; what is not for the same server and
    // user any more stays as it was for that one.
    void reload();

    // The site through which the address was named; null: none.
    const Site* of(const Address& address) const;
    // The options for the address: the command line's, and the site's where that has none. What the
    // line says of who it is and how to get in is for the server of its first URL; for nobody where
    // that is none.
    CommonOptions optionsFor(const Address& address) const;
    // Whether that is for another server than the one at the origin.
    bool lineIsForAnother(const std::string& origin) const;

    // As a person would say where it is: "work:reports/", or the host and the path. Decoded.
    std::string shortName(const Address& address) const;

private:
    Result<Address> resolveNamed(std::string_view typed);
    Result<Address> parseUrl(std::string_view typed) const;
    CommonOptions givenFor(const std::string& origin) const;

    const CommonOptions& options_;
    std::optional<std::string> firstOrigin_;           // empty: what was named first is no URL
    std::map<std::string, Site, std::less<>> loaded_;  // by name
    std::map<std::string, Site> used_;                 // by identityOf
};

// Who a person is to which server: the origin and the user that the address names.
std::string identityOf(const Address& address);

// The options, and what the site says where they say nothing.
CommonOptions withDefaultsOf(const Site& site, CommonOptions options);

}  // namespace quillon::cli
