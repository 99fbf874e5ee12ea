// Lists a collection and fetches one of its members:
//
//     fetch https://dav.example.org/reports/q3.csv [USER] <password-file
#include <client/collection.hpp>
#include <filesystem>
#include <iostream>
#include <string>

#include "console.hpp"

namespace {

void print(const quillon::Listing& listing) {
    for (const quillon::Entry entry : listing) {
        std::cout << entry.name() << (entry.isCollection() ? "/" : "");
        if (const auto size = entry.size()) std::cout << '\t' << *size;
        std::cout << '\n';
    }
}

// Each step gives a value or an Error. The collection, its connection and its cache directory are
// gone when the last object that was made from it is.
int run(const std::string& url, const std::string& user) {
    const auto address = quillon::Address::parse(url);
    if (!address) return complain(address.error());
    const auto extension = quillon::Extension::load({});
    if (!extension) return complain(extension.error());
    auto collection = quillon::Collection::open(*extension, *address, readLogin(user));
    if (!collection) return complain(collection.error());

    const auto listing = collection->list();
    if (!listing) return complain(listing.error());
    print(*listing);
    if (!address->namesMember()) return 0;

    auto member = collection->member(address->segment());
    if (!member) return complain(member.error());
    // Nobody's name leads out of this directory.
    const auto destination = std::filesystem::path(address->name()).filename();
    const auto fetched = member->fetchTo(destination);
    if (!fetched) return complain(fetched.error());
    std::cout << "fetched " << destination.string() << '\n';
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return runWithOperands(argc, argv, "URL [USER]", run);
}
