#include "cli/commands/settings/trial.hpp"

#include <fmt/format.h>

#include <utility>

#include "cli/commands/what_is_there.hpp"
#include "cli/session/credentials.hpp"
#include "cli/session/login_flow.hpp"
#include "cli/session/netrc.hpp"
#include "cli/session/prompt.hpp"
#include "cli/session/question.hpp"
#include "cli/session/refusal.hpp"
#include "cli/terminal/report.hpp"
#include "client/certificate.hpp"
#include "client/remote/resource.hpp"

namespace quillon::cli {
namespace {

// As long as Nextcloud keeps a login open.
constexpr int secondsToSignIn = 20 * 60;

std::vector<std::string> describe(const ServerCertificate& shown) {
    return {fmt::format("Its certificate is for {}, from {}, valid from {} until {}.",
                        shown.subject, shown.issuer, shown.validFrom, shown.validUntil),
            fmt::format("SHA-256 fingerprint: {}", shown.fingerprint)};
}

// Other commands are advised to do what is done here.
Error stillUntrusted(Error error) {
    if (error.code != Code::untrusted) return error;
    error.code = Code::success;
    error.sentences.push_back(fmt::format("{}.", trustHelp));
    return error;
}

}  // namespace

Login Trial::nobody() const {
    Login login;
    login.proxy = options_.proxy;
    return login;
}

Result<void> Trial::tryOut(const Login& login) {
    const Result<Extension> extension = session_.extension(options_);
    if (!extension) return extension.error();
    const Result<Collection> opened =
        Collection::open(*extension, address_, login, {.cache = false});
    if (!opened) return explainNotOpened(*extension, login, address_, opened.error());
    // Many servers let everybody read, and some are none of WebDAV at all.
    const auto remote = Remote::open(*extension, address_, login);
    if (!remote) return remote.error();
    const auto seen = (*remote)->run(look(**remote, address_.collection()));
    constexpr int forbidden = 403;  // as where one may store and not look
    if (seen || seen.error().httpStatus == forbidden) return {};
    return seen.error();
}

Result<void> Trial::askForTrust(const Login& login, const Error& untrusted) {
    const Result<Extension> extension = session_.extension(options_);
    if (!extension) return extension.error();
    const auto shown = lookAtCertificate(*extension, address_, login.proxy);
    if (!shown) return untrusted;
    std::vector<std::string> sentences = describe(*shown);
    if (!canPrompt()) {
        Error error = untrusted;
        sentences.push_back(fmt::format("If that is the server's own: --pin {}", shown->pin));
        error.sentences.insert(error.sentences.end(), sentences.begin(), sentences.end());
        return error;
    }
    complain("nobody whom you trust vouches for this server.");
    for (const std::string& sentence : sentences) complain(sentence);
    const Result<bool> trusted =
        askPerson("Compare it with what its administrator says. Is it the same?", "--pin");
    if (!trusted) return trusted.error();
    if (!*trusted) return untrusted;
    options_.access.pin = shown->pin;
    return {};
}

Result<void> Trial::accept(const Login& login) {
    concealLogin(login);
    Result<void> tried = tryOut(login);
    if (tried || tried.error().code != Code::untrusted) return tried;
    const Result<void> trusted = askForTrust(login, tried.error());
    if (!trusted) return stillUntrusted(trusted.error());
    return tryOut(login);
}

Result<Login> Trial::signIn() {
    const Result<Extension> extension = session_.extension(options_);
    if (!extension) return extension.error();
    const auto remote = Remote::open(*extension, address_, nobody());
    if (!remote) return remote.error();
    const auto flow = beginLoginFlow(**remote, baseOfScripts(address_.collection()));
    if (!flow) return flow.error();
    complain(fmt::format("sign in at this address, with any browser: {}", flow->page));
    const int most = options_.timeoutSeconds > 0 ? options_.timeoutSeconds : secondsToSignIn;
    return awaitLogin(**remote, *flow, std::chrono::seconds(most));
}

Result<Login> Trial::runByBrowser() {
    const Result<void> reached = accept(nobody());  // whoever may open what is there
    if (!reached && reached.error().kind == Kind::network) return reached.error();
    if (!reached && reached.error().kind == Kind::interrupted) return reached.error();
    Result<Login> login = signIn();
    if (!login) return login;
    login->proxy = options_.proxy;
    Result<void> accepted;
    for (const std::string& url : collectionsOf(address_.collection(), login->user)) {
        const Result<Address> collection = Address::parse(url);
        if (!collection) return collection.error();
        address_ = *collection;
        accepted = accept(*login);
        if (accepted || accepted.error().kind != Kind::notFound) break;
    }
    if (!accepted) return accepted.error();
    return login;
}

// Nothing where the file has no entry, or a wrong one and the person can give something else.
Result<std::optional<Login>> Trial::tryNetrc(Login login) {
    Result<std::optional<NetrcEntry>> entry = findInNetrcFile(address_.host(), login.user);
    if (!entry) return std::move(entry).error();
    if (!*entry || (*entry)->login.empty()) return std::optional<Login>();
    login.user = std::move((*entry)->login);
    login.password = std::move((*entry)->password);
    const Result<void> accepted = accept(login);
    if (accepted) {
        complain("the password is that of the netrc file, and stays there");
        login.password = {};
        return std::optional(std::move(login));
    }
    Error error = accepted.error();
    if (error.kind != Kind::notAuthorized) return error;
    if (!mayPasswordHelp(error.code)) return explainRefusal(options_.access, nullptr, login, error);
    if (canPrompt()) return std::optional<Login>();
    error.sentences.emplace_back(passwordIsOfNetrc);
    return error;
}

Result<Login> Trial::run(bool looksIntoNetrc) {
    Login login = nobody();
    const bool hasOtherWay = options_.access.hasToken() || options_.access.usesTicket();
    login.user = address_.hasCredentials() ? address_.user() : options_.user;
    if (const Result<void> valid = checkUserName(login.user); !valid) return valid.error();
    std::optional<Error> refusal;
    if (login.user.empty() || hasOtherWay) {
        if (hasOtherWay) login.user.clear();
        const Result<void> everybody = accept(login);
        if (everybody) return login;
        const Error& error = everybody.error();
        if (error.kind != Kind::notAuthorized) return error;
        refusal = explainRefusal(options_.access, nullptr, login, error);
        const bool mayHelp = error.httpStatus == 401 && mayPasswordHelp(error.code);
        if (!mayHelp || hasOtherWay) return *refusal;
    }
    const bool isGiven = !address_.password().empty() || !options_.passwordFile.empty() ||
                         !options_.passwordCommand.empty();
    if (looksIntoNetrc && !isGiven) {
        Result<std::optional<Login>> known = tryNetrc(login);
        if (!known) return std::move(known).error();
        if (*known) return std::move(**known);
    }
    if (login.user.empty()) {
        if (!canPrompt()) return *refusal;
        Result<std::string> user = askForUser(address_);
        if (!user) return std::move(user).error();
        login.user = std::move(*user);
    }
    if (address_.password().empty()) {
        Result<Secret> password = givenPassword(options_, address_, login.user);
        if (!password) return std::move(password).error();
        login.password = std::move(*password);
    } else {
        login.password = address_.password();
    }
    const Result<void> accepted = accept(login);
    if (!accepted) return explainRefusal(options_.access, nullptr, login, accepted.error());
    return login;
}

}  // namespace quillon::cli
