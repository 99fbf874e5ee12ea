// A member's content on its way into a new file of a folder.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "client/remote/content.hpp"
#include "client/transfer_meter.hpp"
#include "client/tree/local_folder.hpp"

namespace quillon {

// Of which contents NewFile::hash() tells, once they have come: to hash a large one takes longer
// than to fetch it from nearby.
enum class Hashing : bool { ofAll, unlessLarge };

class NewFileTaker : public ContentTaker {
public:
    // folder and path outlive it. meter: null for none.
    NewFileTaker(const LocalFolder& folder, const std::string& path, TransferMeter* meter,
                 Hashing hashing)
        : folder_(folder), path_(path), meter_(meter), hashing_(hashing) {}

    // The first bytes are those of a file that an earlier fetch left. False: they are not there.
    bool beginWith(const std::filesystem::path& beginning, uint64_t size);

    void announce(std::optional<uint64_t> length, const std::string& tagToGoOn) override;
    void begin() override;
    void take(std::string_view piece) override;

    std::optional<NewFile>& file() { return file_; }
    // Of the version that came; empty: no later fetch can go on behind it.
    const std::string& tagToGoOn() const { return tagToGoOn_; }
    // Why this side could not take it; empty: it could.
    std::optional<Error>& failure() { return failure_; }

protected:
    TransferMeter* meter() const { return meter_; }

private:
    void require(Result<void> done);

    const LocalFolder& folder_;
    const std::string& path_;
    TransferMeter* const meter_;
    const Hashing hashing_;
    bool isLarge_ = false;
    std::optional<NewFile> file_;
    std::string tagToGoOn_;
    std::optional<Error> failure_;
};

}  // namespace quillon
