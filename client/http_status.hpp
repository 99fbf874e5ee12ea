// HTTP statuses that refuse, in words for a person.
#pragma once

#include <string>

namespace quillon {

// "The server answered 409 (Conflict). ..." with what to do about it, where something can be done.
std::string answerText(int httpStatus);

}  // namespace quillon
