// toolbox: where cache directories are made when the caller names no place.
#include "host/toolbox.h"

#include <filesystem>

#include "platform/base/lent_texts.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/random_name.hpp"

namespace vxhost {
namespace {

struct Locations : vx::Toolbox {
    explicit Locations(const Settings& settings);
    std::u32string freeLocation() const;

    const Settings& settings;
    LentTexts paths;
};

// Only its parent is made, so that the person alone can make anything at the path.
std::u32string Locations::freeLocation() const {
    std::filesystem::path root = settings.cacheRoot;
    if (root.empty()) root = cacheHome();
    makePrivateDirectories(root);
    return toUtf32((root / (cachePrefix + randomName())).string());
}

Locations::Locations(const Settings& settingsOfHost) : settings(settingsOfHost) {
    fillSlots<vx::Toolbox>(*this);
    base.Unload = [](vx::LoadedExtension* self) noexcept {
        delete static_cast<Locations*>(reinterpret_cast<vx::Toolbox*>(self));
    };
    utilloc = [](vx::Toolbox* self, vx::Word, vx::Word, vx::Word, char32_t** path, uint64_t* length,
                 vx::Word) noexcept {
        return guarded(FSBOX_IO, [&] {
            auto& locations = *static_cast<Locations*>(self);
            std::u32string location = locations.freeLocation();
            *length = location.size();
            *path = locations.paths.lend(std::move(location), 0);
            return vx::VX_SUCCESS;
        });
    };
    FreeLocation = [](vx::Toolbox* self, char32_t* path) noexcept {
        guarded(FSBOX_IO, [&] {
            static_cast<Locations*>(self)->paths.takeBack(path);
            return vx::VX_SUCCESS;
        });
    };
}

}  // namespace

vx::LoadedExtension* createToolbox(const Settings& settings) {
    return &(new Locations(settings))->base;
}

}  // namespace vxhost
