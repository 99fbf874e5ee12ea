#include "cli/session/netrc.hpp"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "cli/session/secret_file.hpp"
#include "cli/session/sources.hpp"
#include "client/address.hpp"
#include "client/local_file.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr size_t mostBytes = 1 << 20;

class Words {
public:
    explicit Words(std::string_view text) : text_(text), rest_(text) {}

    // Bare, or in double quotes with backslash escapes; it is there until the next one is read.
    // Nothing at the end of the text.
    std::optional<std::string_view> next() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size()));
        if (rest_.empty()) return std::nullopt;
        return rest_.front() == '"' ? quoted() : bare();
    }

    void skipMacro() {  // up to an empty line
        const size_t end = rest_.find("\n\n");
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end);
    }

    // Of the end of the latest word, from 1.
    size_t line() const {
        const auto read = text_.substr(0, text_.size() - rest_.size());
        return 1 + static_cast<size_t>(std::ranges::count(read, '\n'));
    }

    void skipLine() { rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size())); }

private:
    std::string_view bare() {
        const auto word = rest_.substr(0, rest_.find_first_of(blanks));
        rest_.remove_prefix(word.size());
        return word;
    }

    std::string_view quoted() {
        unquoted_ = {};
        rest_.remove_prefix(1);
        while (!rest_.empty() && rest_.front() != '"') {
            if (rest_.front() == '\\' && rest_.size() > 1) rest_.remove_prefix(1);
            unquoted_.append(rest_.front());
            rest_.remove_prefix(1);
        }
        if (!rest_.empty()) rest_.remove_prefix(1);
        return unquoted_.view();
    }

    const std::string_view text_;
    std::string_view rest_;
    Secret unquoted_;
};

bool sameHost(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// What can be read of a file, with no copy left elsewhere. It may name what has no end.
Result<Secret> contentOf(const std::filesystem::path& path) {
    Secret text;
    std::error_code none;
    if (!std::filesystem::exists(path, none)) return text;  // as is usual
    bool isWhole = true;
    (void)readPieces(path, [&](std::string_view piece) {
        isWhole = text.size() + piece.size() <= mostBytes;
        for (size_t i = 0; isWhole && i < piece.size(); ++i) text.append(piece[i]);
        return isWhole;
    });
    if (isWhole) return text;
    return localError(Kind::local,
                      fmt::format("{} has more than 1 MiB, as no netrc file has. Set NETRC to the "
                                  "path of yours.",
                                  path.string()));
}

}  // namespace

std::optional<NetrcEntry> findInNetrc(std::string_view text, std::string_view host,
                                      std::string_view login) {
    Words words(text);
    NetrcEntry entry;
    bool ofHost = false;
    const auto wanted = [&] {
        const bool isTheirs = login.empty() || entry.login.empty() || login == entry.login;
        return ofHost && !entry.password.empty() && isTheirs;
    };
    while (const auto name = words.next()) {
        if (name->starts_with('#')) {
            words.skipLine();
        } else if (*name == "macdef") {
            words.skipMacro();
        } else if (*name == "machine" || *name == "default") {
            if (wanted()) return entry;
            entry = {};
            ofHost = *name == "default";
            if (ofHost) continue;
            const auto machine = words.next();
            ofHost = machine && sameHost(*machine, host);
        } else {
            const bool isLogin = *name == "login", isPassword = *name == "password";
            const auto value = words.next();
            if (!value || !ofHost) continue;
            if (isLogin) entry.login = *value;
            if (isPassword) entry.password = Secret(*value);
            if (isLogin || isPassword) entry.line = words.line();
        }
    }
    return wanted() ? std::optional(std::move(entry)) : std::nullopt;
}

Result<std::optional<NetrcEntry>> findInNetrcFile(std::string_view host, std::string_view login) {
    using Found = std::optional<NetrcEntry>;
    const char* named = std::getenv("NETRC");
    const char* home = std::getenv("HOME");
    if (named == nullptr && home == nullptr) return Found();
    const std::filesystem::path path =
        named != nullptr ? std::filesystem::path(named) : std::filesystem::path(home) / ".netrc";
    const Result<Secret> text = contentOf(path);
    if (!text) return text.error();
    Found entry = findInNetrc(text->view(), host, login);
    if (!entry || (entry->login.empty() && login.empty())) return Found();  // nobody is named
    const std::string source =
        fmt::format("The entry that ends in line {} of {}", entry->line, path.string());
    if (const auto problem = userNameProblem(entry->login); !problem.empty()) {
        return localError(Kind::local, fmt::format("{}: its user name {}.", source, problem));
    }
    Result<Secret> password = oneLine(std::move(entry->password), source);
    if (!password) return std::move(password).error();
    entry->password = std::move(*password);
    static std::once_flag told;
    std::call_once(told, [&path] { tellIfOpenToOthers(path.string(), "password"); });
    return entry;
}

}  // namespace quillon::cli
