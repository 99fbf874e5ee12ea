#include "platform/host/encoding/key.hpp"

#include <sodium.h>
#include <sys/stat.h>

#include "platform/base/descriptor.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/directories.hpp"

namespace vxhost {
namespace {

namespace fs = std::filesystem;

constexpr size_t keyBytes = crypto_aead_xchacha20poly1305_ietf_KEYBYTES;

void checkOwnAlone(const Descriptor& file, const fs::path& path) {
    struct stat entry {};
    if (fstat(file.number(), &entry) != 0) throwSystemFailure(errno, path);
    if (entry.st_uid != geteuid() || (entry.st_mode & 077) != 0) {
        throw Failure(ENCODING_KEY_EXPOSED, "Others can use " + path.string() + ": chmod 600 it");
    }
    if (!S_ISREG(entry.st_mode) || entry.st_size != static_cast<off_t>(keyBytes)) {
        throw Failure(ENCODING_NO_KEY, path.string() + " is damaged; remove it first");
    }
}

void createKey(const fs::path& file) {
    makePrivateDirectories(file.parent_path());
    Secret key(keyBytes);
    randombytes_buf(key.data(), key.size());
    // Never replaces what another process has made meanwhile, and is never half a key.
    CompleteFile(file, {key.text(), key.size()}).becomeDestination();
}

}  // namespace

Secret loadKey(const fs::path& path) {
    checkOwnDirectory(path.parent_path());
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0 && errno == ENOENT) {
        throw Failure(ENCODING_NO_KEY, path.string() + " does not exist");
    }
    const Descriptor file(path, O_RDONLY | O_NOFOLLOW);
    checkOwnAlone(file, path);
    Secret key(keyBytes);
    if (::read(file.number(), key.data(), keyBytes) != static_cast<ssize_t>(keyBytes)) {
        throw Failure(ENCODING_NO_KEY, path.string() + " cannot be read");
    }
    return key;
}

Secret loadOrCreateKey(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) createKey(path);
    return loadKey(path);
}

}  // namespace vxhost
