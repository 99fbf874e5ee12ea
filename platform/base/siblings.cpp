#include "platform/base/siblings.hpp"

#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"

namespace vxhost {
namespace {

vx::LoadedExtension* make(std::u32string_view name, const Settings* settings) {
    if (name == U"markup") return createMarkup();
    if (settings != nullptr) {
        if (name == U"weblnk") return createWeblnk(*settings);
        if (name == U"fsbox") return createFsbox(*settings);
        if (name == U"toolbox") return createToolbox(*settings);
    }
    throw Failure(vx::VX_UNSUPPORTED, "there is no such extension here");
}

}  // namespace

vx::LoadedExtension* loadSibling(std::u32string_view name, const Settings* settings) noexcept {
    vx::LoadedExtension* loaded = nullptr;
    guarded(vx::VX_UNSUPPORTED, [&] {
        try {
            loaded = make(name, settings);
        } catch (const std::exception& failure) {
            logLine(findLogger(U"App.WebDAV"), vx::LOG_FAILURE,
                    shownUtf8(name) + " could not be made: " + failure.what());
        }
        return vx::VX_SUCCESS;
    });
    return loaded;
}

}  // namespace vxhost
