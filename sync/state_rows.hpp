// The rows of a pair's state as they are kept.
#pragma once

#include <array>
#include <cstdint>

#include "client/memory/database.hpp"
#include "client/time.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

// The tables, and what each later version added to them.
extern const std::array<const char*, 4> stateTables;

int64_t millisecondsOf(Time time);

// Of a whole row, as SELECT * has it.
BaseNode readNode(const Statement& row);  // its path is column 0
Intent readIntent(const Statement& row);
Deed readDeed(const Statement& row);
Failed readFailed(const Statement& row);
ConflictCopy readCopy(const Statement& row);
KnownVersion readCompared(const Statement& row);
LateFile readLate(const Statement& row);

// In a transaction of the caller's. Throw a Failure.
void writeChange(const Database& database, StateChange& change);
void writeCompared(const Database& database, const std::vector<KnownVersion>& compared);

}  // namespace quillon::sync
