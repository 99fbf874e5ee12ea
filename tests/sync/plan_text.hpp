// A plan in a line, for tests.
#pragma once

#include <string>

#include "sync/plan.hpp"

namespace quillon::sync {

inline std::string nameOf(Act act) {
    static const char* const names[] = {
        "moveHere", "moveThere", "makeHere", "makeThere", "fetch",      "store",      "compare",
        "adopt",    "forget",    "conflict", "blocked",   "removeHere", "removeThere"};
    return names[static_cast<size_t>(act)];
}

inline std::string nameOf(Conflict conflict) {
    static const char* const names[] = {"none", "bothChanged", "bothMade", "kinds"};
    return names[static_cast<size_t>(conflict)];
}

// As "moveThere b<a, kinds c"; with "+" where a second plan is needed.
inline std::string textOf(const Plan& plan) {
    std::string text;
    for (const Action& action : plan.actions) {
        if (!text.empty()) text += ", ";
        text += action.conflict == Conflict::none ? nameOf(action.act) : nameOf(action.conflict);
        text += " " + action.path;
        if (!action.from.empty()) text += "<" + action.from;
    }
    return text + (plan.needsMore ? "+" : "");
}

}  // namespace quillon::sync
