#include "cli/command.hpp"

#include "cli/report.hpp"

namespace quillon::cli {

Result<Address> parseUrl(std::string& typed) {
    Result<Address> address = Address::parse(typed);
    wipe(typed);
    if (!address) report("use this URL", {}, address.error());
    return address;
}

}  // namespace quillon::cli
