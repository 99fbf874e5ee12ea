// The client of one resource, and its operations by subject. An operation throws a Failure whose
// text is a sentence; it sets the status as soon as an answer is complete.
#pragma once

#include <bit>
#include <memory>

#include "host/quillon.h"
#include "platform/http/target.hpp"
#include "platform/weblnk/known_member.hpp"

namespace vxhost {

inline constexpr double missingDate = std::bit_cast<double>(vx::MISSING_DATETIME);

struct CurlClient : vx::Client {
    CurlClient(std::shared_ptr<Target> target, uint8_t option);

    const std::shared_ptr<Target> target;
    const uint8_t option;  // CLIENT_ bits
    KnownMember known;
    std::optional<uint64_t> toldSize;  // in bytes, by the latest HEAD
    bool optionsRecalled = false;      // its latest OPTIONS was
    bool hasSeenProperties = false;
    bool hasContent = false;  // it fetched or locked

    // A HEAD that follows an OPTIONS at once asks again what was asked with the OPTIONS before.
    // What was fetched, locked or noted since is compared with what HEAD says now.
    bool mayRecallHead() const;

    // Where an operation tells the person: to its own journal, if its caller handed one in.
    vx::Journal* journalOr(vx::Journal* own) const { return own ? own : target->journal; }
};

void head(CurlClient& client, int32_t& status);
void options(CurlClient& client, int32_t& status, uint32_t& allow);
vx::Document* propFind(CurlClient& client, uint32_t depth, const vx::Document& request,
                       int32_t& status);
void get(CurlClient& client, int32_t& status, vx::WriteCallback* callback, vx::GetReport& report);
void put(CurlClient& client, const vx::PutOptions& options, const vx::LockObject* lock,
         int32_t& status, vx::ReadCallback* callback);
vx::LockObject* lock(CurlClient& client, const vx::LockParms& parms, int32_t& status,
                     vx::Journal* journal);
void remove(CurlClient& client, int32_t& status);
void move(CurlClient& client, std::u32string_view destination, int32_t& status);
void makeCollection(CurlClient& client, int32_t& status);

}  // namespace vxhost
