// What the examples say and ask.
#pragma once

#include <client/collection.hpp>
#include <iostream>
#include <string>

// Prints why something was not done; gives the program's exit code.
inline int complain(const quillon::Error& error) {
    for (const std::string& sentence : error.sentences) std::cerr << sentence << '\n';
    return 1;
}

// The password is the first line of the standard input; of no user there is none.
inline quillon::Login readLogin(const std::string& user) {
    quillon::Login login;
    if (user.empty()) return login;
    login.user = user;
    std::string line;
    std::getline(std::cin, line);
    login.password = quillon::Secret(line);
    quillon::wipe(line);
    return login;
}
