#include "platform/weblnk/resuming.hpp"

#include <utility>

namespace vxhost {
namespace {

thread_local Resuming* current = nullptr;

}  // namespace

Resuming::Resuming(std::filesystem::path file, uint64_t bytes, std::string itsTag)
    : beginning(std::move(file)), size(bytes), tag(std::move(itsTag)), outer_(vxhost::current) {
    vxhost::current = this;
}

Resuming::~Resuming() {
    vxhost::current = outer_;
}

Resuming* Resuming::current() {
    return vxhost::current;
}

}  // namespace vxhost
