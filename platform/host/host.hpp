// The host of one extension handle: everything that a program needs to use the extension.
#pragma once

#include <filesystem>
#include <memory>

#include "host/quillon.h"
#include "platform/base/settings.hpp"

namespace vxhost {

// Several may live at once, each with its own settings, and be used by a thread each; the kernel is
// the process's (kernel.hpp). What was made from the handle is released before its host.
class ExtensionHost {
public:
    // An empty path: the library is looked for (library.hpp). Throws a Failure whose text says
    // which library, why, and what to do.
    explicit ExtensionHost(Settings settings, const std::filesystem::path& library = {});
    ~ExtensionHost();
    ExtensionHost(const ExtensionHost&) = delete;
    ExtensionHost& operator=(const ExtensionHost&) = delete;

    vx::ExtensionHandle& handle() { return *handle_; }
    const Settings& settings() const;

private:
    struct Interface;
    std::unique_ptr<Interface> interface_;
    vx::ExtensionHandle* handle_ = nullptr;
};

}  // namespace vxhost
