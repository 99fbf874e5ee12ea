// The netrc file. The first line is the host asked for, the second one the login.
#include "cli/netrc.hpp"

#include "tests/fuzz/fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto rest = fuzz::text(data, size);
    const auto host = fuzz::takeLine(rest);
    const auto login = fuzz::takeLine(rest);
    const auto entry = quillon::cli::findInNetrc(rest, host, login);
    if (!entry) return 0;
    fuzz::require(!entry->password.empty(), "an entry has a password");
    fuzz::require(login.empty() || entry->login == login, "of the login asked for");
    return 0;
}
