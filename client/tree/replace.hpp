// A member that is there gets a new content, unless somebody changed it since it was looked at.
#pragma once

#include <cstdint>
#include <string>

#include "client/remote/content.hpp"
#include "client/remote/resource.hpp"

namespace quillon {

// What makes sure that nobody else's change is overwritten.
enum class Guard : uint8_t {
    condition,      // If-Match, on a server that looks at it again after the body
    conditionInIf,  // the same in the If header
    lock,           // and the tag beside its token
    lockAndLook,    // where that tag is not obeyed
    look,           // nothing better is there: a look right before, and a gap behind it
};

bool isLock(Guard guard);
// A lock of the person's own keeps out who does not submit it.
Guard preferOwnLock(const Remote& remote, const std::string& url, Guard guard);

// The content is stored, or the error is Kind::changedOnServer where the member is not what was
// seen. The version in the result is what was stored, where that is certain; else its tag is empty.
// seenHash: of the content that was seen, where its date does not prove it. Where a lock makes it
// certain, and it is not large, it is compared once more then.
Task<Result<Stored>> replaceMember(Remote& remote, std::string url, vxhost::UploadSource& content,
                                   Resource seen, Guard guard,
                                   std::vector<std::string> extraHeaders,
                                   std::string seenHash = {});

// The same where nothing was seen: the member is made, or the error is Kind::changedOnServer where
// somebody else made one. Guard::conditionInIf is none for that.
Task<Result<Stored>> makeMember(Remote& remote, std::string url, vxhost::UploadSource& content,
                                Guard guard, std::vector<std::string> extraHeaders);

// The member goes, or the error is Kind::changedOnServer as above. Without locks and conditions a
// gap is between the look and the request.
Task<Result<void>> removeMember(Remote& remote, std::string url, Resource seen, Guard guard,
                                std::string seenHash = {});

// Whether both are of the same content, as far as a server tells.
bool isSameVersion(const Resource& seen, const Resource& now);

}  // namespace quillon
