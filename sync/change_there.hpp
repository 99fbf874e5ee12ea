// What a run changes in the collection. Each path is one of the plan's, and is left alone where it
// is not as the plan saw it (Kind::changedOnServer).
#pragma once

#include <string>

#include "sync/work.hpp"

namespace quillon::sync {

Task<Result<Done>> storeFile(Work& work, std::string path);
Task<Result<Done>> makeCollection(Work& work, std::string path);
Task<Result<Done>> moveThere(Work& work, std::string from, std::string path, bool isFolder);
Task<Result<Done>> removeMember(Work& work, std::string path);
Task<Result<Done>> removeCollection(Work& work, std::string path);

}  // namespace quillon::sync
