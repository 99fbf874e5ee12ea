#include "cli/parser/access_options.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "client/header_line.hpp"
#include "client/local_file.hpp"
#include "client/pin.hpp"

namespace quillon::cli {
namespace {

constexpr size_t mostHeaderBytes = 64 << 10;

Result<void> takeHeader(std::vector<std::string>& headers, const std::string& line,
                        const std::string& source) {
    if (const std::string problem = headerProblem(line); !problem.empty()) {
        return localError(Kind::usage, fmt::format("{} {}.", source, problem));
    }
    headers.push_back(line);
    return {};
}

// "@FILE" stands for the lines of a file, as elsewhere: those are in no list of processes.
Result<void> takeHeaders(std::vector<std::string>& headers, const std::string& given) {
    if (!given.starts_with('@')) return takeHeader(headers, given, "What is given");
    std::string text;
    const auto take = [&text](std::string_view piece) {
        text += piece;
        return text.size() <= mostHeaderBytes;
    };
    Result<void> read = readPieces(given.substr(1), take);
    if (!read) return read;
    const size_t before = headers.size();
    int number = 0;
    for (size_t begin = 0; begin < text.size();) {
        ++number;
        const size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty()) continue;
        const std::string source = fmt::format("Line {} of {}", number, given.substr(1));
        if (Result<void> taken = takeHeader(headers, line, source); !taken) return taken;
    }
    if (headers.size() == before) {
        return localError(Kind::usage, fmt::format("{} holds no header.", given.substr(1)));
    }
    return {};
}

Result<void> takePin(std::string& pin, const std::string& text) {
    pin = text;
    const std::string_view problem = pinProblem(text);
    if (problem.empty()) return {};
    return localError(Kind::usage, fmt::format("It {}.", problem));
}

}  // namespace

void addAccessOptions(CommandDefinition program, AccessOptions& options) {
    const OptionDefinition token =
        program
            .addOption("--token-file", options.tokenFile,
                       "Log in by the bearer token in the first line of FILE, - for standard input")
            .typeName("FILE")
            .notEmpty();
    program.addOption("--auth", options.auth, "Log in by Kerberos (negotiate) or NTLM")
        .oneOf({"negotiate", "ntlm"})
        .excludes(token);
    program
        .addOption("--cert", options.cert,
                   "Log in by this certificate, PEM or PKCS#12; a passphrase is asked for")
        .typeName("FILE")
        .existingFile();
    program.addOption("--key", options.key, "Its key, where that is another file, PEM")
        .typeName("FILE")
        .existingFile();
    program
        .addOption(
            "--header",
            [&options](const std::string& given) { return takeHeaders(options.headers, given); },
            "Add a header to each request to the first server: 'Name: value', or @FILE with lines")
        .typeName("LINE")
        .eachInTurn();
    program
        .addOption(
            "--pin", [&options](const std::string& pin) { return takePin(options.pin, pin); },
            "Trust the server by its public key alone: sha256//BASE64")
        .typeName("PIN");
    program
        .addOption("--unix-socket", options.unixSocket,
                   "Reach the server through this socket instead of its host and port")
        .typeName("FILE")
        .notEmpty();
}

}  // namespace quillon::cli
