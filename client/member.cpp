#include "client/member.hpp"

#include <string>
#include <system_error>
#include <utility>

#include "client/address.hpp"
#include "client/expected_calls.hpp"
#include "client/part_file.hpp"
#include "client/remote/content.hpp"
#include "client/remote/locks.hpp"
#include "client/state.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/text/methods.hpp"
#include "platform/text/url.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/operate.hpp"
#include "platform/weblnk/properties.hpp"
#include "platform/weblnk/resuming.hpp"

namespace quillon {
namespace {

Result<uint64_t> sizeOfCopy(const std::filesystem::path& file) {
    std::error_code problem;
    const uint64_t size = std::filesystem::file_size(file, problem);
    if (!problem) return size;
    return localError(Kind::local, "The local copy " + file.string() +
                                       " cannot be read: " + problem.message() + ".");
}

// The record has but one name, which may be the href's last segment in some spelling of escapes.
std::string displayNameOf(const vx::FileInfo& info, std::string_view url) {
    if (info.narrowName == nullptr) return {};
    const std::string_view name(info.narrowName, info.narrowNameLength);
    const std::string plain = vxhost::decodeSegment(lastSegment(url));
    return name == plain || vxhost::decodeSegment(name) == plain ? std::string()
                                                                 : std::string(name);
}

// A PUT that would make the member has a bit of its own.
std::vector<std::string_view> methodNames(uint32_t allow) {
    if ((allow & vx::ALLOW_PUT_NEW) != 0) allow |= vx::ALLOW_PUT;
    std::vector<std::string_view> allowed;
    for (const vxhost::Method& method : vxhost::methods) {
        if ((allow & method.bit) != 0) allowed.push_back(method.name);
    }
    return allowed;
}

Properties allowedBy(const vx::FileHandle& handle) {
    Properties properties;
    properties.exists = (handle.flags & vx::FILE_EXISTS) != 0;
    properties.methods = methodNames(handle.allow);
    properties.canLock = (handle.allow & vx::ALLOW_LOCK) != 0;
    return properties;
}

Properties propertiesOf(const vx::FileHandle& handle, std::string_view url) {
    Properties properties = allowedBy(handle);
    const vx::FileInfo* info = handle.fileInfo;
    if (info == nullptr) return properties;
    properties.isCollection = isCollection(*info);
    properties.size = sizeOf(*info);
    properties.created = timeOf(info->created);
    properties.modified = timeOf(info->modified);
    properties.displayName = displayNameOf(*info, url);
    return properties;
}

}  // namespace

Member::Member(std::unique_ptr<State> state) : state_(std::move(state)) {}

Member::Member(Member&&) noexcept = default;

Member::~Member() {
    if (state_ != nullptr) (void)unlock();
}

Member& Member::operator=(Member&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}

std::string Member::url() const {
    return state_->collection->url + state_->segment;
}

bool Member::exists() const {
    return (state_->handle->flags & vx::FILE_EXISTS) != 0;
}

Result<Properties> Member::info() {
    const vx::Status status = state_->operations().quillonFileInfo(
        state_->handle, &vxhost::utf32ToUtf8(), begin(state_->journal));
    if (status != vx::VX_SUCCESS) return failure(status, state_->journal);
    return propertiesOf(*state_->handle, url());
}

Properties Member::allowed() const {
    return allowedBy(*state_->handle);
}

std::optional<Properties> Member::lastInfo() const {
    if (state_->handle->fileInfo == nullptr) return std::nullopt;
    return propertiesOf(*state_->handle, url());
}

// All clients are made by this library's own host.
std::string Member::latestTag() const {
    const auto* client = static_cast<const vxhost::CurlClient*>(state_->handle->client);
    const vxhost::EntityTag tag = client->known.latestTag();
    return tag.text.empty() ? std::string() : tag.sent();
}

const std::filesystem::path& Member::file() const {
    return state_->file;
}

Result<Fetched> Member::fetch() {
    std::error_code none;
    if (std::filesystem::is_symlink(state_->file, none))
        std::filesystem::remove(state_->file, none);
    vx::GetReport report{};
    vx::FileGetParms parms{};
    parms.options = reinterpret_cast<vx::Word>(&report);
    const vx::Status status =
        state_->operations().quillonFileGet(state_->handle, &parms, begin(state_->journal));
    if ((report.flags & vx::GET_OF_COLLECTION) != 0) {
        return nothingToFetch();
    }
    if (status != vx::VX_SUCCESS) return failure(status, state_->journal);
    // The cache file is closed after the last byte came: what did not reach the disk shows here.
    const Result<uint64_t> size = sizeOfCopy(state_->file);
    if (!size) return size.error();
    if (*size != report.length) {
        return localError(Kind::local, "The local copy " + state_->file.string() +
                                           " could not be written whole. Is the disk full?");
    }
    return Fetched{state_->file, timeOf(report.modified),
                   (report.flags & vx::GET_END_UNPROVEN) == 0};
}

Result<Fetched> Member::fetchTo(const std::filesystem::path& destination, Naming naming,
                                bool resumes, const std::function<Result<void>()>& mayPlace) {
    const PartFile part(url(), destination);
    const auto kept = resumes ? part.find() : std::nullopt;
    const vxhost::Resuming resuming(part.path(), kept ? kept->size : 0,
                                    kept ? kept->tag : std::string());
    Result<Fetched> fetched = fetch();
    if (!fetched) {
        Error error = std::move(fetched).error();
        if (resumes) keepPart(part, resuming.latestTag, error);
        return error;
    }
    if (mayPlace) {
        if (Result<void> may = mayPlace(); !may) return std::move(may).error();
    }
    Result<void> placed = putInPlace(fetched->file, destination, naming, fetched->modified);
    if (!placed) return std::move(placed).error();
    if (kept) part.remove();
    fetched->file = destination;
    return fetched;
}

// What came of a fetch that broke off, unless it was this machine that failed.
void Member::keepPart(const PartFile& part, const std::string& tag, Error& error) const {
    const bool brokeOff = error.kind == Kind::network || error.kind == Kind::interrupted;
    const Result<uint64_t> size = sizeOfCopy(state_->file);
    if (!brokeOff || tag.empty() || !size || *size < leastPart) return;
    const Result<void> kept = part.keep(state_->file, tag);
    if (!kept) return error.sentences.push_back(kept.error().sentences.front());
    error.part = KeptPart{part.path(), *size};
}

Result<void> Member::store(const StoreOptions& options) {
    const Result<uint64_t> size = sizeOfCopy(state_->file);
    if (!size) return size.error();
    state_->putOptions.flags = vx::PUT_LENGTH_KNOWN | (options.onlyNew ? vx::PUT_ONLY_NEW : 0) |
                               (options.ifUnchanged ? vx::PUT_IF_UNCHANGED : 0);
    state_->putOptions.contentLength = *size;
    return outcome(
        state_->operations().quillonFilePut(state_->handle, nullptr, begin(state_->journal)),
        state_->journal);
}

Result<void> Member::copyFrom(const std::filesystem::path& source) {
    return linkOrCopy(source, state_->file);
}

Result<Protection> Member::lock(Purpose next) {
    vx::LockRequest request{};
    const vxhost::Expecting expecting({}, callsAfterLock(url(), exists(), next));
    const vx::Status status =
        state_->operations().quillonFileLock(state_->handle, &request, begin(state_->journal));
    if (status == vx::QUILLON_LOCK_NOT_SUPPORTED) return Protection::dateCheck;
    if (status == vx::VX_SUCCESS) return Protection::lock;
    return failure(status, state_->journal);
}

std::optional<Error> Member::lookTimedOut() {
    if (!hasTimedOut()) return std::nullopt;
    return failure(vxhost::WEBLNK_TIMED_OUT, state_->journal);
}

Result<void> Member::noteDate() {
    vx::LockRequest request{};
    request.flags = vx::LOCK_DATE_ONLY;
    return outcome(
        state_->operations().quillonFileLock(state_->handle, &request, begin(state_->journal)),
        state_->journal);
}

Result<void> Member::unlock() {
    return outcome(
        state_->operations().quillonFileLockRelease(state_->handle, begin(state_->journal)),
        state_->journal);
}

void Member::renewLock() {
    vx::LockObject* lock = state_->handle->lock;
    if (lock != nullptr) lock->RenewLock(lock);
}

bool Member::locked() const {
    return state_->handle->lock != nullptr;
}

std::string Member::lockToken() const {
    const vx::LockObject* lock = state_->handle->lock;
    return lock != nullptr ? lock->Token(lock) : std::string();
}

std::optional<uint32_t> Member::lockTimeout() const {
    if (!locked()) return {};
    return static_cast<const vxhost::HeldLock*>(state_->handle->lock)->timeout();
}

Result<void> Member::adoptLock(std::string_view token) {
    state_->adoptedToken = token;
    vx::LockRequest request{};
    request.flags = vx::LOCK_WITH_BLOCK;
    request.block.flags = vx::LOCK_BLOCK_ADOPT;
    request.block.token = state_->adoptedToken.data();
    request.block.tokenLength = state_->adoptedToken.size();
    return outcome(
        state_->operations().quillonFileLock(state_->handle, &request, begin(state_->journal)),
        state_->journal);
}

void Member::abandonLock() {
    vx::LockObject*& lock = state_->handle->lock;
    if (lock == nullptr) return;
    lock->Destroy(lock);  // sends nothing
    lock = nullptr;
}

Result<bool> Member::useOwnLock() {
    if (locked()) return true;
    begin(state_->journal);
    auto* client = static_cast<vxhost::CurlClient*>(state_->handle->client);
    int32_t status = 0;
    const vx::Status used =
        vxhost::operate(client->target->settings, &state_->journal, &status, [&] {
            status = 0;
            state_->handle->lock = vxhost::useOwnLock(*client, status).release();
        });
    if (used != vx::VX_SUCCESS) return failure(used, state_->journal);
    return locked();
}

bool Member::usesOwnLock() const {
    return locked() && static_cast<const vxhost::HeldLock*>(state_->handle->lock)->stays;
}

Result<void> Member::giveBackOwnLock() {
    if (locked()) static_cast<vxhost::HeldLock*>(state_->handle->lock)->stays = false;
    return unlock();
}

Result<std::optional<std::vector<FoundLock>>> Member::findLocks() {
    begin(state_->journal);
    const vxhost::Target& target =
        *static_cast<vxhost::CurlClient*>(state_->handle->client)->target;
    std::string told;
    int32_t status = 0;
    const vx::Status asked = vxhost::operate(target.settings, &state_->journal, &status, [&] {
        vxhost::PropertyAnswer answer = vxhost::askProperty(target, "lockdiscovery");
        told = std::move(answer.multistatus);
        status = answer.status;
    });
    if (asked != vx::VX_SUCCESS) return failure(asked, state_->journal);
    return parseLocks(target.url, told);
}

Result<void> Member::remove(std::optional<Time> olderThan) {
    // DELETE without a final slash takes a whole collection with it, too.
    const vxhost::LookingTwice twice;  // the operation below asks the same again
    const Result<Properties> properties = info();
    if (!properties) return properties.error();
    if (properties->exists && properties->isCollection) {
        return localError(Kind::refused, "This is a collection, and was left alone.");
    }
    vx::DeleteParms parms{};
    parms.fileHandle = state_->handle;
    parms.pathTranscoder = &vxhost::utf32ToUtf8();
    if (olderThan) parms.referenceTime = localReference(*olderThan);
    return outcome(state_->operations().quillonFileDelete(state_->collection->handle, &parms,
                                                          begin(state_->journal)),
                   state_->journal);
}

Result<void> Member::rename(std::string_view newName, std::optional<Time> olderThan) {
    const Result<std::string> segment = segmentFor(newName);
    if (!segment) return segment.error();
    vx::RenameParms parms{};
    parms.fileHandle = state_->handle;
    parms.newName = segment->data();
    parms.newNameLength = static_cast<int64_t>(segment->size());
    parms.nameTranscoder = &vxhost::utf8ToUtf32();
    parms.pathTranscoder = &vxhost::utf32ToUtf8();
    if (olderThan) parms.referenceTime = localReference(*olderThan);
    return outcome(state_->operations().quillonFileRename(state_->collection->handle, &parms,
                                                          begin(state_->journal)),
                   state_->journal);
}

}  // namespace quillon
