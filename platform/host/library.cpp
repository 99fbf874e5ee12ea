#include "platform/host/library.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdlib>
#include <mutex>
#include <set>

#include "platform/base/status.hpp"
#include "platform/host/kernel.hpp"

namespace vxhost {
namespace {

namespace fs = std::filesystem;

constexpr const char* fileName = "libquillon.so";
constexpr uint64_t major = 6;
constexpr uint64_t minor = 1;

fs::path findLibrary() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    fs::path beside = program.parent_path().parent_path() / "lib" / fileName;
    if (!program.empty() && fs::exists(beside, error)) return beside;
    if (const char* named = secure_getenv("QUILLON_LIBRARY")) return named;
    return fileName;
}

template <class Function>
Function* symbol(void* library, const char* name, const fs::path& path) {
    if (void* found = dlsym(library, name)) return reinterpret_cast<Function*>(found);
    throw Failure(vx::VX_UNSUPPORTED,
                  fmt::format("{} is not the quillon extension: it has no function \"{}\". Name "
                              "the right library in QUILLON_LIBRARY.",
                              path.string(), name));
}

void registerKernel(void* library, const fs::path& path) {
    uint64_t found[2] = {};
    auto* const version = symbol<vx::vxextverFunction>(library, "vxextver", path);
    const vx::Status status = version(&kernel(), &found[0], &found[1]);
    if (status == vx::VX_SUCCESS && found[0] == major && found[1] == minor) return;
    throw Failure(
        vx::VX_UNSUPPORTED,
        fmt::format("{} speaks version {}.{} of the host's interface, this program {}.{}. "
                    "Install library and program of the same release.",
                    path.string(), found[0], found[1], major, minor));
}

}  // namespace

vx::quillonFunction* loadExtensionEntry(const fs::path& path) {
    const fs::path chosen = path.empty() ? findLibrary() : path;
    // Never unloaded: the pointer to our kernel lives in it, and later handles rely on that.
    void* library = dlopen(chosen.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        throw Failure(vx::VX_PATH_NOT_FOUND,
                      fmt::format("The quillon extension could not be loaded: {}. Install it, or "
                                  "name its library in QUILLON_LIBRARY.",
                                  dlerror()));
    }
    static std::mutex mutex;
    static std::set<void*> registered;
    const std::lock_guard lock(mutex);
    if (!registered.contains(library)) {
        registerKernel(library, chosen);
        registered.insert(library);
    }
    return symbol<vx::quillonFunction>(library, "quillon", chosen);
}

}  // namespace vxhost
