#include "cli/session/name_candidates.hpp"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <string_view>

#include "cli/config/site_file.hpp"
#include "cli/session/command_output.hpp"
#include "cli/session/prompt.hpp"
#include "cli/session/session.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

constexpr int requestSeconds = 3;
constexpr unsigned allSeconds = 5;

bool isControl(char c) {
    return std::iscntrl(static_cast<unsigned char>(c)) != 0;
}

bool isHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// The name as a person types it: what would pass for an escape has its percent sign encoded. Empty
// when it cannot be typed.
std::string asTyped(const std::string& name) {
    const bool hidden = name.find('/') != std::string::npos ||
                        std::any_of(name.begin(), name.end(), isControl) || name == "." ||
                        name == "..";
    if (hidden) return {};
    std::string text;
    for (size_t i = 0; i < name.size(); ++i) {
        text += name[i];
        const bool escape =
            name[i] == '%' && i + 2 < name.size() && isHex(name[i + 1]) && isHex(name[i + 2]);
        if (escape) text += "25";
    }
    return text;
}

// Where the collection's part of what is typed ends; 0 when it has none yet.
size_t endOfCollection(const std::string& typed) {
    const size_t colon = typed.find(':');
    if (colon == std::string::npos) return 0;
    const bool url = typed.compare(colon, 3, "://") == 0;
    const size_t path = url ? typed.find('/', colon + 3) : colon;
    return path == std::string::npos ? 0 : std::max(typed.rfind('/') + 1, colon + 1);
}

// An impatient session that has nobody to ask.
CommonOptions makeImpatient(CommonOptions options) {
    neverPrompt();
    neverRunCommands();
    // A server may answer each request in time and still take too long in all.
    std::signal(SIGALRM, [](int) { _exit(0); });
    alarm(allSeconds);
    options.timeoutSeconds = requestSeconds;
    return options;
}

std::vector<NameCandidate> membersOf(const CommonOptions& options, const std::string& first,
                                     const std::string& collection, std::string_view begun) {
    const CommonOptions impatient = makeImpatient(options);
    Session session(impatient);
    if (!first.empty()) (void)session.sites().resolve(first);
    const Result<Address> address = session.sites().resolve(collection);
    if (!address) return {};
    const Result<Members> listing = session.list(*address, namesAlone);
    if (!listing) return {};
    std::vector<NameCandidate> found;
    for (const Resource& each : listing->resources) {
        const std::string name = vxhost::decodeSegment(each.segment);
        std::string word = asTyped(name);
        // A name that is no text is its segment, whose escapes are escapes.
        const bool asItIs = word.empty() || name == each.segment;
        if (asItIs || !word.starts_with(begun)) word = each.segment;
        found.push_back({collection + word + (each.isCollection ? "/" : ""), {}});
    }
    return found;
}

}  // namespace

std::vector<NameCandidate> siteCandidates(const CommonOptions& options) {
    std::vector<NameCandidate> found;
    const Result<std::vector<std::string>> names = siteNames();
    if (!names) return found;
    for (const std::string& name : *names) {
        if (!siteNameValid(name)) continue;
        const Result<Site> site = Sites(options).find(name);
        found.push_back({name, site ? site->url : ""});
    }
    return found;
}

std::vector<NameCandidate> urlCandidates(const CommonOptions& options, const std::string& first,
                                         const std::string& typed) {
    const size_t end = endOfCollection(typed);
    if (end > 0) {
        return membersOf(options, first, typed.substr(0, end), std::string_view(typed).substr(end));
    }
    std::vector<NameCandidate> sites = siteCandidates(options);
    for (NameCandidate& site : sites) site.word += ':';
    return sites;
}

}  // namespace quillon::cli
