// Commands: each is a file with a function that adds itself to the parser. Once its arguments are
// parsed it leaves what is to be run, since options of the program may stand behind the command.
#pragma once

#include <functional>
#include <string>

#include "cli/exit_code.hpp"
#include "cli/options.hpp"
#include "cli/session.hpp"

namespace CLI {
class App;
}

namespace quillon::cli {

struct Invocation {
    CommonOptions common;
    std::function<int(Session&)> run;
};

void addLs(CLI::App& program, Invocation& invocation);
void addInfo(CLI::App& program, Invocation& invocation);
void addGet(CLI::App& program, Invocation& invocation);

// What a person typed as a URL; its credentials, if it has some, are taken out and the text wiped.
// A failure has been reported.
Result<Address> parseUrl(std::string& typed);

}  // namespace quillon::cli
