// A request to a collection that is not open: the texts of its caller and the client made of them.
#pragma once

#include "host/quillon.h"
#include "vxext/src/log.hpp"
#include "vxext/src/pool_ptr.hpp"

namespace vx {

struct CollectionRequestMessages {  // what is logged when a step fails, with the status as "%X"
    LogText url;
    LogText proxy;
    LogText user;
    LogText password;
    LogText connection;
};

class ClientPtr {  // destroys its client at the end of the scope
public:
    ClientPtr() = default;
    ClientPtr(const ClientPtr&) = delete;
    ClientPtr& operator=(const ClientPtr&) = delete;
    ~ClientPtr() {
        if (client_) client_->Destroy(client_);
    }

    Client* get() const { return client_; }
    Client** address() { return &client_; }

private:
    Client* client_ = nullptr;
};

// Frees its texts, then destroys its client, at the end of the scope.
class [[nodiscard]] CollectionRequest {
public:
    explicit CollectionRequest(ExtensionHandle* extension)
        : extension_(extension),
          password_(extension->pool),
          user_(extension->pool),
          proxy_(extension->pool),
          url_(extension->pool) {}

    // QUILLON_BAD_URL, unlogged, when the caller gave none.
    Status connect(const CollectionOpParms* parms, Journal* journal,
                   const CollectionRequestMessages& messages);
    Client* client() const { return client_.get(); }  // null before connect has succeeded

private:
    Status transcode(const CollectionOpParms* parms, const char* source, int64_t sourceBytes,
                     SecretText& text, const LogText& failure);

    ExtensionHandle* extension_;
    ClientPtr client_;
    SecretText password_, user_, proxy_, url_;  // the URL goes first, the client last
};

}  // namespace vx
