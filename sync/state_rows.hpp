// The rows of a pair's state as they are kept.
#pragma once

#include <cstdint>

#include "client/memory/database.hpp"
#include "client/time.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

inline constexpr int stateVersion = 1;  // of the tables
extern const char* const stateTables;

int64_t millisecondsOf(Time time);

// Of a whole row, as SELECT * has it.
BaseNode readNode(const Statement& row);  // its path is column 0
Intent readIntent(const Statement& row);
Deed readDeed(const Statement& row);
Failed readFailed(const Statement& row);
ConflictCopy readCopy(const Statement& row);
LateFile readLate(const Statement& row);

// In a transaction of the caller's. Throws a Failure.
void writeChange(const Database& database, StateChange& change);

}  // namespace quillon::sync
