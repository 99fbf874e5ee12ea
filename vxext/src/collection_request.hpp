// A request to a collection that is not open: the texts of its caller and the client made of them.
#pragma once

#include "host/quillon.h"
#include "vxext/src/log.hpp"

namespace vx {

struct CollectionRequestMessages {  // what is logged when a step fails, with the status as "%X"
    LogText url;
    LogText proxy;
    LogText user;
    LogText password;
    LogText connection;
};

// Frees its texts, then destroys its client, at the end of the scope.
class [[nodiscard]] CollectionRequest {
public:
    explicit CollectionRequest(ExtensionHandle* extension) : extension_(extension) {}
    CollectionRequest(const CollectionRequest&) = delete;
    CollectionRequest& operator=(const CollectionRequest&) = delete;
    ~CollectionRequest();

    // QUILLON_BAD_URL, unlogged, when the caller gave none.
    Status connect(const CollectionOpParms* parms, Journal* journal,
                   const CollectionRequestMessages& messages);
    Client* client() const { return client_; }  // null before connect has succeeded

private:
    struct Text {
        char32_t* characters = nullptr;
        uint64_t length = 0;
    };
    Status transcode(const CollectionOpParms* parms, const char* source, int64_t sourceBytes,
                     Text& text, const LogText& failure);

    ExtensionHandle* extension_;
    Text url_, proxy_, user_, password_;
    Client* client_ = nullptr;
};

}  // namespace vx
