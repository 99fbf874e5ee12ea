// fsbox over the local file system. Paths are UTF-8.
#include "host/fsbox.h"

#include <sys/stat.h>

#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>

#include "platform/base/descriptor.hpp"
#include "platform/base/journal.hpp"
#include "platform/base/lent_texts.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/files/living_directory.hpp"
#include "platform/files/random_name.hpp"
#include "platform/fsbox/file.hpp"

namespace vxhost {
namespace {

struct FileSystem : vx::Fsbox {
    FileSystem();
    ~FileSystem();

    // Reserved files and names of directories, by their kind in NameParms.
    LentTexts names;

    void hold(const std::string& directory);
    void letGo(const std::string& directory);

private:
    std::mutex mutex_;
    std::map<std::string, Descriptor> held_;  // directories that were made here, by their paths
};

void FileSystem::hold(const std::string& directory) {
    Descriptor held = holdDirectory(directory);
    const std::lock_guard lock(mutex_);
    held_.insert_or_assign(directory, std::move(held));
}

void FileSystem::letGo(const std::string& directory) {
    const std::lock_guard lock(mutex_);
    held_.erase(directory);
}

FileSystem& own(vx::Fsbox* self) {
    return *static_cast<FileSystem*>(self);
}

// 0, or the system's error as a status.
vx::Status outcome(int result) {
    return result == 0 ? vx::VX_SUCCESS : systemStatus(errno);
}

vx::File* openFile(const std::string& path, const vx::FsboxOpenParms& parms, vx::Journal* journal) {
    switch (parms.mode) {
        case vx::FSBOX_READ:
            return openReadFile(path, journal);
        case vx::FSBOX_WRITE:
            return openWrittenFile(path, journal);
        default:
            throw Failure(vx::VX_INVALID_ARGUMENT, path + ": neither to be read nor written");
    }
}

vx::Status deleteDirectory(const std::string& path, bool withContents) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0) return systemStatus(errno);
    if (!S_ISDIR(entry.st_mode)) return FSBOX_DENIED;  // a link is not followed
    // An empty one goes without a descriptor, of which there may be none left.
    if (rmdir(path.c_str()) == 0) return vx::VX_SUCCESS;
    if (!withContents) return systemStatus(errno);
    std::error_code error;
    std::filesystem::remove_all(path, error);  // unlinks links, never goes through them
    return error ? systemStatus(error.value()) : vx::VX_SUCCESS;
}

std::u32string newName(std::u32string_view directory, const vx::NameParms& parms) {
    std::u32string name(directory);
    if (!name.empty() && name.back() != U'/') name += U'/';
    if (parms.prefix != nullptr) {
        name.append(parms.prefix, parms.prefixLength);
    } else if (parms.kind == vx::NAME_DIRECTORY) {
        name += toUtf32(hiddenPrefix);
    }
    return name += toUtf32(randomName());
}

vx::Status releaseName(const LentTexts::Text& name) {
    if (name.kind != vx::NAME_FILE) return vx::VX_SUCCESS;
    const vx::Status status = outcome(unlink(toUtf8(name.text).c_str()));
    return status == vx::VX_PATH_NOT_FOUND ? vx::VX_SUCCESS : status;  // its directory went before
}

void fillFiles(vx::Fsbox& fsbox) {
    fsbox.fsboxOpen = [](vx::Fsbox*, const char32_t* name, uint64_t length,
                         const vx::FsboxOpenParms* parms, vx::Word, vx::Journal* journal, vx::Word,
                         vx::Status* status, vx::Word) noexcept -> vx::File* {
        vx::File* file = nullptr;
        *status = guarded(FSBOX_IO, [&] {
            try {
                file = openFile(toUtf8({name, length}), *parms, journal);
            } catch (const Failure& failure) {
                journalSentence(journal, vx::JOURNAL_FAILURE,
                                "A local file could not be opened. " + std::string(failure.what()));
                throw;
            }
            return vx::VX_SUCCESS;
        });
        return file;
    };
    fsbox.Exists = [](vx::Fsbox*, const char32_t* path, uint64_t length, vx::Word) noexcept {
        return guarded(FSBOX_IO, [&] {
            struct stat entry {};
            return outcome(lstat(toUtf8({path, length}).c_str(), &entry));
        });
    };
}

void fillDirectories(vx::Fsbox& fsbox) {
    fsbox.CreateDirectory = [](vx::Fsbox* self, const char32_t* path, uint64_t length,
                               vx::Word) noexcept {
        return guarded(FSBOX_IO, [&] {
            const std::string directory = toUtf8({path, length});
            if (mkdir(directory.c_str(), 0700) != 0) {
                throwSystemFailure(errno, "Cannot make the directory " + directory);
            }
            try {
                own(self).hold(directory);
            } catch (const std::exception&) {
                rmdir(directory.c_str());
                throw;
            }
            return vx::VX_SUCCESS;
        });
    };
    fsbox.DeleteDirectory = [](vx::Fsbox* self, const char32_t* path, uint64_t length,
                               uint32_t withContents, vx::Word) noexcept {
        return guarded(FSBOX_IO, [&] {
            const std::string directory = toUtf8({path, length});
            const vx::Status status = deleteDirectory(directory, withContents != 0);
            if (status == vx::VX_SUCCESS) own(self).letGo(directory);
            return status;
        });
    };
}

void fillNames(vx::Fsbox& fsbox) {
    fsbox.CreateName = [](vx::Fsbox* self, const char32_t* directory, uint64_t length,
                          const vx::NameParms* parms, char32_t** name, uint64_t* nameLength,
                          vx::Word) noexcept {
        return guarded(FSBOX_IO, [&] {
            std::u32string text = newName({directory, length}, *parms);
            if (parms->kind == vx::NAME_FILE) {
                Descriptor(toUtf8(text), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
            } else if (parms->kind != vx::NAME_DIRECTORY) {
                return vx::VX_INVALID_ARGUMENT;
            }
            *nameLength = text.size();
            *name = own(self).names.lend(std::move(text), parms->kind);
            return vx::VX_SUCCESS;
        });
    };
    fsbox.ReleaseName = [](vx::Fsbox* self, char32_t* name, vx::Word) noexcept {
        return guarded(FSBOX_IO, [&] {
            const auto taken = own(self).names.takeBack(name);
            return taken ? releaseName(*taken) : vx::VX_INVALID_ARGUMENT;
        });
    };
}

FileSystem::FileSystem() {
    fillSlots<vx::Fsbox>(*this);
    fillFiles(*this);
    fillDirectories(*this);
    fillNames(*this);
    base.Unload = [](vx::LoadedExtension* self) noexcept {
        delete static_cast<FileSystem*>(reinterpret_cast<vx::Fsbox*>(self));
    };
}

FileSystem::~FileSystem() {
    guarded(FSBOX_IO, [&] {
        while (const auto name = names.takeAny()) releaseName(*name);
        return vx::VX_SUCCESS;
    });
}

}  // namespace

vx::LoadedExtension* createFsbox(const Settings&) {
    return &(new FileSystem)->base;
}

}  // namespace vxhost
