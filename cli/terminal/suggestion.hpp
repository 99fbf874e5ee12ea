// Commands that a message suggests, to be pasted into a shell as they are.
#pragma once

#include <string>
#include <string_view>

namespace quillon::cli {

// A text as one word of a shell's command, quoted where that is needed.
std::string shellWord(std::string_view text);

// Whether a token that a server chose may stand in a command for a person to paste: it has the
// characters of a URI (RFC 3986, 2) and cannot pass for an option.
bool tokenShowable(std::string_view token);
// Whether it looks like a lock token, too: it has a scheme, or is the number or the bare UUID that
// some servers give.
bool isLockToken(std::string_view text);

// "OCCASION: quillon unlock URL --token TOKEN", or why no command can be given.
std::string unlockAdvice(std::string_view occasion, std::string_view url, std::string_view token);

}  // namespace quillon::cli
