// Keeps a folder and a collection the same. The first time their URL pairs them:
//
//     keep FOLDER [https://USER@dav.example.org/plans/] <password-file
#include <filesystem>
#include <optional>
#include <string>
#include <sync/working_copy.hpp>
#include <utility>

#include "console.hpp"

namespace {

using quillon::sync::Act;
using quillon::sync::WorkingCopy;

const char* wordOf(const quillon::sync::SyncEvent& event) {
    if (event.isFailed) return "failed";
    switch (event.act) {
        case Act::fetch:
            return "fetched";
        case Act::store:
            return "stored";
        case Act::moveHere:
        case Act::moveThere:
            return "moved";
        case Act::makeHere:
        case Act::makeThere:
            return "made";
        case Act::removeHere:
        case Act::removeThere:
            return "removed";
        case Act::conflict:
            return "in conflict";
        default:
            return "left alone";
    }
}

void tell(const quillon::sync::SyncEvent& event) {
    if (event.act == Act::adopt || event.act == Act::forget) return;  // both sides agree
    std::cout << wordOf(event) << '\t' << event.path << (event.isFolder ? "/" : "") << '\n';
    if (event.error) complain(*event.error);
}

quillon::Result<WorkingCopy> findOrPair(const std::filesystem::path& folder,
                                        const std::string& url) {
    auto known = WorkingCopy::find(folder);
    if (!known) return std::move(known).error();
    if (*known) return std::move(**known);
    const auto address = quillon::Address::parse(url);
    if (!address) return address.error();
    return WorkingCopy::make(folder, *address);
}

int run(const std::string& folder, const std::string& url) {
    auto copy = findOrPair(folder, url);
    if (!copy) return complain(copy.error());
    const auto collection = copy->collection();
    if (!collection) return complain(collection.error());
    const auto extension = quillon::Extension::load({});
    if (!extension) return complain(extension.error());
    quillon::sync::SyncOptions options;
    options.tell = tell;
    options.remark = [](const std::string& sentence) { std::cerr << sentence << '\n'; };
    const auto end = copy->synchronise(*extension, readLogin(collection->user()), options);
    if (!end) return complain(end.error());
    return end->conflicts == 0 && end->failures == 0 && !end->leftRemovals ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    return runWithOperands(argc, argv, "FOLDER [URL]", run);
}
