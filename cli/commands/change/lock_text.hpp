// Locks in words.
#pragma once

#include <optional>
#include <string>

#include "client/remote/locks.hpp"
#include "client/time.hpp"

namespace quillon::cli {

// By this machine's clock; nothing where the server names no end.
std::optional<Time> endOf(const FoundLock& lock);
// "until 2026-11-24 14:53 (1 h 58 min)"; "-" where the server does not say.
std::string endText(const FoundLock& lock);
// "by ann until 2026-11-24 14:53 (1 h 58 min)", as far as the server tells; or empty.
std::string holderText(const FoundLock& lock);
// "locked by ann until 2026-11-24 14:53 (1 h 58 min)", as far as the server tells.
std::string lockText(const FoundLock& lock);

}  // namespace quillon::cli
