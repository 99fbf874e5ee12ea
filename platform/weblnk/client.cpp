#include "platform/weblnk/client.hpp"

#include "platform/base/slots.hpp"
#include "platform/weblnk/expecting.hpp"
#include "platform/weblnk/operate.hpp"

namespace vxhost {
namespace {

CurlClient& own(vx::Client* client) {
    return *static_cast<CurlClient*>(client);
}

template <class Body>
Status run(vx::Client* client, vx::Journal* journal, int32_t* status, Body&& body) noexcept {
    return operate(own(client).target->settings, own(client).journalOr(journal), status,
                   std::forward<Body>(body));
}
template <class Body>
Status run(vx::Client* client, int32_t* status, Body&& body) noexcept {
    return run(client, nullptr, status, std::forward<Body>(body));
}

Status runGet(vx::Client* client, const vx::Word* options, int32_t* status,
              vx::WriteCallback* callback) noexcept {
    vx::GetReport unread;
    auto* wanted = options ? reinterpret_cast<vx::GetReport*>(*options) : nullptr;
    vx::GetReport& report = wanted ? *wanted : unread;
    report = {0, 0, 0, missingDate};
    return run(client, callback->journal, status,
               [&] { get(own(client), *status, callback, report); });
}

Status runPut(vx::Client* client, const vx::PutOptions* options, uint64_t optionsLength,
              const vx::LockObject* lock, int32_t* status, vx::ReadCallback* callback) noexcept {
    const bool given = options && optionsLength >= sizeof(vx::PutOptions);
    const vx::PutOptions chosen = given ? *options : vx::PutOptions{};
    return run(client, callback->journal, status,
               [&] { put(own(client), chosen, lock, *status, callback); });
}

vx::LockObject* runLock(vx::Client* client, const vx::LockParms* parms, int32_t* status,
                        vx::Journal* journal) noexcept {
    vx::LockObject* held = nullptr;
    run(client, journal, status,
        [&] { held = lock(own(client), *parms, *status, own(client).journalOr(journal)); });
    return held;
}

void setReadingSlots(vx::Client& client) {
    client.InstHead = [](vx::Client* self, int32_t* status) noexcept {
        return run(self, status, [&] { head(own(self), *status); });
    };
    client.InstOptions = [](vx::Client* self, vx::Word, int32_t* status, uint32_t* allow,
                            vx::Word) noexcept {
        *allow = 0;
        return run(self, status, [&] { options(own(self), *status, *allow); });
    };
    client.InstPropFind = [](vx::Client* self, uint32_t depth, vx::Document* request,
                             int32_t* status, vx::Document** response) noexcept {
        *response = nullptr;
        return run(self, status,
                   [&] { *response = propFind(own(self), depth, *request, *status); });
    };
    client.InstGet = [](vx::Client* self, const vx::Word* options, vx::Word, vx::Word,
                        int32_t* status, vx::WriteCallback* callback) noexcept {
        return runGet(self, options, status, callback);
    };
}

void setWritingSlots(vx::Client& client) {
    client.InstPut = [](vx::Client* self, const vx::PutOptions* options, uint64_t optionsLength,
                        uint32_t, vx::Word, vx::LockObject** lock, uint32_t useLock,
                        int32_t* status, vx::ReadCallback* callback) noexcept {
        return runPut(self, options, optionsLength, lock && useLock ? *lock : nullptr, status,
                      callback);
    };
    client.InstLock = [](vx::Client* self, vx::LockParms* parms, int32_t* status,
                         vx::Journal* journal,
                         vx::Word) noexcept { return runLock(self, parms, status, journal); };
    client.httpInstDelete = [](vx::Client* self, vx::Word, vx::Word, int32_t* status) noexcept {
        return run(self, status, [&] { remove(own(self), *status); });
    };
    client.InstMove = [](vx::Client* self, vx::Word, vx::Word, vx::Word,
                         const char32_t* destination, uint64_t length, vx::Word, vx::Word,
                         int32_t* status, vx::Word) noexcept {
        return run(self, status, [&] { move(own(self), {destination, length}, *status); });
    };
    client.httpInstMkcol = [](vx::Client* self, vx::Word, vx::Word, int32_t* status) noexcept {
        return run(self, status, [&] { makeCollection(own(self), *status); });
    };
}

}  // namespace

CurlClient::CurlClient(std::shared_ptr<Target> served, uint8_t itsOption)
    : target(std::move(served)), option(itsOption) {
    fillSlots<vx::Client>(*this);
    setReadingSlots(*this);
    setWritingSlots(*this);
    Destroy = [](vx::Client* self) noexcept -> Status {
        own(self).target->journal = nullptr;  // a lock may live on; the journal need not
        delete &own(self);
        return vx::VX_SUCCESS;
    };
}

bool CurlClient::mayRecallHead() const {
    const bool noted = hasSeenProperties && !LookingTwice::isOn();
    return optionsRecalled && !noted && !hasContent && target->locks.empty();
}

}  // namespace vxhost
