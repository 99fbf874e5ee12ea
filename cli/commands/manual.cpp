#include "cli/commands/manual.hpp"

#include <string_view>
#include <variant>

#include "cli/config/site.hpp"
#include "cli/parser/man_page.hpp"

namespace quillon::cli {
namespace {

constexpr Named files[] = {
    {"$XDG_CONFIG_HOME/quillon/sites/NAME.toml", "A site, mode 0600; see quillon-config(5).",
     " login logout sites "},
    {"$XDG_CONFIG_HOME/quillon/key",
     "32 random bytes, mode 0600, under which the passwords of sites are encrypted.",
     " login encode "},
    {"$XDG_STATE_HOME/quillon/locks/",
     "Notes of locks that are held, and of the text that they guard.",
     " edit lock unlock locks open "},
    {"$XDG_STATE_HOME/quillon/notes.db",
     "Where files came from, and in which version; the latest in notes.log beside it. One that was "
     "damaged is kept as notes.db.damaged.",
     " get put check "},
    {"$XDG_STATE_HOME/quillon/servers/", "What servers do, as it was found out; kept for 30 days.",
     " put doctor "},
    {"$XDG_STATE_HOME/quillon/history", "The latest lines of the shell.", " shell "},
    {"$XDG_CACHE_HOME/quillon/",
     "Working copies while they are in use, and texts that could not be stored.",
     " edit lock open "},
    {"~/.netrc", "User names and passwords of hosts, where no option and no site has them."},
};

constexpr Named variables[] = {
    {"VISUAL, EDITOR", "The editor, with its options; VISUAL goes first.", " edit "},
    {"QUILLON_OPENER", "What opens a file in place of xdg-open, with its options.", " open "},
    {"QUILLON_FILE", "Names the local copy to the command that runs under the lock.", " lock "},
    {"LS_COLORS", "The colours of names on a terminal, as dircolors(1) makes them.", " ls tree "},
    {"NO_COLOR", "Names have no colours when it is set to anything.", " ls tree "},
    {"NETRC", "Another file than ~/.netrc."},
    {"http_proxy, https_proxy, all_proxy",
     "The URL of a proxy, unless --proxy or the site names one."},
    {"no_proxy", "Hosts to reach without a proxy, with commas between them."},
    {"XDG_CONFIG_HOME, XDG_STATE_HOME, XDG_CACHE_HOME",
     "Where the files lie; ~/.config, ~/.local/state and ~/.cache where they are not set.",
     " login logout sites encode edit lock unlock locks open get put check doctor shell "},
    {"QUILLON_LIBRARY", "The extension to load, where it is not beside the program in ../lib."},
};

std::string_view typeOf(std::string Site::*) {
    return "\"TEXT\"";
}
std::string_view typeOf(int Site::*) {
    return "NUMBER";
}
std::string_view typeOf(bool Site::*) {
    return "true|false";
}
std::string_view typeOf(Texts Site::*) {
    return "[\"TEXT\", ...]";
}

FormatPage configPage() {
    FormatPage page{
        "quillon-config",
        "the files that describe sites to quillon",
        "$XDG_CONFIG_HOME/quillon/sites/NAME.toml",
        "A site is a server's collection under a name, which stands with a colon wherever a URL "
        "stands: work:reports/. Each has a file of its own, in TOML, with these keys at its top. "
        "quillon login writes it, quillon logout removes it, and you may do so, too. The folder is "
        "~/.config/quillon/sites where the variable is not set.\n\n"
        "A file that others own or can change is not used, nor is one with a password that others "
        "can read. Options on the command line win. Other keys are yours.",
        "Examples:\n"
        "  url = \"https://dav.example.org/projects/\"\n"
        "  user = \"ann\"\n"
        "  timeout = 60\n",
        {}};
    for (const SiteKey& key : siteKeys()) {
        const auto type = std::visit([](auto field) { return typeOf(field); }, key.field);
        page.keys.push_back({key.name, type, key.meaning});
    }
    return page;
}

}  // namespace

std::string manual(const Parser& parser, const std::string& page) {
    return page == "config" ? manPage(parser, configPage())
                            : manPage(parser, page, {files, variables});
}

}  // namespace quillon::cli
