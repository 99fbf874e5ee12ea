#include "platform/host/host.hpp"

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/base/logger.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/host/checked_pool.hpp"
#include "platform/host/library.hpp"
#include "platform/host/pool.hpp"

namespace vxhost {

struct ExtensionHost::Interface : vx::Host {
    explicit Interface(Settings settingsOfHandle);
    vx::Pool* createPool(const char* name);

    const Settings settings;
    CheckedPool* checkedPool = nullptr;  // when one is wished for
};

// QUILLON_POOL_CHECK=1 has leaks and double frees told on standard error.
vx::Pool* ExtensionHost::Interface::createPool(const char* name) {
    const char* check = std::getenv("QUILLON_POOL_CHECK");
    if (check == nullptr || std::string_view(check) != "1") return vxhost::createPool();
    return checkedPool = new CheckedPool(name, [](std::string_view report) {
               std::fprintf(stderr, "%.*s\n", static_cast<int>(report.size()), report.data());
           });
}

ExtensionHost::Interface::Interface(Settings settingsOfHandle)
    : settings(std::move(settingsOfHandle)) {
    fillSlots<vx::Host>(*this);
    CreatePool = [](vx::Host* self, const vx::PoolParms*, void*, const char* name) noexcept {
        vx::Pool* pool = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            pool = static_cast<Interface*>(self)->createPool(name);
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
                          ". If this goes on, install it anew.");
    }
    if (interface_->checkedPool != nullptr) interface_->checkedPool->expectAtEnd(handle_);
    handle_->journalEnabled = 1;
}

const Settings& ExtensionHost::settings() const {
    return interface_->settings;
}

ExtensionHost::~ExtensionHost() {
    handle_->Destroy(handle_);
}

}  // namespace vxhost
