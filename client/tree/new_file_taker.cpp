#include "client/tree/new_file_taker.hpp"

#include <stdexcept>
#include <utility>

#include "client/local_file.hpp"
#include "client/memory/file_note.hpp"

namespace quillon {

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

void NewFileTaker::begin() {
    if (file_) {
        if (meter_) meter_->move(-static_cast<int64_t>(file_->size()));
        require(file_->restart());
    } else if (Result<NewFile> made = folder_.makeFile(path_)) {
        file_.emplace(std::move(*made));
    } else {
        require(std::move(made).error());
    }
    if (isLarge_ && hashing_ == Hashing::unlessLarge) file_->leaveHash();
}

void NewFileTaker::take(std::string_view piece) {
    require(file_->write(piece));
    if (meter_) meter_->move(static_cast<int64_t>(piece.size()));
}

}  // namespace quillon
