#include "cli/parser/options.hpp"

#include <CLI/CLI.hpp>

namespace quillon::cli {

CLI::Validator notEmpty() {
    return {[](const std::string& value) {
                return value.empty() ? std::string("The value is empty") : std::string();
            },
            ""};
}

void addCommonOptions(CLI::App& program, CommonOptions& options) {
    program.add_option("-u,--user", options.user, "User name; the password is asked for")
        ->type_name("NAME");
    program
        .add_option("--password-file", options.passwordFile,
                    "Read the password from the first line of FILE, - for standard input")
        ->type_name("FILE")
        ->check(notEmpty());
    program
        .add_option("--proxy", options.proxy,
                    "Go through this proxy; else as $http_proxy, $https_proxy and $no_proxy say")
        ->type_name("URL");
    program
        .add_option("--ca-file", options.caFile,
                    "Trust the certificate authorities of this PEM file alone")
        ->type_name("FILE")
        ->check(CLI::Validator(CLI::ExistingFile).description(""));
    program.add_flag("--insecure", options.insecure, "Accept any certificate");
    program
        .add_option("--timeout", options.timeoutSeconds,
                    "Give up when nothing moves for so long (30 to connect, 60 in a transfer)")
        ->type_name("SECONDS")
        ->check(CLI::Validator(CLI::Range(1, 86400)).description(""));
    program.add_flag("-v,--verbose", options.verbosity,
                     "Show what is done; twice: the requests, too");
}

}  // namespace quillon::cli
