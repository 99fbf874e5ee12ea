#include "cli/commands/look/diagnosis.hpp"

#include <fmt/format.h>

#include <cstdlib>
#include <string_view>

#include "cli/terminal/format.hpp"

namespace quillon::cli {
namespace {

using Phrases = std::vector<std::string_view>;

std::string listed(const Phrases& words, std::string_view none) {
    return words.empty() ? std::string(none) : fmt::format("{}", fmt::join(words, ", "));
}

std::string locks(const ServerFacts& facts) {
    if (!facts.classTwo) return "none";
    if (!facts.probed) return "it says that it has them";
    return facts.locks ? "keep others out" : "it says that it has them, but nobody is kept out";
}

std::string tags(const ServerFacts& facts) {
    if (!facts.probed) return facts.tagsInProperties ? "told of members" : "not known";
    Phrases words;
    if (facts.weakTags) words.push_back("weak, at least at first");
    if (facts.tagsInProperties) words.push_back("in listings");
    if (facts.putTellsTag) words.push_back("in the answer to a PUT");
    if (facts.tagsRepeat) words.push_back("the same of versions of one second");
    return listed(words, "not told in listings, nor by PUT");
}

std::string obeyedConditions(const ServerFacts& facts) {
    Phrases words;
    if (facts.putIfMatch) words.push_back("If-Match");
    if (facts.putTagInIf) words.push_back("a tag in If");
    if (facts.putIfNoneMatch) words.push_back("If-None-Match");
    return listed(words, "none is obeyed");
}

std::string lastingConditions(const ServerFacts& facts) {
    Phrases words;
    if (facts.ifMatchHolds) words.push_back("If-Match");
    if (facts.tagInIfHolds) words.push_back("a tag in If");
    return listed(words, "none is looked at again");
}

std::string removingConditions(const ServerFacts& facts) {
    Phrases words;
    if (facts.deleteIfMatch) words.push_back("If-Match");
    if (facts.deleteTagInIf) words.push_back("a tag in If");
    return listed(words, "none is obeyed");
}

std::string quota(const CollectionState& state) {
    if (!state.available) return "none is told";
    const std::string used =
        state.used ? fmt::format(", {} used", shortSize(state.used)) : std::string();
    return fmt::format("{} free{}", shortSize(state.available), used);
}

std::string clock(const ServerFacts& facts) {
    if (facts.skewSeconds == 0) return "as this machine's";
    return fmt::format("{} s {} this machine's", std::abs(facts.skewSeconds),
                       facts.skewSeconds > 0 ? "ahead of" : "behind");
}

std::string writable(const Examined& server) {
    if (!server.triedToWrite) return "not tried (--no-write)";
    if (server.facts.probed) return "yes";
    return fmt::format("no: {}", answerText(server.state.scratchStatus));
}

std::string tls(const Examined& server) {
    if (!server.tls)
        return server.isLocal ? "no (this machine)" : "no: anybody on the way reads it";
    return server.tlsChecked ? "yes, with a certificate that is trusted"
                             : "yes, by a certificate that was not checked (--insecure)";
}

std::string way(Guard guard, bool holds, std::string_view deed) {
    switch (guard) {
        case Guard::condition:
        case Guard::conditionInIf: {
            const std::string_view condition =
                guard == Guard::condition ? "If-Match" : "the entity tag in If";
            return holds ? fmt::format("by {}", condition)
                         : fmt::format("by {}, which leaves a gap while the content comes",
                                       condition);
        }
        case Guard::lock:
            return "under a lock";
        case Guard::lockAndLook:
            return "under a lock, after a look in it";
        case Guard::look:
            break;
    }
    return fmt::format("after a look, with a gap between that and the {}", deed);
}

std::string replacing(const ServerFacts& facts) {
    const Guard guard = guardOfReplacing(facts);
    return way(guard, guard == Guard::condition ? facts.ifMatchHolds : facts.tagInIfHolds, "PUT");
}

std::string keptDates(DatesBy dates) {
    switch (dates) {
        case DatesBy::none:
            break;
        case DatesBy::mtime:
            return "those of files, by X-OC-Mtime";
        case DatesBy::dateField:
            return "those of files, by Date";
        case DatesBy::property:
            return "those of files, by the property Win32LastModifiedTime";
    }
    return "those of storing";
}

}  // namespace

std::string guardWord(Guard guard) {
    switch (guard) {
        case Guard::condition:
            return "if-match";
        case Guard::conditionInIf:
            return "if";
        case Guard::lock:
            return "lock";
        case Guard::lockAndLook:
            return "lock-and-look";
        case Guard::look:
            break;
    }
    return "look";
}

std::string datesWord(DatesBy dates) {
    switch (dates) {
        case DatesBy::none:
            break;
        case DatesBy::mtime:
            return "X-OC-Mtime";
        case DatesBy::dateField:
            return "Date";
        case DatesBy::property:
            return "Win32LastModifiedTime";
    }
    return "none";
}

std::vector<Finding> whatItIs(const Examined& server) {
    const ServerFacts& facts = server.facts;
    return {
        {"Server", facts.server.empty() ? "it does not say" : facts.server},
        {"WebDAV", facts.dav.empty() ? "no class is told" : "class " + facts.dav},
        {"HTTP", facts.http2 ? "2" : "1.1"},
        {"TLS", tls(server)},
        {"Login",
         server.authentication.empty() ? "it asked for none" : "by " + server.authentication},
        {"Clock", clock(facts)},
    };
}

std::vector<Finding> whatItDoes(const Examined& server) {
    const ServerFacts& facts = server.facts;
    std::vector<Finding> all{{"Can be written", writable(server)},
                             {"Locks", locks(facts)},
                             {"Entity tags", tags(facts)}};
    if (facts.probed) {
        all.push_back({"Conditions of PUT", obeyedConditions(facts)});
        all.push_back({"The same, while a content comes", lastingConditions(facts)});
        all.push_back({"Conditions of DELETE", removingConditions(facts)});
        all.push_back({"New contents", facts.replacesAtOnce
                                           ? "appear when they are whole"
                                           : "can be seen, or were, before they are whole"});
        all.push_back({"Dates", keptDates(facts.dates)});
    }
    all.push_back({"Quota", quota(server.state)});
    all.push_back(
        {"Depth infinity", facts.depthInfinity.value_or(false) ? "is answered" : "is refused"});
    return all;
}

std::vector<Finding> whatQuillonDoes(const Examined& server) {
    const ServerFacts& facts = server.facts;
    const bool locks = facts.probed ? facts.locks : facts.classTwo;
    std::vector<Finding> all{
        {"edit, lock, put",
         locks ? "under a lock" : "compare date, entity tag and size right before they store"},
        {"put -r replaces", replacing(facts)},
        {"put -r --delete removes", way(guardOfRemoving(facts), true, "DELETE")},
    };
    if (facts.probed) {
        const Guard making = guardOfMaking(facts);
        all.push_back({"New members of put -r", making == Guard::condition
                                                    ? "by If-None-Match: *"
                                                    : way(making, true, "PUT")});
        all.push_back({"Dates of put -r", keptDates(facts.dates)});
    }
    all.push_back({"At a time", facts.http2 ? "up to 64 requests, over one connection"
                                            : "up to 16 requests, each over its own connection"});
    return all;
}

std::vector<std::string> whatCouldBeSet(const Examined& server) {
    const ServerFacts& facts = server.facts;
    std::vector<std::string> all;
    const auto say = [&all](bool isDue, std::string sentence) {
        if (isDue) all.push_back(std::move(sentence));
    };
    say(!facts.classTwo,
        "Locks (Apache: DavLockDB; nginx: dav_ext_lock; lighttpd: webdav.sqlite-db-name). Without "
        "them nobody is kept out while somebody edits.");
    say(facts.probed && facts.classTwo && !facts.locks,
        "Locks that hold: a PUT without the token has to be refused with 423 (RFC 4918, 7).");
    // Apache's are weak while a member is younger than a second, which nobody can set.
    const bool areWeak = facts.weakTags && !facts.server.starts_with("Apache");
    say(facts.probed && (areWeak || !facts.tagsInProperties),
        "Strong entity tags in listings (RFC 4918, 15.6), by which changes can be told without a "
        "fetch.");
    say(facts.probed && !facts.putIfMatch && !facts.putTagInIf,
        "Conditions: PUT with an If-Match that does not hold has to be refused with 412 (RFC 9110, "
        "13.1.1).");
    say(facts.probed && !facts.replacesAtOnce,
        "Storing beside the member and renaming: now others can fetch half a content while it "
        "comes.");
    say(!server.tls && !server.isLocal,
        "TLS: now passwords and contents can be read on the way, and changed.");
    say(server.tls && !facts.http2,
        "HTTP/2 (Apache: Protocols h2 http/1.1; nginx: http2), over which trees take fewer "
        "connections.");
    say(facts.skewSeconds != 0, "The clock (NTP): dates are compared with it.");
    say(facts.depthInfinity.value_or(false),
        "Depth infinity off (Apache: DavDepthInfinity off): a single PROPFIND can keep it busy, "
        "and quillon needs none.");
    return all;
}

}  // namespace quillon::cli
