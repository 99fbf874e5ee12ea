#include "client/tree/put_several.hpp"

#include <map>
#include <utility>

#include "client/address.hpp"
#include "client/hold.hpp"
#include "client/memory/remembered_copy.hpp"
#include "client/tree/compare.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/put_file.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

class PuttingSeveral {
public:
    PuttingSeveral(Remote& remote, const std::vector<FileForMember>& files,
                   const PutSeveralOptions& options, PutFactsOnce& facts)
        : remote_(remote),
          files_(files),
          options_(options),
          putter_(remote, facts, {Links::followed, options.memory, options.meter, options.force}),
          tasks_(remote.loop()),
          slots_(remote.loop(), options.atOnce) {}

    Task<Result<void>> run(std::string collection) {
        Result<Members> members = co_await list(remote_, std::move(collection));
        if (!members) co_return std::move(members).error();
        for (Resource& resource : members->resources) {
            std::string name = vxhost::decodeSegment(resource.segment);
            there_.emplace(std::move(name), std::move(resource));
        }
        std::vector<ExpectedTransfer> expected;
        for (const FileForMember& file : files_) {
            const auto here = lookAtFile(file.file);
            expected.emplace_back(options_.meter, here ? here->size : 0);
        }
        if (options_.meter) options_.meter->expectNoMore();
        for (size_t n = 0; n < files_.size(); ++n) {
            Gate::Pass slot = co_await slots_.enter();
            if (stopped_) break;
            tasks_.spawn(put(n, std::move(expected[n]), std::move(slot)));
        }
        co_await tasks_.finish();
        co_return Result<void>();
    }

private:
    Task<> put(size_t n, ExpectedTransfer expected, Gate::Pass slot) {
        const Gate::Pass within = std::move(slot);  // until here, not until the task is taken away
        const ExpectedTransfer ending = std::move(expected);
        const Result<void> outcome = co_await putOne(files_[n]);
        stopped_ = stopped_ || (!outcome && outcome.error().kind == Kind::interrupted);
        options_.ended(n, outcome);
    }

    Task<Result<void>> putOne(const FileForMember& wanted) {
        const fs::path parent = wanted.file.parent_path();
        const Result<LocalFolder> folder = LocalFolder::open(parent.empty() ? "." : parent);
        if (!folder) co_return folder.error();
        const auto here = lookAtFile(wanted.file);
        if (!here)
            co_return localError(Kind::local, wanted.file.string() + " is no file any more.");
        FileToPut file;
        file.path = wanted.file.filename();
        file.url = wanted.url;
        file.here = *here;
        const auto found =
            there_.find(vxhost::decodeSegment(lastSegment<std::string_view>(file.url)));
        if (found != there_.end()) file.there = found->second;
        const Result<bool> mayStore = co_await mayStoreOver(*folder, file);
        if (!mayStore) co_return mayStore.error();
        if (!*mayStore) co_return Result<void>();
        Result<PutEnd> stored = co_await putter_.put(*folder, file);
        if (!stored) co_return stored.error();
        if (stored->mishap) co_return std::move(*stored->mishap);
        if (stored->remark) co_return std::move(*stored->remark);
        co_return Result<void>();
    }

    // False: it has the content already, and is left alone.
    Task<Result<bool>> mayStoreOver(const LocalFolder& folder, FileToPut& file) {
        if (!file.there) co_return true;
        if (file.there->isCollection) co_return isCollectionThere();
        if (options_.force) co_return true;
        if (options_.mayReplace) {
            const Result<void> may = options_.mayReplace(*file.there);
            if (!may) co_return may.error();
        }
        file.note = noteAbout(options_.memory, folder, file.path, file.url);
        const FileNote* note = file.note ? &*file.note : nullptr;
        const CompareOptions storeAll{.all = true};
        const Step step = chooseUp(file.here, file.there, note, true, {}, storeAll);
        if (step != Step::compareContent) co_return true;
        co_return co_await putter_.compareContent(folder, file);
    }

    Remote& remote_;
    const std::vector<FileForMember>& files_;
    const PutSeveralOptions& options_;
    FilePutter putter_;
    TaskGroup tasks_;
    Gate slots_;
    std::map<std::string, Resource> there_;  // by their names
    bool stopped_ = false;
};

}  // namespace

Task<Result<void>> putSeveral(Remote& remote, std::string collection,
                              const std::vector<FileForMember>& files,
                              const PutSeveralOptions& options, PutFactsOnce& facts) {
    PuttingSeveral putting(remote, files, options, facts);
    co_return co_await putting.run(std::move(collection));
}

}  // namespace quillon
