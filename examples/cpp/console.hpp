// What the examples are told, say and ask.
#pragma once

#include <client/collection.hpp>
#include <iostream>
#include <string>

// Prints why something was not done; gives the program's exit code.
inline int complain(const quillon::Error& error) {
    for (const std::string& sentence : error.sentences) std::cerr << sentence << '\n';
    return 1;
}

// Runs what was asked for; gives the program's exit code. operands: as the usage shows them; where
// the second is not given, it is empty.
inline int runWithOperands(int argc, char** argv, const char* operands,
                           int (*run)(const std::string& first, const std::string& second)) {
    if (argc == 2 || argc == 3) return run(argv[1], argc == 3 ? argv[2] : "");
    std::cerr << "usage: " << argv[0] << ' ' << operands << ", the password on standard input\n";
    return 2;
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
