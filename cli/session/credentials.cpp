#include "cli/session/credentials.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "cli/parser/options.hpp"
#include "cli/session/command_output.hpp"
#include "cli/session/netrc.hpp"
#include "cli/session/prompt.hpp"
#include "cli/session/secret_file.hpp"
#include "cli/session/sources.hpp"
#include "cli/terminal/report.hpp"
#include "client/password.hpp"

namespace quillon::cli {
namespace {

// As the configuration has it; nothing without one, or for another user than its own.
Result<std::optional<Secret>> storedPassword(const Site* site, const std::string& user) {
    if (site == nullptr || site->password.empty() || site->user != user) {
        return std::optional<Secret>();
    }
    Result<Secret> password = decodePassword(site->password);
    if (password) return std::optional(std::move(*password));
    Error error = std::move(password).error();
    error.sentences.insert(error.sentences.begin(),
                           "The stored password of the site " + site->name + " cannot be used.");
    return error;
}

void tellPassword(const CommonOptions& options, const std::string& user, std::string_view source) {
    tellSource(options, fmt::format("the password of {} is {}", user, source));
}

bool isPlainWord(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= 'a' && c <= 'z'; });
}

}  // namespace

void concealLogin(const Login& login) {
    if (login.password.empty()) return;
    if (!isPlainWord(login.password.view())) concealInReports(login.password.view());
    concealInReports(basicCredentials(login.user, login.password).view());
}

Result<std::string> askForUser(const Address& address) {
    Result<std::string> user = promptLine("User name at " + address.origin() + ": ");
    if (!user) return user;
    if (user->empty()) return localError(Kind::notAuthorized, "No user name was given.");
    if (const Result<void> valid = checkUserName(*user); !valid) return valid.error();
    return user;
}

Result<Secret> givenPassword(const CommonOptions& options, const Address& address,
                             const std::string& user) {
    if (!options.passwordFile.empty()) {
        tellPassword(options, user, fmt::format("the first line of {}", options.passwordFile));
        return readSecretFile(options.passwordFile, "password");
    }
    if (!options.passwordCommand.empty()) {
        tellPassword(options, user, "what the password-command prints");
        return firstLineOf(options.passwordCommand, "password-command");
    }
    if (!canPrompt()) {
        return localError(Kind::notAuthorized, "There is no terminal to ask for the password of " +
                                                   user + " on. Give it with --password-file.");
    }
    tellPassword(options, user, "what you type now");
    return promptSecret("Password of " + user + " at " + address.origin() + ": ");
}

// The site's command is for its own user.
CommonOptions Credentials::optionsFor(const Address& address, const std::string& user) const {
    CommonOptions options = sites_.optionsFor(address);
    if (options.user != user) options.passwordCommand.clear();
    return options;
}

Result<Secret> Credentials::passwordFor(const Address& address, Known& known) const {
    const std::string& user = known.login.user;
    const CommonOptions options = optionsFor(address, user);
    const bool isGiven = !options.passwordFile.empty() || !options.passwordCommand.empty();
    if (isGiven) return givenPassword(options, address, user);
    Result<std::optional<Secret>> stored = storedPassword(sites_.of(address), user);
    if (!stored) return std::move(stored).error();
    if (*stored) {
        tellPassword(options, user, "the site's");
        return std::move(**stored);
    }
    Result<std::optional<NetrcEntry>> entry = findInNetrcFile(address.host(), user);
    if (!entry) return std::move(entry).error();
    if (*entry) {
        known.isOfNetrc = true;
        tellPassword(options, user, "that of the netrc file");
        return std::move((*entry)->password);
    }
    if (!canPrompt()) {
        return localError(Kind::notAuthorized, "The password of " + user +
                                                   " is missing. Give it with "
                                                   "--password-file or in the netrc file.");
    }
    known.asked = true;
    return givenPassword(options, address, user);
}

Result<Credentials::Known> Credentials::findKnown(const Address& address) const {
    Known known;
    const CommonOptions options = sites_.optionsFor(address);
    known.login.proxy = options.proxy;
    concealInReports(credentialsIn(known.login.proxy));  // libcurl repeats one that it cannot use
    if (options.access.hasToken()) return known;
    known.login.user = address.hasCredentials() ? address.user() : options.user;
    if (const Result<void> valid = checkUserName(known.login.user); !valid) return valid.error();
    if (!address.password().empty()) {
        tellSource(options, "the password is that of the URL");
        known.login.password = address.password();
        return known;
    }
    if (options.access.usesTicket()) {
        tellSource(options, "the Kerberos ticket is that of the credential cache (klist shows it)");
        return known;
    }
    known.isGiven = !options.passwordFile.empty();
    if (!known.login.user.empty()) {
        Result<Secret> password = passwordFor(address, known);
        if (!password) return std::move(password).error();
        known.login.password = std::move(*password);
        return known;
    }
    Result<std::optional<NetrcEntry>> entry = findInNetrcFile(address.host(), {});
    if (!entry) return std::move(entry).error();
    if (*entry) {
        known.isOfNetrc = true;
        tellSource(options, "user and password are those of the netrc file");
        known.login.user = std::move((*entry)->login);
        known.login.password = std::move((*entry)->password);
    }
    return known;
}

Result<Login> Credentials::find(const Address& address) {
    const std::string key = identityOf(address);
    if (const auto found = known_.find(key); found != known_.end()) return found->second.login;
    Result<Known> known = findKnown(address);
    if (!known) return std::move(known).error();
    concealLogin(known->login);
    return known_.emplace(key, std::move(*known)).first->second.login;
}

Result<Login> Credentials::askAgain(const Address& address) {
    Known& known = known_[identityOf(address)];
    const bool fromElsewhere = !known.login.password.empty();
    const AccessOptions access = sites_.optionsFor(address).access;
    const bool otherWay = access.hasToken() || access.usesTicket();
    if (known.asked || fromElsewhere || otherWay || !canPrompt()) {
        return localError(Kind::notAuthorized, "Not authorized.");
    }
    known.asked = true;
    if (known.login.user.empty()) {
        Result<std::string> user = askForUser(address);
        if (!user) return std::move(user).error();
        known.login.user = std::move(*user);
    }
    const CommonOptions options = optionsFor(address, known.login.user);
    Result<Secret> password = givenPassword(options, address, known.login.user);
    if (!password) return std::move(password).error();
    known.login.password = std::move(*password);
    concealLogin(known.login);
    return known.login;
}

bool Credentials::areOfNetrc(const Address& address) const {
    const auto found = known_.find(identityOf(address));
    return found != known_.end() && found->second.isOfNetrc;
}

void Credentials::forget() {
    std::erase_if(known_, [](const auto& each) { return !each.second.isGiven; });
}

}  // namespace quillon::cli
