// What edit and lock share: a program changes a member's content while nobody else can.
#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

#include "cli/session/session.hpp"

namespace quillon::cli {

struct Changer {
    std::string_view attempt;  // for a failure's report: "edit"
    bool tellsUnchanged = false;
    // Its exit code. While it waits it calls what it is given about once a second.
    std::function<int(const std::filesystem::path&, const std::function<void()>& eachSecond)> run;
};

// Holds the member, hands its content to the program as a local file, and stores what that made of
// it. A program that fails stores nothing, and its exit code is the result. A changed content that
// was not stored is kept in a local file, which a message names. Failures have been reported.
int changeMember(Session& session, const Address& address, const Changer& changer);

}  // namespace quillon::cli
