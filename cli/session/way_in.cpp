#include "cli/session/way_in.hpp"

#include <fmt/format.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/session/command_output.hpp"
#include "cli/session/prompt.hpp"
#include "cli/session/secret_file.hpp"
#include "cli/session/sources.hpp"
#include "cli/terminal/report.hpp"
#include "client/header_line.hpp"
#include "platform/base/status.hpp"
#include "platform/http/client_certificate.hpp"
#include "platform/http/way_in.hpp"

namespace quillon::cli {
namespace {

using vxhost::ClientCertificate;
using vxhost::SecretText;
using vxhost::WayIn;
using Token = std::shared_ptr<const SecretText>;

// The token of a run, whichever engines use it: asked for again only by the first that is refused.
class TokenSource {
public:
    explicit TokenSource(const AccessOptions& access)
        : file_(access.tokenFile), command_(access.tokenCommand) {}

    Result<void> fetch() {
        const Result<Secret> token =
            file_.empty() ? firstLineOf(command_, "token-command") : readSecretFile(file_, "token");
        if (!token) return token.error();
        // It ends no line of a request (RFC 9110, 5.5).
        const auto isOfLine = [](unsigned char c) { return c >= ' ' && c != 0x7F; };
        if (!std::ranges::all_of(token->view(), isOfLine)) {
            return localError(
                Kind::local,
                fmt::format("The token of {} holds a control character; it must be one "
                            "line.",
                            file_.empty() ? command_.front() : file_));
        }
        concealInReports(token->view());
        now_ = std::make_shared<const SecretText>(token->view());
        return {};
    }

    Token instead(const SecretText* refused) {
        const std::lock_guard lock(mutex_);
        if (refused == nullptr || !(*now_ == *refused)) return now_;
        if (file_ == "-") return nullptr;  // that has been read
        if (const Result<void> fetched = fetch(); !fetched) {
            complain(fetched.error().sentences.front());
            return nullptr;
        }
        return *now_ == *refused ? nullptr : now_;
    }

private:
    const std::string file_;
    const std::vector<std::string> command_;
    std::mutex mutex_;
    Token now_;
};

Result<void> addToken(WayIn& wayIn, const CommonOptions& options) {
    if (!options.access.hasToken()) return {};
    const auto source = std::make_shared<TokenSource>(options.access);
    if (Result<void> fetched = source->fetch(); !fetched) return fetched;
    wayIn.token = [source](const SecretText* refused) { return source->instead(refused); };
    tellSource(options, options.access.tokenFile.empty()
                            ? "the token is what the site's token-command prints"
                            : fmt::format("the token is that of {}", options.access.tokenFile));
    return {};
}

Result<Secret> passphrase(const AccessOptions& access, const std::string& file) {
    if (!access.keyPasswordCommand.empty()) {
        return firstLineOf(access.keyPasswordCommand, "command for the key's passphrase");
    }
    if (canPrompt()) return promptSecret(fmt::format("Passphrase of {}: ", file));
    return localError(Kind::notAuthorized,
                      fmt::format("{} has a passphrase, and there is no terminal to ask for it on. "
                                  "A site's key-password-command can give it.",
                                  file));
}

Result<void> addCertificate(WayIn& wayIn, const CommonOptions& options, Certificates& known) {
    const AccessOptions& access = options.access;
    if (access.cert.empty()) {
        if (access.key.empty()) return {};
        return localError(Kind::usage, "--key is that of a certificate: give --cert, too.");
    }
    auto& certificate = known[access.cert + "\n" + access.key];
    std::optional<Error> unanswered;
    const auto ask = [&](const std::string& file) -> SecretText {
        const Result<Secret> text = passphrase(access, file);
        if (text) return SecretText(text->view());
        unanswered = text.error();
        throw vxhost::Failure(vxhost::WEBLNK_INTERRUPTED, "");
    };
    try {
        if (!certificate) {
            certificate = ClientCertificate::load(access.cert, access.key, ask);
            tellIfOpenToOthers(access.key.empty() ? access.cert : access.key, "key");
        }
        wayIn.certificate = certificate;
    } catch (const vxhost::Failure& failure) {
        if (unanswered) return *unanswered;
        return localError(kindOf(static_cast<Code>(failure.status()), 0),
                          fmt::format("The certificate cannot be used: {}", failure.what()));
    }
    tellSource(options, fmt::format("the certificate is that of {}", access.cert));
    return {};
}

void addLine(WayIn& wayIn, std::string_view line) {
    concealHeader(line);
    wayIn.headers.emplace_back(line);
}

Result<void> addHeaders(WayIn& wayIn, const CommonOptions& options) {
    for (const std::string& line : options.access.headers) addLine(wayIn, line);
    const auto& command = options.access.headersCommand;
    if (command.empty()) return {};
    const Result<Secret> text = outputOf(command, "headers-command");
    if (!text) return text.error();
    const size_t before = wayIn.headers.size();
    int number = 0;
    for (std::string_view rest = text->view(); !rest.empty();) {
        ++number;
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty()) continue;
        if (const std::string problem = headerProblem(line); !problem.empty()) {
            return localError(Kind::local, fmt::format("Line {} of {}, the headers-command, {}.",
                                                       number, command.front(), problem));
        }
        addLine(wayIn, line);
    }
    if (wayIn.headers.size() == before) {
        return localError(Kind::local, fmt::format("{}, the headers-command, printed no header.",
                                                   command.front()));
    }
    tellSource(options, "headers are what the site's headers-command prints");
    return {};
}

// Where curl would speak of a host that nobody asks.
Result<void> addSocket(WayIn& wayIn, const CommonOptions& options) {
    const std::string& path = options.access.unixSocket;
    if (path.empty()) return {};
    std::error_code none;
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        return localError(Kind::local,
                          fmt::format("{} is too long for the name of a socket.", path));
    }
    if (!std::filesystem::is_socket(path, none)) {
        return localError(Kind::local, fmt::format("There is no socket {}.", path));
    }
    wayIn.unixSocket = path;
    return {};
}

}  // namespace

Result<std::shared_ptr<const WayIn>> findWayIn(const CommonOptions& options, Certificates& known) {
    const AccessOptions& access = options.access;
    if (access == AccessOptions{.origin = access.origin}) return std::shared_ptr<const WayIn>();
    if (access.origin.starts_with("http:") && !access.pin.empty()) {
        return localError(Kind::usage,
                          fmt::format("{} has no TLS, so that a pin protects nothing: use its "
                                      "https:// URL.",
                                      access.origin));
    }
    const auto wayIn = std::make_shared<WayIn>();
    wayIn->origin = access.origin;
    wayIn->pin = access.pin;
    if (!access.auth.empty()) {
        wayIn->connectionScheme = access.auth == "ntlm" ? CURLAUTH_NTLM : CURLAUTH_NEGOTIATE;
    }
    for (const auto add : {addSocket, addToken, addHeaders}) {
        if (const Result<void> added = add(*wayIn, options); !added) return added.error();
    }
    if (const auto added = addCertificate(*wayIn, options, known); !added) return added.error();
    return std::shared_ptr<const WayIn>(wayIn);
}

}  // namespace quillon::cli
