#include "platform/encoding/key.hpp"

#include <sodium.h>
#include <sys/stat.h>

#include "platform/descriptor.hpp"
#include "platform/directories.hpp"
#include "platform/random_name.hpp"

namespace vxhost {
namespace {

namespace fs = std::filesystem;

constexpr size_t keyBytes = crypto_aead_xchacha20poly1305_ietf_KEYBYTES;

void checkOwnAlone(const Descriptor& file, const fs::path& path) {
    struct stat entry {};
    if (fstat(file.number(), &entry) != 0) throwSystemFailure(errno, path);
    if (entry.st_uid != geteuid() || (entry.st_mode & 077) != 0) {
        throw Failure(ENCODING_KEY_EXPOSED, path.string() + " is not of its owner's alone");
    }
    if (!S_ISREG(entry.st_mode) || entry.st_size != static_cast<off_t>(keyBytes)) {
        throw Failure(ENCODING_NO_KEY, path.string() + " is no key");
    }
}

// A file of its own, complete on the disk; removed again when it is done with.
class TemporaryKeyFile {
public:
    explicit TemporaryKeyFile(const fs::path& beside)
        : path_(beside.string() + "." + randomName()),
          file_(path_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600) {}
    TemporaryKeyFile(const TemporaryKeyFile&) = delete;
    TemporaryKeyFile& operator=(const TemporaryKeyFile&) = delete;
    ~TemporaryKeyFile() { unlink(path_.c_str()); }

    void store(Secret& key) {
        int error = writeWhole(file_.number(), key.text(), key.size());
        if (error == 0 && fsync(file_.number()) != 0) error = errno;
        if (error == 0) error = file_.shut();
        if (error != 0) throwSystemFailure(error, path_);
    }
    const std::string& path() const { return path_; }

private:
    const std::string path_;
    Descriptor file_;
};

void createKey(const fs::path& file) {
    makePrivateDirectories(file.parent_path());
    Secret key(keyBytes);
    randombytes_buf(key.data(), key.size());
    TemporaryKeyFile temporary(file);
    temporary.store(key);
    // A link never replaces what another process has made meanwhile, and is never half a key.
    if (link(temporary.path().c_str(), file.c_str()) != 0 && errno != EEXIST) {
        throwSystemFailure(errno, file);
    }
    Descriptor directory(file.parent_path(), O_RDONLY | O_DIRECTORY);
    fsync(directory.number());  // where a file system cannot, its own promise must do
}

}  // namespace

Secret loadKey(const fs::path& path) {
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
