#include "cli/commands/what_is_there.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

enum class There { nothing, file, collection };

using OpenMember = std::function<Result<Member>(const Address&)>;

// Through the collection above; nothing when that cannot tell.
There whatIsAt(const OpenMember& open, const Address& address) {
    Result<Member> member = open(address.asMember());
    if (!member) return There::nothing;
    const Result<Properties> properties = member->info();
    if (!properties || !properties->exists) return There::nothing;
    return properties->isCollection ? There::collection : There::file;
}

OpenMember throughSession(Session& session) {
    return [&session](const Address& address) {
        return session.openMember(address, {.purpose = Purpose::look});
    };
}

Error withSentence(Error error, std::string sentence) {
    error.sentences = {std::move(sentence)};
    return error;
}

std::string isFile(const Address& address) {
    return fmt::format("{} is a file, not a collection.", address.asMember().url());
}

Error explained(const OpenMember& open, const Address& collection, Error error,
                std::string_view advice) {
    if (error.code == Code::cutOff && collection.url().starts_with("http://")) {
        error.sentences.emplace_back(perhapsTlsHelp);
    }
    // Some servers say that a file with a slash behind it is a bad request.
    const bool isMissing = error.code == Code::collectionNotFound;
    if (!isMissing && error.httpStatus != 400) return error;
    if (whatIsAt(open, collection) == There::file) {
        error.kind = Kind::notFound;
        error.httpStatus = 0;  // which advice on TLS would follow
        return withSentence(std::move(error), isFile(collection));
    }
    if (!isMissing) return error;
    return withSentence(std::move(error), fmt::format("The server has no collection {}. {}",
                                                      collection.collection(), advice));
}

constexpr std::string_view checkSpelling = "Check the URL's spelling.";

}  // namespace

Result<void> asNotFound(Result<void> outcome, std::initializer_list<int> statuses) {
    if (outcome || std::ranges::count(statuses, outcome.error().httpStatus) == 0) return outcome;
    Error error = std::move(outcome).error();
    error.code = Code::collectionNotFound;
    error.kind = Kind::notFound;
    error.httpStatus = 0;  // which could have meant another thing
    return error;
}

Error explainNotOpened(Session& session, const Address& collection, Error error) {
    return explained(throughSession(session), collection, std::move(error), checkSpelling);
}

Error explainNotOpened(const Extension& extension, const Login& login, const Address& collection,
                       Error error) {
    const auto open = [&](const Address& address) -> Result<Member> {
        Result<Collection> above = Collection::open(extension, address.parent(), login);
        if (!above) return std::move(above).error();
        return above->member(address.segment());
    };
    return explained(open, collection, std::move(error), checkSpelling);
}

Error explainNoPlace(Session& session, const Address& member, Error error) {
    return explained(throughSession(session), member.parent(), std::move(error),
                     "mkcol -p creates it.");
}

Error explainNotMade(Session& session, const Address& collection, Error error) {
    if (error.kind != Kind::refused) return error;
    const OpenMember open = throughSession(session);
    There there = whatIsAt(open, collection);
    if (there == There::collection) {
        return withSentence(std::move(error), "This collection exists already.");
    }
    Address at = collection;
    while (there == There::nothing && at.parent().url() != at.url()) {
        at = at.parent();
        there = whatIsAt(open, at);
    }
    return there == There::file ? withSentence(std::move(error), isFile(at)) : error;
}

}  // namespace quillon::cli
