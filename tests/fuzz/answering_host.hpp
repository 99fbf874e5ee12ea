// A started extension with a collection whose server has one answer to every PROPFIND.
#pragma once

#include <memory>
#include <string_view>

#include "host/quillon.h"
#include "platform/settings.hpp"
#include "tests/fuzz/counting_pool.hpp"

namespace fuzz {

// All is the real thing but for the connection: the answer goes to the builder and the hrefs to the
// resolver as weblnk hands them over.
class AnsweringHost : private vx::Host {
public:
    static constexpr std::string_view URL = "http://h.example/dav/a b/";

    AnsweringHost();
    ~AnsweringHost();
    AnsweringHost(const AnsweringHost&) = delete;
    AnsweringHost& operator=(const AnsweringHost&) = delete;

    vx::Operations& operations() { return extension_->operations; }
    vx::CollectionHandle* collection() { return collection_; }

    std::string_view answer;
    size_t pieceBytes = 1;  // in which the answer arrives
    CountingPool pool;

private:
    vxhost::Settings settings_;
    vx::ExtensionHandle* extension_ = nullptr;
    vx::CollectionHandle* collection_ = nullptr;
};

}  // namespace fuzz
