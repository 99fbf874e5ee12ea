#include "client/tree/new_file_taker.hpp"

#include <stdexcept>
#include <utility>

#include "client/local_file.hpp"
#include "client/memory/file_note.hpp"

namespace quillon {
namespace {

constexpr uint64_t mostGathered = uint64_t{64} << 10;  // bytes, of each that is under way

}  // namespace

void NewFileTaker::require(Result<void> done) {
    if (done) return;
    failure_ = std::move(done).error();
    throw std::runtime_error(failure_->sentences.front());
}

bool NewFileTaker::beginWith(const std::filesystem::path& beginning, uint64_t size) {
    Result<NewFile> made = folder_.makeFile(path_);
    if (!made) return false;
    file_.emplace(std::move(*made));
    const Result<void> copied = readPieces(beginning, [&](std::string_view piece) {
        return file_->write(piece.substr(0, size - file_->size())) && file_->size() < size;
    });
    return copied && file_->size() == size;
}

void NewFileTaker::announce(std::optional<uint64_t> length, const std::string& tagToGoOn) {
    isLarge_ = length > worthHashing;
    tagToGoOn_ = tagToGoOn;
}

Result<void> NewFileTaker::makeOrRestart() {
    if (file_) {
        move(-static_cast<int64_t>(file_->size()));
        if (Result<void> restarted = file_->restart(); !restarted) return restarted;
    } else {
        Result<NewFile> made = folder_.makeFile(path_);
        if (!made) return std::move(made).error();
        file_.emplace(std::move(*made));
    }
    if (isLarge_ && hashing_ == Hashing::unlessLarge) file_->leaveHash();
    return {};
}

void NewFileTaker::begin() {
    require(makeOrRestart());
}

void NewFileTaker::take(std::string_view piece) {
    require(file_->write(piece));
    move(static_cast<int64_t>(piece.size()));
}

void GatheringTaker::announce(std::optional<uint64_t> length, const std::string& tagToGoOn) {
    NewFileTaker::announce(length, tagToGoOn);
    isSmall_ = length && *length <= mostGathered;
}

void GatheringTaker::begin() {
    move(-static_cast<int64_t>(gathered_.size()));
    gathered_.clear();
    if (!isSmall_) NewFileTaker::begin();
}

void GatheringTaker::take(std::string_view piece) {
    if (!isSmall_) return NewFileTaker::take(piece);
    gathered_.append(piece);
    move(static_cast<int64_t>(piece.size()));
}

Result<void> GatheringTaker::settle() {
    if (!isSmall_) return {};
    Result<void> made = makeOrRestart();
    return made ? file()->write(gathered_) : std::move(made);
}

}  // namespace quillon
