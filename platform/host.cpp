#include "platform/host.hpp"

#include <utility>

#include "platform/library.hpp"
#include "platform/logger.hpp"
#include "platform/pool.hpp"
#include "platform/siblings.hpp"
#include "platform/slots.hpp"
#include "platform/status.hpp"

namespace vxhost {

struct ExtensionHost::Interface : vx::Host {
    explicit Interface(Settings settingsOfHandle);
    const Settings settings;
};

ExtensionHost::Interface::Interface(Settings settingsOfHandle)
    : settings(std::move(settingsOfHandle)) {
    fillSlots<vx::Host>(*this);
    CreatePool = [](vx::Host*, const vx::PoolParms*, void*, const char* name) noexcept {
        vx::Pool* pool = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            pool = createPoolAsWished(name);
            return vx::VX_SUCCESS;
        });
        return pool;
    };
    LoadExtension = [](vx::Host* self, const char32_t* name, uint64_t length, void*) noexcept {
        return loadSibling({name, length}, &static_cast<Interface*>(self)->settings);
    };
}

ExtensionHost::ExtensionHost(Settings settings, const std::filesystem::path& library)
    : interface_(std::make_unique<Interface>(std::move(settings))) {
    vx::quillonFunction* const entry = loadExtensionEntry(library);
    FailureRecords failures;
    handle_ = entry(interface_.get(), nullptr);
    if (handle_ == nullptr) {
        throw Failure(vx::VX_NO_MEMORY,
                      "The quillon extension could not be started: " +
                          (failures.text().empty() ? "it gave no reason" : failures.text()) +
                          ". Free some memory, or install it anew.");
    }
    handle_->journalEnabled = 1;
}

ExtensionHost::~ExtensionHost() {
    handle_->Destroy(handle_);
}

const Settings& ExtensionHost::settings() const {
    return interface_->settings;
}

}  // namespace vxhost
