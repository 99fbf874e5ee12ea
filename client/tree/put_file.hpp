// One file of a folder into a member, over nobody's change.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/memory/file_memory.hpp"
#include "client/remote/content.hpp"
#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"
#include "client/transfer_meter.hpp"
#include "client/tree/local_folder.hpp"
#include "client/tree/put_facts.hpp"
#include "platform/http/file_upload.hpp"

namespace quillon {

struct FileToPut {
    std::string path, url;  // in its folder; of the member
    LocalEntry here;
    std::optional<Resource> there;  // as it was seen
    std::optional<FileNote> note{};
    ExpectedTransfer expected{};
    std::string thereHash{};  // where that does not prove which content was seen; else empty
};

struct PutEnd {
    uint64_t size = 0;  // in bytes
    // Of what was stored, where that is certain; else without a tag, and the date makes it likely.
    Version version{};
    std::string hash{};             // of what was sent
    LocalEntry begun{};             // the file that it was read from
    bool isOther = false;           // the server stores something else
    std::optional<Error> remark{};  // the server stores something else than was sent
    // It is stored, and yet: it replaced what somebody made at the same time, or its lock stays.
    std::optional<Error> mishap{};
};

// For the tasks of one thread.
class FilePutter {
public:
    struct Options {
        Links links = Links::left;
        FileMemory* memory = nullptr;  // null: nothing is noted, and no note is believed
        TransferMeter* meter = nullptr;
        bool overAnything = false;  // without a condition or a lock
    };
    // facts: asked for at the first member, unless it goes over anything.
    FilePutter(Remote& remote, PutFactsOnce& facts, const Options& options)
        : remote_(remote), facts_(facts), options_(options), locks_(remote.loop(), 1) {}

    // Whether what is here is to be stored, by the content that is there: not when it is the same,
    // which is noted, and not when it is another one than the file's note tells, which fails.
    Task<Result<bool>> compareContent(const LocalFolder& folder, const FileToPut& file);

    // A new member is made only where nothing is; one that was seen is
    // replaced only as it was seen, by what the server was seen to obey.
    Task<Result<PutEnd>> put(const LocalFolder& folder, const FileToPut& file);

    // Locks are taken one after another: some servers lose those that are taken at the same time.
    Gate& locks() { return locks_; }

private:
    Task<Result<Stored>> send(const FileToPut& file, vxhost::FileUpload& content);
    Task<Result<Stored>> sendGuarded(const FileToPut& file, vxhost::FileUpload& content,
                                     ServerFacts facts, std::vector<std::string> headers);
    Task<Result<Stored>> storeBy(Guard guard, const FileToPut& file, vxhost::FileUpload& content,
                                 std::vector<std::string> headers);
    Task<> lookForDate(const FileToPut& file, uint64_t sent, Version* stored);
    Task<bool> replacedAnother(const FileToPut& file, const Stored& stored);
    Task<> doubtFacts(const FileToPut& file);
    FileNote makeNote(const FileToPut& file, const Version& version, std::string hash) const;
    void noteStored(const LocalFolder& folder, const FileToPut& file,
                    const vxhost::FileUpload& content, const Stored& stored) const;
    void keepNote(const LocalFolder& folder, const FileToPut& file, FileNote note,
                  const LocalEntry& here) const;

    Remote& remote_;
    PutFactsOnce& facts_;
    const Options options_;
    Gate locks_;
};

}  // namespace quillon
