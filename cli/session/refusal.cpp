#include "cli/session/refusal.hpp"

#include <fmt/format.h>

#include <utility>

namespace quillon::cli {
namespace {

constexpr auto noTicket =
    "The server does not take your Kerberos ticket, or there is none: klist shows it, kinit gets "
    "one.";

}  // namespace

Error explainRefusal(const AccessOptions& access, const Site* site, const Login& login,
                     Error error) {
    const bool wasAsked = error.code != Code::success;
    if (!wasAsked || error.code == Code::otherSchemes) return error;
    if (error.code == Code::certificateWanted) {
        error.sentences.emplace_back("Give it with --cert, and --key where that is another file.");
    } else if (access.hasToken()) {
        error.sentences.assign(1, "The server does not take the token.");
    } else if (access.usesTicket()) {
        error.sentences.assign(1, noTicket);
    } else if (login.user.empty()) {
        error.sentences.assign(1, "The server asks who you are. Give a user name with --user.");
    } else if (site != nullptr && !site->password.empty() && site->user == login.user) {
        error.sentences.push_back(
            fmt::format("If your password has changed: quillon login {}", site->name));
    }
    return error;
}

}  // namespace quillon::cli
