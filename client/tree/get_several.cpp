#include "client/tree/get_several.hpp"

#include <map>
#include <utility>

#include "client/memory/remembered_copy.hpp"
#include "client/outcome.hpp"
#include "client/part_file.hpp"
#include "client/remote/content.hpp"
#include "client/remote/resource.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/local_folder.hpp"
#include "client/tree/new_file_taker.hpp"
#include "platform/files/content.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

// Tells what is to come where only the answer does.
class CopyTaker final : public NewFileTaker {
public:
    // expected: of a size that only the answer tells, or that is told already.
    CopyTaker(const LocalFolder& folder, const std::string& path, TransferMeter* meter,
              ExpectedTransfer& expected)
        : NewFileTaker(folder, path, meter, Hashing::unlessLarge), expected_(expected) {}

    void announce(std::optional<uint64_t> length, const std::string& tagToGoOn) override {
        NewFileTaker::announce(length, tagToGoOn);
        if (length && !expected_.isTold()) expected_ = ExpectedTransfer(meter(), *length);
    }

private:
    ExpectedTransfer& expected_;
};

class GettingSeveral {
public:
    GettingSeveral(Remote& remote, const std::vector<WantedMember>& members,
                   const SeveralOptions& options)
        : remote_(remote),
          members_(members),
          options_(options),
          files_(remote.loop()),
          slots_(remote.loop(), options.atOnce) {}

    Task<Result<void>> run() {
        if (members_.size() > 1) {
            // It learns login and protocol, which a large content would take its time for.
            const auto first = co_await look(remote_, members_.front().url);
            if (!first && first.error().kind == Kind::notAuthorized) co_return first.error();
        }
        std::vector<ExpectedTransfer> expected;
        for (const WantedMember& member : members_) {
            // Of a single one its answer tells it in time.
            const bool isKnown = member.size || members_.size() > 1;
            expected.emplace_back(isKnown ? options_.meter : nullptr, member.size.value_or(0));
        }
        if (options_.meter) options_.meter->expectNoMore();
        for (size_t n = 0; n < members_.size(); ++n) {
            Gate::Pass slot = co_await slots_.enter();
            if (stopped_) break;
            files_.spawn(get(n, std::move(expected[n]), std::move(slot)));
        }
        co_await files_.finish();
        co_return Result<void>();
    }

private:
    Task<> get(size_t n, ExpectedTransfer expected, Gate::Pass slot) {
        const Gate::Pass within = std::move(slot);  // until here, not until the task is taken away
        ExpectedTransfer ending = std::move(expected);
        bool endProven = true;
        const Result<void> outcome = co_await getOne(members_[n], &ending, &endProven);
        stopped_ = stopped_ || (!outcome && outcome.error().kind == Kind::interrupted);
        options_.ended(n, outcome, endProven);
    }

    Task<Result<void>> getOne(const WantedMember& member, ExpectedTransfer* expected,
                              bool* endProven) {
        const auto mayReplace = [&]() -> Result<void> {
            if (options_.memory == nullptr || options_.force) return {};
            return mayReplaceCopy(*options_.memory, member.place, member.url);
        };
        Result<void> may = mayReplace();
        if (!may) co_return std::move(may);
        const Result<const LocalFolder*> folder = folderOf(member.place.parent_path());
        if (!folder) co_return folder.error();
        const std::string name = member.place.filename();
        const Result<std::optional<LocalEntry>> here = (*folder)->look(name);
        if (!here) co_return here.error();
        CopyTaker taker(**folder, name, options_.meter, *expected);
        FetchWish wish{.size = member.size};
        const PartFile part(member.url, member.destination);
        const auto kept = options_.resumes ? part.find() : std::nullopt;
        if (kept && !kept->tag.empty() && taker.beginWith(part.path(), kept->size)) {
            wish.beginning = kept->size;
            wish.beginningTag = kept->tag;
        }
        Result<FetchedContent> fetched =
            co_await fetch(remote_, member.url, taker, std::move(wish));
        if (!fetched) {
            Error error = taker.failure() ? *taker.failure() : std::move(fetched).error();
            if (options_.resumes) keepPart(part, taker, (*folder)->shown({}), error);
            co_return std::move(error);
        }
        *endProven = fetched->endProven;
        may = mayReplace();
        if (!may) co_return std::move(may);
        NewFile& content = *taker.file();
        // A name may reach the disk before the content does, and what was there would be lost.
        const Durability durability = *here ? Durability::content : Durability::none;
        const Result<LocalEntry> placed =
            content.place(fetched->version.modified, *here, durability);
        if (!placed) co_return placed.error();
        if (kept) part.remove();
        if (options_.memory) remember(member, *fetched, content, *placed);
        co_return Result<void>();
    }

    void remember(const WantedMember& member, const FetchedContent& fetched, NewFile& content,
                  const LocalEntry& placed) {
        // What may be cut short is noted to know a change of it here. No tag and no date says that
        // the server has the same, so that who stores over it compares the contents.
        const Version version = fetched.endProven ? fetched.version : Version{};
        const Result<FileNote> note = noteOfPlaced(member.url, version, content, placed);
        if (!note) return;  // what cannot be read now is not remembered
        options_.memory->keep(member.place, content.descriptor(), *note);
    }

    // What came of a fetch that broke off, unless it was this machine that failed.
    static void keepPart(const PartFile& part, NewFileTaker& taker, const fs::path& folder,
                         Error& error) {
        const bool brokeOff = error.kind == Kind::network || error.kind == Kind::interrupted;
        if (!brokeOff || !taker.file() || taker.tagToGoOn().empty()) return;
        NewFile& file = *taker.file();
        if (file.size() < leastPart) return;
        const Result<std::string> hidden = file.hide();
        if (!hidden) return error.sentences.push_back(hidden.error().sentences.front());
        const Result<void> kept = part.keep(folder / *hidden, taker.tagToGoOn());
        if (!kept) return error.sentences.push_back(kept.error().sentences.front());
        error.part = KeptPart{part.path(), file.size()};
    }

    Result<const LocalFolder*> folderOf(const fs::path& path) {
        const auto known = folders_.find(path);
        if (known != folders_.end()) return &known->second;
        Result<LocalFolder> opened = LocalFolder::open(path.empty() ? "." : path);
        if (!opened) return std::move(opened).error();
        return &folders_.emplace(path, std::move(*opened)).first->second;
    }

    Remote& remote_;
    const std::vector<WantedMember>& members_;
    const SeveralOptions& options_;
    TaskGroup files_;
    Gate slots_;
    std::map<fs::path, LocalFolder> folders_;
    bool stopped_ = false;
};

}  // namespace

Task<Result<void>> getSeveral(Remote& remote, const std::vector<WantedMember>& members,
                              const SeveralOptions& options) {
    GettingSeveral getting(remote, members, options);
    co_return co_await getting.run();
}

}  // namespace quillon
