#include "cli/session/login_flow.hpp"

#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "cli/terminal/process.hpp"
#include "client/address.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds betweenQuestions{1000};
constexpr milliseconds untilInterrupt{100};
constexpr size_t longestWord = 4096;
constexpr std::string_view scripts[] = {"/remote.php", "/public.php", "/index.php"};

vxhost::Request post(const std::string& url, std::string form) {
    vxhost::Request request{
        "POST", url, vxhost::changing, {"Accept: application/json"}, std::move(form)};
    request.documentType = "application/x-www-form-urlencoded";
    return request;
}

Result<vxhost::Answer> ask(Remote& remote, const std::string& url, std::string form) {
    return remote.run(remote.send(post(url, std::move(form))));
}

// An answer as an object, which may hold a password.
class Document {
public:
    explicit Document(std::string& text) : object_(nlohmann::json::parse(text, nullptr, false)) {
        wipe(text);
    }

    // The text at this place, which is zeroed there; empty: there is none that could be used.
    Secret take(const char* place) {
        const nlohmann::json::json_pointer pointer(place);
        if (object_.is_discarded() || !object_.contains(pointer)) return {};
        auto* text = object_.at(pointer).get_ptr<std::string*>();
        if (text == nullptr || text->size() > longestWord) return {};
        const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7F; };
        const bool usable = std::none_of(text->begin(), text->end(), isControl);
        Secret taken(usable ? std::string_view(*text) : std::string_view());
        wipe(*text);
        return taken;
    }

private:
    nlohmann::json object_;
};

Error noFlow(const std::string& base) {
    return localError(Kind::refused,
                      fmt::format("There is no login by browser at {}: only Nextcloud and its kin "
                                  "have one (login flow v2). Leave out --browser.",
                                  base));
}

// Of characters that a URL may hold (RFC 3986, 2), without a user before its host: any program that
// reads it, a browser as well, finds the same server in it.
bool isPlainUrl(std::string_view text) {
    constexpr std::string_view characters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?#[]@!$&'()*+,;=%";
    const bool isMade = text.find_first_not_of(characters) == text.npos;
    const vxhost::Reference parts = vxhost::splitReference(text);
    const bool isWhole = parts.scheme && parts.authority;
    return isMade && isWhole && !vxhost::splitAuthority(*parts.authority).userinfo;
}

// Of what the server names, which is asked and shown to a person: whether it is the server's own.
Result<void> checkNamed(const std::string& url, const std::string& base) {
    if (!isPlainUrl(url)) {
        return localError(Kind::refused,
                          "What the server names for this login is no plain URL, such as one "
                          "without a user or a backslash, so it was sent nothing.");
    }
    if (vxhost::sameOrigin(url, base)) return {};
    return localError(Kind::refused,
                      fmt::format("The server sends this login on to {}, which is another one and "
                                  "was sent nothing; give its URL if you trust it.",
                                  vxhost::origin(url)));
}

// False: it is time to end.
bool pause(milliseconds time) {
    for (; time.count() > 0 && !interrupted(); time -= untilInterrupt) {
        const timespec slice{0, milliseconds(untilInterrupt).count() * 1'000'000};
        nanosleep(&slice, nullptr);
    }
    return !interrupted();
}

// Nothing: not yet.
Result<std::optional<Login>> askForLogin(Remote& remote, const LoginFlow& flow) {
    std::string form = "token=" + vxhost::encodeSegment(flow.token.view());
    Result<vxhost::Answer> answer = ask(remote, flow.endpoint, std::move(form));
    if (!answer) return std::move(answer).error();
    const bool notYet = answer->status == 404 || answer->status == 429 || answer->status == 503;
    if (notYet) return std::optional<Login>();
    if (answer->status != 200) return refusal(*answer);
    Document document(answer->text);
    Login login;
    login.user = document.take("/loginName").view();
    login.password = document.take("/appPassword");
    if (!login.user.empty() && userNameProblem(login.user).empty() && !login.password.empty()) {
        return std::optional(std::move(login));
    }
    return localError(Kind::network, "The server's answer names no user, or no password.");
}

}  // namespace

std::string baseOfScripts(std::string_view url) {
    size_t end = url.size();
    for (const std::string_view script : scripts) end = std::min(end, url.find(script));
    while (end > 0 && url[end - 1] == '/') --end;
    return std::string(url.substr(0, end));
}

Result<LoginFlow> beginLoginFlow(Remote& remote, const std::string& base) {
    Result<vxhost::Answer> answer = ask(remote, base + "/index.php/login/v2", {});
    if (!answer) return std::move(answer).error();
    constexpr int noPage[] = {401, 404, 405, 501};  // the page itself is for everybody
    if (std::ranges::find(noPage, answer->status) != std::end(noPage)) return noFlow(base);
    if (answer->status != 200) return refusal(*answer);
    Document document(answer->text);
    LoginFlow flow{std::string(document.take("/login").view()),
                   std::string(document.take("/poll/endpoint").view()),
                   document.take("/poll/token")};
    if (flow.page.empty() || flow.endpoint.empty() || flow.token.empty()) return noFlow(base);
    for (const std::string& url : {flow.endpoint, flow.page}) {
        if (Result<void> named = checkNamed(url, base); !named) return std::move(named).error();
    }
    return flow;
}

Result<Login> awaitLogin(Remote& remote, const LoginFlow& flow, std::chrono::seconds most) {
    const auto end = std::chrono::steady_clock::now() + most;
    std::optional<Error> latest;
    while (pause(betweenQuestions)) {
        if (std::chrono::steady_clock::now() >= end) break;
        Result<std::optional<Login>> login = askForLogin(remote, flow);
        if (login && *login) return std::move(**login);
        // A laptop may sleep meanwhile; the next question has its answer.
        const bool mayPass =
            login || (login.error().kind == Kind::network && login.error().code != Code::success);
        if (!mayPass) return std::move(login).error();
        latest = login ? std::nullopt : std::optional(std::move(login).error());
    }
    if (interrupted()) return interruption();
    if (latest) return *latest;
    return localError(Kind::notAuthorized, "Nobody signed in in time.");
}

std::vector<std::string> collectionsOf(const std::string& url, const std::string& user) {
    if (url.find("/remote.php/") != url.npos) return {url};
    const std::string base = baseOfScripts(url);
    return {fmt::format("{}/remote.php/dav/files/{}/", base, vxhost::encodeSegment(user)),
            base + "/remote.php/webdav/"};
}

}  // namespace quillon::cli
