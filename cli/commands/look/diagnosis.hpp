// What is known of a server, in words.
#pragma once

#include <string>
#include <vector>

#include "client/facts/learn_facts.hpp"

namespace quillon::cli {

struct Examined {
    ServerFacts facts;
    CollectionState state;
    bool tls = false;
    bool tlsChecked = true;      // the certificate; --insecure does not
    bool isLocal = false;        // nobody else is on the way to it
    std::string authentication;  // the scheme that it asked for; empty: it asked for none
    bool triedToWrite = true;
};

struct Finding {
    std::string about, text;
};

std::vector<Finding> whatItIs(const Examined& server);
std::vector<Finding> whatItDoes(const Examined& server);
std::vector<Finding> whatQuillonDoes(const Examined& server);
// For its administrator; one sentence each.
std::vector<std::string> whatCouldBeSet(const Examined& server);

// "lock", "lock-and-look", "if-match", "if" or "look": of the guard, for other programs.
std::string guardWord(Guard guard);
std::string datesWord(DatesBy dates);

}  // namespace quillon::cli
