#include "cli/parser/options.hpp"

#include <fmt/format.h>

#include <chrono>

#include "cli/parser/byte_count.hpp"
#include "cli/parser/time_argument.hpp"
#include "client/address.hpp"
#include "platform/http/proxy.hpp"

namespace quillon::cli {
namespace {

constexpr int mostJobs = 64;
constexpr int mostSeconds = 86400;

Result<uint64_t> parseSpeed(const std::string& text) {
    const std::optional<uint64_t> bytes = parseByteCount(text);
    if (bytes && *bytes > 0) return *bytes;
    return localError(Kind::usage, "Say how many bytes a second: 500K, 2M, 1.5M.");
}

}  // namespace

Result<void> checkUserName(std::string_view name) {
    const std::string_view problem = userNameProblem(name);
    if (problem.empty()) return {};
    return localError(Kind::usage, fmt::format("A user name {}.", problem));
}

Result<void> checkSoleTeller(const CommonOptions& options, std::string_view teller,
                             bool urlHasUser) {
    const std::string_view other = !options.user.empty()           ? "--user"
                                   : !options.passwordFile.empty() ? "--password-file"
                                   : urlHasUser                    ? "the user in the URL"
                                                                   : "";
    if (other.empty()) return {};
    return localError(
        Kind::usage, fmt::format("{0} does not go with {1}, which says who you are. Leave {0} out.",
                                 other, teller));
}

Result<void> checkCommonOptions(const CommonOptions& options, std::string_view userInUrl) {
    const bool hasUser = !userInUrl.empty();
    if (options.access.hasToken()) return checkSoleTeller(options, "--token-file", hasUser);
    if (options.access.usesTicket()) return checkSoleTeller(options, "--auth negotiate", hasUser);
    if (!hasUser || options.user.empty() || options.user == userInUrl) return {};
    return localError(Kind::usage,
                      "--user does not go with another user in the URL. Leave one of them out.");
}

void addCommonOptions(CommandDefinition program, CommonOptions& options) {
    const auto takeUser = [&options](const std::string& name) -> Result<void> {
        options.user = name;
        return checkUserName(name);
    };
    program.addOption("-u,--user", takeUser, "User name; the password is asked for")
        .typeName("NAME")
        .notEmpty();
    program
        .addOption("--password-file", options.passwordFile,
                   "Read the password from the first line of FILE, - for standard input")
        .typeName("FILE")
        .notEmpty();
    const auto takeProxy = [&options](const std::string& url) -> Result<void> {
        options.proxy = url;
        const std::string_view problem = vxhost::proxyProblem(url);
        if (problem.empty()) return {};
        return localError(Kind::usage, fmt::format("It {}.", problem));
    };
    program
        .addOption("--proxy", takeProxy,
                   "Go through this proxy; else as $http_proxy, $https_proxy and $no_proxy say")
        .typeName("URL")
        .notEmpty();
    program
        .addOption("--proxy-auth", options.proxyAuth,
                   "How to log in to the proxy: basic (if not given), digest, ntlm, negotiate")
        .oneOf({"basic", "digest", "ntlm", "negotiate"});
    program
        .addOption("--proxy-ca-file", options.proxyCaFile,
                   "As --ca-file, for a proxy whose URL begins with https://")
        .typeName("FILE")
        .existingFile();
    program
        .addOption("--no-proxy", options.noProxy,
                   "Hosts to reach without a proxy, parted by commas; * for all")
        .typeName("HOSTS")
        .notEmpty();
    program
        .addOption("--ca-file", options.caFile,
                   "Trust the certificate authorities of this PEM file alone")
        .typeName("FILE")
        .existingFile();
    program.addFlag("--insecure", options.insecure, "Accept any certificate");
    addAccessOptions(program, options.access);
    program
        .addOption("--timeout", options.timeoutSeconds,
                   "Give up when nothing moves for so long (30 to connect, 60 in a transfer)")
        .typeName("SECONDS")
        .within(1, mostSeconds);
    const auto takeSpeed = [&options](const std::string& text) -> Result<void> {
        const Result<uint64_t> speed = parseSpeed(text);
        if (!speed) return speed.error();
        options.mostSpeed = *speed;
        return {};
    };
    program
        .addOption("--limit-rate", takeSpeed,
                   "Let long transfers move no more than so many bytes a second: 500K, 2M")
        .typeName("SPEED");
    program.addFlag(
        "-v,--verbose", options.verbosity,
        "Say what was done, and in the end what it cost; twice: the requests, too; three "
        "times: the whole log");
}

void addJobsOption(CommandDefinition command, size_t& jobs, const std::string& theDefault) {
    command
        .addOption("-j,--jobs", jobs,
                   "Members at a time, over a connection each; " + theDefault + " if not given")
        .typeName("N")
        .within(1, mostJobs);
}

OptionDefinition addTimeOption(CommandDefinition command, const std::string& name,
                               std::optional<Time>& time, const std::string& meaning) {
    const auto take = [&time](const std::string& text) -> Result<void> {
        const auto now = std::chrono::floor<Time::duration>(std::chrono::system_clock::now());
        const Result<Time> parsed = parseTimeArgument(text, now);
        if (!parsed) return parsed.error();
        time = *parsed;
        return {};
    };
    return command.addOption(name, take, meaning).typeName("TIME");
}

}  // namespace quillon::cli
