// Failures as a person reads them, on stderr: what was attempted on which URL, what the server
// answered, what to do next.
#pragma once

#include <string>
#include <string_view>

#include "cli/terminal/exit_code.hpp"
#include "client/error.hpp"

namespace quillon::cli {

// Of a server that does not understand plain http, or ends it.
inline constexpr std::string_view perhapsTlsHelp =
    "If the server speaks TLS at this port, its URL begins with https://.";

// Of a server that nobody vouches for; a sentence without its end.
inline constexpr std::string_view trustHelp =
    "Use --ca-file for that (--proxy-ca-file for a proxy)";

// Two lines or more: "quillon: cannot fetch https://...:" and the error's sentences. The code is
// the command's.
ExitCode report(std::string_view attempt, std::string_view url, const Error& error);

// Of what was done all the same, or is left as it is: "quillon: NAME: " and the sentences.
void reportBeside(std::string_view name, const Error& error);

// One line that begins with "quillon: ".
void complain(std::string_view sentence);

// These credentials appear in no report and no log from now on; an empty text is none. A value of
// less than six bytes, without the "@" of a URL, may stand in any word of a message: then it is the
// text in which it was given, such as "Name: value", that does not appear.
void concealInReports(std::string_view credentials, std::string_view givenIn = {});
// The same of a header's value, and of what stands in it behind a scheme, such as Bearer.
void concealHeader(std::string_view line);
// The text with "***" in their places.
std::string concealed(std::string text);

// While it lives, what this thread reports goes into the text instead.
class ReportsInto {
public:
    explicit ReportsInto(std::string& text);
    ReportsInto(const ReportsInto&) = delete;
    ReportsInto& operator=(const ReportsInto&) = delete;
    ~ReportsInto();

private:
    std::string* before_;
};
void printReports(const std::string& text);

}  // namespace quillon::cli
