#include "host/fsbox.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "platform/base/journal.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace {

using namespace vxhost;
namespace fs = std::filesystem;

struct Unloader {
    void operator()(vx::Fsbox* box) const { box->base.Unload(&box->base); }
};

class fsbox : public testing::Test {
protected:
    // A function of fsbox that takes a path.
    template <class Slot, class... More>
    auto on(const fs::path& path, Slot slot, More... more) {
        const auto wide = toUtf32(path.string());
        return (box.get()->*slot)(box.get(), wide.data(), wide.size(), more...);
    }
    vx::Status create(const fs::path& path) { return on(path, &vx::Fsbox::CreateDirectory, 0u); }
    vx::Status remove(const fs::path& path, uint32_t withContents = 1) {
        return on(path, &vx::Fsbox::DeleteDirectory, withContents, 0u);
    }
    // Empty where status says why.
    fs::path makeName(const fs::path& directory, uint32_t kind) {
        const vx::NameParms parms{U"WEBDAV", 6, 0, 0, kind, 0};
        uint64_t length = 0;
        status = on(directory, &vx::Fsbox::CreateName, &parms, &name, &length, 0u);
        return status == vx::VX_SUCCESS ? toUtf8({name, length}) : "";
    }
    vx::Status releaseName() { return box->ReleaseName(box.get(), name, 0); }
    vx::File* open(const fs::path& path, uint32_t mode) {
        vx::FsboxOpenParms parms{};
        parms.mode = mode;
        return on(path, &vx::Fsbox::fsboxOpen, &parms, 0u, &journal, 0u, &status, 0u);
    }
    static vx::Status write(vx::File* file, std::string_view piece) {
        return file->Write(file, piece.data(), piece.size(), 0, 0, 0);
    }

    std::unique_ptr<vx::Fsbox, Unloader> box{reinterpret_cast<vx::Fsbox*>(createFsbox({}))};
    char32_t* name = nullptr;  // of the last makeName
    vx::Status status = 99;    // of the last makeName or open
    UserJournal journal;
    support::TemporaryDirectory temporary;
    const fs::path root = temporary.path();
};

TEST_F(fsbox, directories_are_private_and_removed_without_what_their_links_name) {
    EXPECT_EQ(create(root / "a/b"), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(create(root / "a"), vx::VX_SUCCESS);
    EXPECT_EQ(create(root / "a"), FSBOX_EXISTS);
    EXPECT_EQ(support::modeOf(root / "a"), 0700u);
    fs::create_directories(root / "kept/inside");
    fs::create_directory_symlink(root / "kept", root / "a/link");
    fs::create_symlink(root / "nowhere", root / "dangling");
    EXPECT_EQ(on(root / "dangling", &vx::Fsbox::Exists, 0u), vx::VX_SUCCESS);  // a name is taken
    EXPECT_EQ(on(root / "dangling/b", &vx::Fsbox::Exists, 0u), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(remove(root / "a/link"), FSBOX_DENIED);
    EXPECT_EQ(remove(root / "a", 0), FSBOX_IO);
    EXPECT_EQ(remove(root / "a"), vx::VX_SUCCESS);
    EXPECT_EQ(remove(root / "a"), vx::VX_PATH_NOT_FOUND);
    EXPECT_TRUE(fs::exists(root / "kept/inside"));
}

TEST_F(fsbox, names_are_reserved_and_given_back) {
    const fs::path first = makeName(root, vx::NAME_FILE), second = makeName(root, vx::NAME_FILE);
    EXPECT_NE(first, second);
    EXPECT_TRUE(second.string().starts_with((root / "WEBDAV").string()));
    EXPECT_EQ(support::modeOf(second), 0600u);
    EXPECT_EQ(releaseName(), vx::VX_SUCCESS);
    EXPECT_EQ(releaseName(), vx::VX_INVALID_ARGUMENT);
    EXPECT_FALSE(fs::exists(second));

    const fs::path directory = makeName(root, vx::NAME_DIRECTORY);
    EXPECT_EQ(create(directory), vx::VX_SUCCESS);  // nothing was there
    makeName(directory, vx::NAME_FILE);
    EXPECT_EQ(remove(directory), vx::VX_SUCCESS);
    EXPECT_EQ(releaseName(), vx::VX_SUCCESS);  // its directory went before
    EXPECT_EQ(makeName(directory, vx::NAME_FILE), "");
    EXPECT_EQ(status, vx::VX_PATH_NOT_FOUND);
    box.reset();
    EXPECT_FALSE(fs::exists(first));  // a name that is still out goes with fsbox
}

TEST_F(fsbox, pieces_are_gathered_and_handed_out) {
    std::string whole;
    vx::File* file = open(root / "f", vx::FSBOX_WRITE);
    // Around what is passed on at once, and around the end of the buffer.
    for (const size_t size : {1u, 4096u, 65536u, 65537u, 0u, 65535u, 65535u, 65535u, 65535u, 4u,
                              65535u, 65535u, 65535u, 65535u, 5u}) {
        std::string piece;
        for (size_t at = 0; at < size; ++at) piece += static_cast<char>((whole.size() + at) % 253);
        EXPECT_EQ(write(file, piece), vx::VX_SUCCESS);
        whole += piece;
    }
    EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
    EXPECT_EQ(support::modeOf(root / "f"), 0600u);
    for (const uint64_t wanted : {4096u, 4097u, 1u << 20}) {
        file = open(root / "f", vx::FSBOX_READ);
        std::string got;
        const void* data = nullptr;
        uint64_t length = wanted, spare = 0;
        while ((status = file->Read(file, &data, &length, &spare, 0, 0)) == vx::VX_SUCCESS) {
            EXPECT_TRUE(length > 0 && length <= wanted);
            got.append(static_cast<const char*>(data), std::exchange(length, wanted));
        }
        EXPECT_EQ(status, vx::VX_END_OF_FILE);
        file->Close(file);
        EXPECT_TRUE(got == whole);
    }
}

TEST_F(fsbox, refused_opens_say_why) {
    fs::create_symlink(root / "elsewhere", root / "link");
    const auto refusal = [&](const fs::path& path, uint32_t mode) {
        EXPECT_EQ(open(path, mode), nullptr);
        EXPECT_NE(journal.take().at(0).text.find(path.string()), std::string::npos) << path;
        return status;
    };
    EXPECT_EQ(refusal(root / "none", vx::FSBOX_READ), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(refusal(root / "link", vx::FSBOX_WRITE), FSBOX_DENIED);
    EXPECT_EQ(refusal(root, vx::FSBOX_WRITE), FSBOX_IO);
    EXPECT_EQ(refusal(root / "f", 3), vx::VX_INVALID_ARGUMENT);
    EXPECT_FALSE(fs::exists(root / "elsewhere"));
}

// A limit of the process stands for a full disk: what lies beyond it cannot be stored.
TEST_F(fsbox, no_part_of_a_file_passes_for_the_whole) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full = {1000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    for (const size_t piece : {900u, 2000u, 100'000u}) {
        const bool fits = piece < 1000, gathered = piece < 65536;
        for (const bool flushes : {true, false}) {
            vx::File* file = open(root / "f", vx::FSBOX_WRITE);
            EXPECT_EQ(write(file, std::string(piece, 'x')), gathered ? vx::VX_SUCCESS : FSBOX_IO);
            const vx::Status expected = fits ? vx::VX_SUCCESS : FSBOX_IO;
            EXPECT_EQ(flushes ? write(file, "") : expected, expected);
            EXPECT_EQ(file->Close(file), expected);
            EXPECT_EQ(fs::exists(root / "f"), fits);
            EXPECT_EQ(journal.take().size(), fits ? 0u : 1u);
        }
    }
    setrlimit(RLIMIT_FSIZE, &before);
}

}  // namespace
