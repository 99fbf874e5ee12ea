#include "cli/credentials.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "cli/netrc.hpp"
#include "cli/prompt.hpp"

namespace quillon::cli {
namespace {

Result<Secret> readPasswordFile(const std::string& path) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    const File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "re"), std::fclose);
    std::FILE* file = path == "-" ? stdin : opened.get();
    if (file == nullptr) {
        return localError(Kind::local, "Cannot read the password file " + path + ": " +
                                           std::strerror(errno) + ".");
    }
    std::setvbuf(file, nullptr, _IONBF, 0);  // no copy in a buffer of the library's
    Secret line;
    for (int byte = std::fgetc(file); byte != EOF && byte != '\n'; byte = std::fgetc(file)) {
        line.append(static_cast<char>(byte));
    }
    if (!line.empty() && line.view().back() == '\r') line.dropLast();
    if (line.empty()) return localError(Kind::local, "The password file " + path + " is empty.");
    return line;
}

std::string keyOf(const Address& address) {
    return address.origin() + "\n" + address.user();
}

Result<Secret> askPassword(const Address& address, const std::string& user) {
    return promptSecret("Password of " + user + " at " + address.origin() + ": ");
}

}  // namespace

Result<Secret> Credentials::passwordFor(const Address& address, const std::string& user,
                                        bool& asked) const {
    if (!options_.passwordFile.empty()) return readPasswordFile(options_.passwordFile);
    if (auto entry = findInNetrcFile(address.host(), user)) return std::move(entry->password);
    if (!canPrompt()) {
        return localError(Kind::usage, "The password of " + user +
                                           " is missing. Give it with "
                                           "--password-file or in the netrc file.");
    }
    asked = true;
    return askPassword(address, user);
}

Result<Credentials::Known> Credentials::look(const Address& address) const {
    Known known;
    known.login.proxy = options_.proxy;
    known.login.user = address.hasCredentials() ? address.user() : options_.user;
    if (!address.password().empty()) {
        known.login.password = address.password();
        return known;
    }
    if (!known.login.user.empty()) {
        Result<Secret> password = passwordFor(address, known.login.user, known.asked);
        if (!password) return std::move(password).error();
        known.login.password = std::move(*password);
        return known;
    }
    if (auto entry = findInNetrcFile(address.host(), {})) {
        known.login.user = std::move(entry->login);
        known.login.password = std::move(entry->password);
    }
    return known;
}

Result<Login> Credentials::find(const Address& address) {
    const std::string key = keyOf(address);
    if (const auto found = known_.find(key); found != known_.end()) return found->second.login;
    Result<Known> known = look(address);
    if (!known) return std::move(known).error();
    return known_.emplace(key, std::move(*known)).first->second.login;
}

Result<Login> Credentials::askAgain(const Address& address) {
    Known& known = known_[keyOf(address)];
    const bool fromElsewhere = !known.login.password.empty();
    if (known.asked || fromElsewhere || !canPrompt()) {
        return localError(Kind::notAuthorized, "Not authorized.");
    }
    known.asked = true;
    if (known.login.user.empty()) {
        Result<std::string> user = promptLine("User name at " + address.origin() + ": ");
        if (!user) return std::move(user).error();
        known.login.user = std::move(*user);
    }
    Result<Secret> password = askPassword(address, known.login.user);
    if (!password) return std::move(password).error();
    known.login.password = std::move(*password);
    return known.login;
}

}  // namespace quillon::cli
