// What programs print that a site names, such as password managers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// Runs the words, the program first, without a shell, and waits for its end: it gives its standard
// output, up to 64 KiB. It may ask on the terminal, and its complaints are the person's to read;
// input, when it is not empty, is its standard input. Fails with Kind::local when it cannot be run,
// does not succeed or prints more; key, that of a site, says which it was.
Result<Secret> outputOf(const std::vector<std::string>& words, std::string_view key,
                        const Secret& input = {});

// The first line of that, without its end. Fails, too, where it cannot be sent.
Result<Secret> firstLineOf(const std::vector<std::string>& words, std::string_view key);

// From now on none is run, as where a line is completed.
void neverRunCommands();

}  // namespace quillon::cli
