#include "vxext/src/entry.hpp"

#include <cstring>

#include "runtime/kernel.hpp"
#include "vxext/src/handle.hpp"
#include "vxext/src/log.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/version.hpp"

__attribute__((visibility("default"))) vx::Kernel* Exported_VXHandle = nullptr;

namespace vx {
namespace {

constexpr Operations operationTable = {
    .quillonCollectionHandleAcquire = quillonCollectionHandleAcquire,
    .quillonCollectionHandleRelease = quillonCollectionHandleRelease,
    .quillonCollectionListOpen = quillonCollectionListOpen,
    .quillonCollectionListClose = quillonCollectionListClose,
    .quillonFileHandleAcquire = quillonFileHandleAcquire,
    .quillonFileHandleRelease = quillonFileHandleRelease,
    .quillonFileDelete = quillonFileDelete,
    .quillonFileGet = quillonFileGet,
    .quillonFileInfo = quillonFileInfo,
    .quillonFileLock = quillonFileLock,
    .quillonFileLockRelease = quillonFileLockRelease,
    .quillonFilePut = quillonFilePut,
    .quillonFileRename = quillonFileRename,
    .quillonPasswordEncrypt = quillonPasswordEncrypt,
    .quillonCollectionCreate = quillonCollectionCreate,
    .quillonCollectionDelete = quillonCollectionDelete,
};

void unload(void* loaded) {
    if (!loaded) return;
    auto* extension = static_cast<LoadedExtension*>(loaded);
    extension->Unload(extension);
}

void unloadSiblings(ExtensionHandle* extension) {
    unload(extension->weblnk);
    unload(extension->toolbox);
    unload(extension->fsbox);
    unload(extension->reservedExtension);
    unload(extension->markup);
}

Status quillonDestroy(ExtensionHandle* extension) {
    squillonTrace(extension, U"quillonDestroy called");
    unloadSiblings(extension);
    Pool* pool = extension->pool;
    pool->DestroyPool(pool);  // the handle goes with it
    return VX_SUCCESS;
}

// Stores what loader (the host or the kernel) loads under the name; every sibling begins with the
// record that it returns.
template <class Loader, class Sibling, size_t N>
bool load(Logger* logger, Loader* loader, void* context, const char32_t (&name)[N],
          Sibling*& sibling, const LogText& failure) {
    sibling = reinterpret_cast<Sibling*>(loader->LoadExtension(loader, name, N - 1, context));
    if (!sibling) squillonLog(logger, LOG_FAILURE, failure);
    return sibling != nullptr;
}

bool loadSiblings(ExtensionHandle* extension, void* context) {
    Logger* logger = extension->logger;
    Host* host = extension->host;
    return load(logger, host, context, U"weblnk", extension->weblnk,
                U"WEBLNK extension could not be loaded") &&
           load(logger, host, context, U"fsbox", extension->fsbox,
                U"FSBOX extension could not be loaded") &&
           load(logger, host, context, U"toolbox", extension->toolbox,
                U"TOOLBOX extension could not be loaded") &&
           load(logger, Exported_VXHandle, nullptr, U"markup", extension->markup,
                U"MARKUP extension could not be loaded");
}

Pool* createPool(Host* host, void* context, Logger* logger) {
    static constexpr PoolParms parms = {};
    Pool* pool = host->CreatePool(host, &parms, context, "quillon pool");
    if (!pool) squillonLog(logger, LOG_FAILURE, U"quillon no memory for extension handle");
    return pool;
}

ExtensionHandle* createHandle(Host* host, Pool* pool, Logger* logger) {
    auto* extension = squillonAllocRecord<ExtensionHandle>(pool);
    if (!extension) {
        squillonLog(logger, LOG_FAILURE, U"QUILLON extension handle could not be loaded");
        return nullptr;
    }
    extension->logger = logger;
    squillonMark(extension->magic);
    extension->name = extension->nameText;
    extension->host = host;
    extension->pool = pool;
    extension->Destroy = quillonDestroy;
    extension->GetReqVersion = quillonGetReqVersion;
    extension->GetVersion = quillonGetVersion;
    return extension;
}

// Accepts what a failed entry has made so far.
void undo(Pool* pool, ExtensionHandle* extension) {
    if (extension) {
        unloadSiblings(extension);
        pool->Free(pool, extension);
    }
    if (pool) pool->DestroyPool(pool);
}

}  // namespace
}  // namespace vx

using namespace vx;

extern "C" {

Status vxextver(Kernel* kernel, uint64_t* major, uint64_t* minor) {
    *major = 6;
    *minor = 1;
    return vxextent(kernel);
}

Status vxextent(Kernel* kernel) {
    Exported_VXHandle = kernel;
    return VX_SUCCESS;
}

ExtensionHandle* quillon(Host* host, void* context) {
    LoggerFactory* factory = Exported_VXHandle->loggerFactory;
    Logger* logger = factory->GetLogger(factory, U"App.WebDAV.quillon", 18);
    if (!logger) return nullptr;
    squillonLog(logger, LOG_TRACE, U"quillon called");

    Pool* pool = createPool(host, context, logger);
    ExtensionHandle* extension = pool ? createHandle(host, pool, logger) : nullptr;
    Status status = VX_NO_MEMORY;  // whatever is missing
    if (extension && loadSiblings(extension, context)) {
        std::memcpy(extension->nameText, "quillon", sizeof extension->nameText);
        extension->operations = operationTable;
        status = VX_SUCCESS;
    }
    squillonLog(logger, LOG_TRACE, U"quillon returning rc=%X", status);
    if (status == VX_SUCCESS) return extension;
    undo(pool, extension);
    return nullptr;
}

}  // extern "C"
