// What a run changes in the folder. Each path is one of the plan's, and is left alone where it is
// not as the plan saw it (Kind::changedHere).
#pragma once

#include <string>

#include "sync/work.hpp"

namespace quillon::sync {

Task<Result<Done>> fetchFile(Work& work, std::string path);
Task<Result<Done>> makeFolder(Work& work, std::string path);
Task<Result<Done>> moveHere(Work& work, std::string from, std::string path);
Task<Result<Done>> removeFile(Work& work, std::string path);
Task<Result<Done>> removeFolder(Work& work, std::string path);

// Theirs beside a file in conflict, under a name that is never sent, once a version. Gives its
// path.
Task<Result<std::string>> fetchCopy(Work& work, std::string path);

// What comes of a version that was fetched: what the walk told, with what the answer proves.
ThereState fetchedState(ThereState listed, const FetchedContent& fetched, std::string hash);

}  // namespace quillon::sync
