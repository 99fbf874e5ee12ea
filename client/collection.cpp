#include "client/collection.hpp"

#include <utility>

#include "client/expected_calls.hpp"
#include "client/state.hpp"
#include "platform/base/system_failure.hpp"
#include "platform/base/transcoder.hpp"

namespace quillon {
namespace {

// Servers that do not know HEAD on a collection are asked in another way.
constexpr uint8_t CLIENT_OPTION = vx::CLIENT_HEAD_BY_PROPFIND;

// The record points to the texts, which outlive it.
template <class Parms>
Parms parmsFor(const std::string& url, const Login& login) {
    Parms parms{};
    setText(parms.url, parms.urlLength, url);
    setText(parms.proxy, parms.proxyLength, login.proxy);
    setText(parms.user, parms.userLength, login.user);
    setText(parms.password, parms.passwordLength, login.password.view());
    parms.textTranscoder = &vxhost::utf8ToUtf32();
    parms.pathTranscoder = &vxhost::utf32ToUtf8();
    parms.clientOption = CLIENT_OPTION;
    return parms;
}

// The person's own cache directory is one they can move.
Error withCacheHint(Error error, const OpenOptions& options) {
    const bool own = options.cache && options.cacheParent.empty();
    if (own && vxhost::isFileFailure(static_cast<vx::Status>(error.code))) {
        error.sentences.emplace_back("XDG_CACHE_HOME can name another place for the local cache.");
    }
    return error;
}

using Operation = vx::Status (*)(vx::ExtensionHandle*, vx::CollectionOpParms*, vx::Journal*);

Result<void> runOperation(const Extension& extension, Operation operation,
                          vx::CollectionOpParms parms) {
    vxhost::UserJournal journal;
    return outcome(operation(extension.state()->handle(), &parms, begin(journal)), journal);
}

}  // namespace

Result<Collection> Collection::open(const Extension& extension, const Address& address,
                                    const Login& login, const OpenOptions& options) {
    auto state = std::make_shared<State>(extension.state(), address.collection());
    const std::string cacheParent = options.cacheParent.string();
    auto parms = parmsFor<vx::CollectionParms>(state->url, login);
    setText(parms.cacheParent, parms.cacheParentLength, cacheParent);
    parms.options = vx::LIST_COLLECTIONS_OPTION | (options.cache ? 0 : vx::NO_CACHE);
    const vxhost::Expecting expecting(callsToOpen(state->url, address.segment(), options.purpose));
    state->handle = state->operations().quillonCollectionHandleAcquire(
        extension.state()->handle(), &parms, begin(state->journal));
    if (state->handle == nullptr) return withCacheHint(failure(parms.rc, state->journal), options);
    return Collection(std::move(state));
}

Result<Listing> Collection::list() {
    const vxhost::Expecting expecting(callsToList(state_->url));
    // Nobody reads the narrow names, so none are made: an Entry converts what it is asked for.
    vx::CollectionListHandle* opened = state_->operations().quillonCollectionListOpen(
        state_->handle, nullptr, nullptr, begin(state_->journal));
    // The operation tells no status.
    if (opened == nullptr) return failure(vx::QUILLON_REQUEST_FAILED, state_->journal);
    return Listing(std::make_shared<const Listing::State>(state_, opened));
}

Result<Member> Collection::member(std::string_view segment, Purpose purpose) {
    auto state = std::make_unique<Member::State>(state_, std::string(segment));
    vx::FileHandleParms parms{};
    parms.memberName = state->segment.data();  // empty is a name, null is none
    parms.memberNameLength = static_cast<int64_t>(state->segment.size());
    parms.nameTranscoder = &vxhost::utf8ToUtf32();
    parms.pathTranscoder = &vxhost::utf32ToUtf8();
    parms.clientOption = CLIENT_OPTION;
    parms.putOptions = &state->putOptions;
    parms.putOptionsLength = sizeof state->putOptions;
    const vxhost::Expecting expecting(callsForMember(state_->url + state->segment, purpose));
    state->handle = state_->operations().quillonFileHandleAcquire(state_->handle, &parms,
                                                                  begin(state->journal));
    if (state->handle == nullptr) return failure(parms.rc, state->journal);
    state->file = std::string_view(state->handle->cachePath, state->handle->cachePathLength);
    return Member(std::move(state));
}

const std::string& Collection::url() const {
    return state_->url;
}

Result<void> createCollection(const Extension& extension, const Address& address,
                              const Login& login) {
    const std::string url = address.asCollection().collection();
    return runOperation(extension, extension.state()->operations().quillonCollectionCreate,
                        parmsFor<vx::CollectionOpParms>(url, login));
}

Result<void> removeCollection(const Extension& extension, const Address& address,
                              const Login& login, bool withMembers) {
    const std::string url = address.asCollection().collection();
    auto parms = parmsFor<vx::CollectionOpParms>(url, login);
    parms.deleteAll = withMembers;
    return runOperation(extension, extension.state()->operations().quillonCollectionDelete, parms);
}

}  // namespace quillon
