#include "cli/session/refusal.hpp"

#include <fmt/format.h>

#include <string>
#include <utility>

namespace quillon::cli {
namespace {

constexpr auto isForFirst =
    "What the command line says of that is for the server of its first URL. quillon login stores "
    "it for this one.";

std::string schemeAdvice(const Error& error) {
    if (error.httpStatus == 401) {
        return "It is told by --auth negotiate or --auth ntlm, and has a token by --token-file.";
    }
    return "NTLM and Negotiate are tried where --auth or a site's auth names them; without it "
           "Basic and Digest are, with user and password.";
}

}  // namespace

Error explainRefusal(const AccessOptions& access, const Site* site, const Login& login, Error error,
                     bool lineIsForAnother) {
    const bool isNobody = login.user.empty() && !access.hasToken() && access.auth.empty();
    const auto advise = [&](bool isMissing, std::string otherwise) {
        error.sentences.push_back(isMissing && lineIsForAnother ? isForFirst
                                                                : std::move(otherwise));
    };
    if (error.code == Code::certificateWanted) {
        advise(access.cert.empty(), "Give it with --cert, and --key where that is another file.");
    } else if (error.code == Code::otherSchemes) {
        advise(isNobody, schemeAdvice(error));
    } else if (error.code == Code::success || !mayPasswordHelp(error.code)) {
        return error;  // nobody was asked, or the error says it all
    } else if (access.hasToken()) {
        error.sentences.assign(1, "The server does not take the token.");
    } else if (login.user.empty()) {
        error.sentences.assign(1, "The server asks who you are.");
        advise(isNobody, "Give a user name with --user.");
    } else if (site != nullptr && !site->password.empty() && site->user == login.user) {
        error.sentences.push_back(
            fmt::format("If your password has changed: quillon login {}", site->name));
    }
    return error;
}

}  // namespace quillon::cli
