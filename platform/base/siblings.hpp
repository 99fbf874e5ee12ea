// The extensions that LoadExtension finds by name. Each function makes an instance of its own,
// which its Unload operation frees; it throws when there is none. The settings outlive the
// instance.
#pragma once

#include <string_view>

#include "host/kernel.h"
#include "platform/base/settings.hpp"

namespace vxhost {

vx::LoadedExtension* createWeblnk(const Settings& settings);
vx::LoadedExtension* createFsbox(const Settings& settings);
vx::LoadedExtension* createToolbox(const Settings& settings);
vx::LoadedExtension* createMarkup();  // loaded through the kernel, which has no settings

// The one of that name, for a LoadExtension operation. Null: there is none, and the log says why.
// Without settings markup alone can be loaded.
vx::LoadedExtension* loadSibling(std::u32string_view name, const Settings* settings) noexcept;

}  // namespace vxhost
