#include "vxext/src/version.hpp"

#include <cstring>

#include "build_info.hpp"
#include "vxext/src/entry.hpp"

namespace vx {
namespace {

struct VersionRecord {
    const char* version;  // designation, P, build date as MMDDYYYY
    const char* buildLocation;
    const char* at10;
    Word buildTime;  // seconds since 1970-01-01 UTC
    const char* family;
    const char* familyIdentification;
    const char* component;
    const char* componentIdentification;
    const char* at40;
    const char* label;
    const char* separator;
    const char* at58;
    const char* hotfix;
    const char* identification;
    const char* image;
    const char* buildMachine;
    const char* buildDate;  // weekday, month, day, time, zone, year
    Word at88[9];
};
ABI_SIZE(VersionRecord, 208);
ABI_AT(VersionRecord, buildTime, 24);
ABI_AT(VersionRecord, hotfix, 96);
ABI_AT(VersionRecord, buildDate, 128);

template <size_t Length, size_t N>
consteval const char* text(const char (&literal)[N]) {
    static_assert(N == Length + 1, "a text of the version record has another length");
    return literal;
}

constinit VersionRecord info = {
    .version = text<18>(QUILLON_BUILD_DESIGNATION "P" QUILLON_BUILD_MMDDYYYY),
    .buildLocation = QUILLON_BUILD_LOCATION,
    .at10 = "",
    .buildTime = QUILLON_BUILD_TIME,
    .family = "vx",
    .familyIdentification = text<7>("quillon"),
    .component = "vxext",
    .componentIdentification = text<18>("quillon-vxext-core"),
    .at40 = "",
    .label = "version",
    .separator = "::",
    .at58 = "",
    .hotfix = text<65>("ZEB_VERSION_HOTFIX_NUMBER="  //
                       "                                       "),
    .identification = text<47>("quillon, a WebDAV client of a vx host framework"),
    .image = text<65>("VERCON_IMAGE_DESCRIPTION="  //
                      "                                        "),
    .buildMachine = QUILLON_BUILD_MACHINE,
    .buildDate = QUILLON_BUILD_DATE,
    .at88 = {},
};

Status storeVersion(uint64_t* version, uint64_t* release, uint64_t* level) {
    *version = 6;
    *release = 1;
    *level = 1;
    return VX_SUCCESS;
}

}  // namespace

Status quillonGetReqVersion(ExtensionHandle*, uint64_t* version, uint64_t* release,
                            uint64_t* level) {
    return storeVersion(version, release, level);
}

Status quillonGetVersion(ExtensionHandle*, uint64_t* version, uint64_t* release, uint64_t* level) {
    return storeVersion(version, release, level);
}

}  // namespace vx

extern "C" vx::Status vxvercn1(void* destination) {
    std::memcpy(destination, &vx::info, sizeof vx::info);
    return vx::VX_SUCCESS;
}
