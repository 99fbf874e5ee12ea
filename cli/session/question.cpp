#include "cli/session/question.hpp"

#include <fmt/format.h>

#include "cli/session/prompt.hpp"

namespace quillon::cli {

Result<bool> askPerson(const std::string& question, const std::string& option) {
    if (!canPrompt()) {
        return localError(Kind::usage,
                          fmt::format("{} There is nobody to ask here: nothing was done. {} says "
                                      "yes.",
                                      question, option));
    }
    const Result<std::string> answer = promptLine(question + " [y/N] ");
    if (!answer) return answer.error();
    return *answer == "y" || *answer == "Y" || *answer == "yes";
}

}  // namespace quillon::cli
