// Operations that are still to come: each says so and does nothing.
#include "vxext/src/log.hpp"
#include "vxext/src/operations.hpp"

namespace vx {
namespace {

Status unsupported(const ExtensionHandle* extension, const LogText& text) {
    squillonLogFailure(extension, text);
    return VX_UNSUPPORTED;
}

}  // namespace

Status quillonFileRename(CollectionHandle* collection, RenameParms*, Journal*) {
    return unsupported(collection->extension, U"quillonFileRename not supported");
}

}  // namespace vx
