#include "host/fsbox.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <set>

#include "host/toolbox.h"
#include "platform/journal.hpp"
#include "platform/siblings.hpp"
#include "platform/status.hpp"
#include "platform/transcoder.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace {

using namespace vxhost;
namespace fs = std::filesystem;

class fsbox : public testing::Test {
protected:
    fsbox() : box(reinterpret_cast<vx::Fsbox*>(createFsbox(settings))) {}
    ~fsbox() override { unload(); }
    void unload() {
        if (box != nullptr) box->base.Unload(&box->base);
        box = nullptr;
    }

    vx::Status exists(const fs::path& path) {
        const auto wide = toUtf32(path.string());
        return box->Exists(box, wide.data(), wide.size(), 0);
    }
    vx::Status create(const fs::path& path) {
        const auto wide = toUtf32(path.string());
        return box->CreateDirectory(box, wide.data(), wide.size(), 0);
    }
    vx::Status remove(const fs::path& path, uint32_t withContents) {
        const auto wide = toUtf32(path.string());
        return box->DeleteDirectory(box, wide.data(), wide.size(), withContents, 0);
    }
    vx::Status makeName(const fs::path& directory, uint32_t kind, const char32_t* prefix,
                        char32_t*& name) {
        const auto wide = toUtf32(directory.string());
        vx::NameParms parms{};
        parms.kind = kind;
        parms.prefix = prefix;
        parms.prefixLength = prefix != nullptr ? 6 : 0;
        uint64_t length = 0;
        const auto status =
            box->CreateName(box, wide.data(), wide.size(), &parms, &name, &length, 0);
        if (status == vx::VX_SUCCESS) {
            EXPECT_EQ(std::u32string_view(name).size(), length);
        }
        return status;
    }
    vx::File* open(const fs::path& path, uint32_t mode, vx::Status& status,
                   vx::Journal* journal = nullptr) {
        const auto wide = toUtf32(path.string());
        vx::FsboxOpenParms parms{};
        parms.mode = mode;
        status = 99;
        return box->fsboxOpen(box, wide.data(), wide.size(), &parms, 0, journal, 0, &status, 0);
    }

    Settings settings;
    vx::Fsbox* box;
    support::TemporaryDirectory temporary;
    const fs::path root = temporary.path();
};

TEST_F(fsbox, directories) {
    EXPECT_EQ(exists(root), vx::VX_SUCCESS);
    EXPECT_EQ(exists(root / "a"), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(create(root / "a"), vx::VX_SUCCESS);
    EXPECT_EQ(support::modeOf(root / "a"), 0700u);
    EXPECT_EQ(create(root / "a"), FSBOX_EXISTS);
    EXPECT_EQ(create(root / "b/c"), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(exists(root / "a/file"), vx::VX_PATH_NOT_FOUND);
    support::writeFile(root / "a/file", "x");
    EXPECT_EQ(exists(root / "a/file/below"), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(remove(root / "a", 0), FSBOX_IO);
    EXPECT_EQ(exists(root / "a/file"), vx::VX_SUCCESS);
    EXPECT_EQ(remove(root / "a", 1), vx::VX_SUCCESS);
    EXPECT_EQ(remove(root / "a", 1), vx::VX_PATH_NOT_FOUND);
    const char32_t surrogate[] = {U'/', char32_t{0xD800}};
    EXPECT_EQ(box->Exists(box, surrogate, 2, 0), TRANSCODE_INVALID);
}

TEST_F(fsbox, deleting_never_goes_through_a_link) {
    fs::create_directories(root / "kept/inside");
    fs::create_directories(root / "cache/sub");
    fs::create_directory_symlink(root / "kept", root / "cache/sub/link");
    fs::create_directory_symlink(root / "kept", root / "link");
    fs::create_symlink(root / "nowhere", root / "dangling");
    EXPECT_EQ(exists(root / "dangling"), vx::VX_SUCCESS);  // a name that is taken
    EXPECT_EQ(remove(root / "link", 1), FSBOX_DENIED);
    EXPECT_EQ(remove(root / "cache", 1), vx::VX_SUCCESS);
    EXPECT_TRUE(fs::exists(root / "kept/inside"));
    EXPECT_FALSE(fs::exists(root / "cache"));
}

TEST_F(fsbox, names_are_reserved_and_given_back) {
    std::set<std::u32string> seen;
    char32_t* name = nullptr;
    for (int each = 0; each < 50; ++each) {
        ASSERT_EQ(makeName(root, vx::NAME_FILE, U"WEBDAV", name), vx::VX_SUCCESS);
        EXPECT_TRUE(seen.insert(name).second);
    }
    const fs::path last = toUtf8(name);
    EXPECT_EQ(last.parent_path(), root);
    EXPECT_EQ(last.filename().string().size(), 6u + 32u);
    EXPECT_EQ(last.filename().string().substr(0, 6), "WEBDAV");
    EXPECT_EQ(support::modeOf(last), 0600u);
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_SUCCESS);
    EXPECT_FALSE(fs::exists(last));
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_INVALID_ARGUMENT);

    char32_t* directory = nullptr;
    ASSERT_EQ(makeName(root, vx::NAME_DIRECTORY, nullptr, directory), vx::VX_SUCCESS);
    EXPECT_EQ(exists(toUtf8(directory)), vx::VX_PATH_NOT_FOUND);
    ASSERT_EQ(create(toUtf8(directory)), vx::VX_SUCCESS);
    EXPECT_EQ(box->ReleaseName(box, directory, 0), vx::VX_SUCCESS);
    EXPECT_EQ(exists(root), vx::VX_SUCCESS);

    EXPECT_EQ(makeName(root / "missing", vx::NAME_FILE, U"WEBDAV", name), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(makeName(root, 9, U"WEBDAV", name), vx::VX_INVALID_ARGUMENT);
    unload();  // the reserved names that are still out go with it, the directory stays
    EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 1);
}

TEST_F(fsbox, name_outlives_its_directory) {
    char32_t* name = nullptr;
    fs::create_directory(root / "cache");
    ASSERT_EQ(makeName(root / "cache", vx::NAME_FILE, U"WEBDAV", name), vx::VX_SUCCESS);
    EXPECT_EQ(remove(root / "cache", 1), vx::VX_SUCCESS);
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_SUCCESS);
}

// Pieces of many sizes around those of the buffers arrive whole and in order.
TEST_F(fsbox, pieces_are_gathered_and_handed_out) {
    const size_t sizes[] = {1, 4096, 65535, 65536, 65537, 0, 3, 262143, 262144, 262145, 7, 130000};
    vx::Status status = 0;
    vx::File* file = open(root / "f", vx::FSBOX_WRITE, status);
    ASSERT_NE(file, nullptr);
    std::string whole;
    for (const size_t size : sizes) {
        std::string piece;
        for (size_t at = 0; at < size; ++at) piece += static_cast<char>((whole.size() + at) % 253);
        EXPECT_EQ(file->Write(file, piece.data(), size, 0, 0, 0), vx::VX_SUCCESS);
        whole += piece;
    }
    EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
    EXPECT_EQ(support::modeOf(root / "f"), 0600u);
    EXPECT_EQ(support::readFile(root / "f"), whole);

    for (const uint64_t wanted : {uint64_t{4096}, uint64_t{4097}, uint64_t{1} << 20}) {
        vx::File* again = open(root / "f", vx::FSBOX_READ, status);
        ASSERT_NE(again, nullptr);
        std::string got;
        const void* data = nullptr;
        uint64_t length = wanted;
        uint64_t spare = 0;
        while ((status = again->Read(again, &data, &length, &spare, 0, 0)) == vx::VX_SUCCESS) {
            ASSERT_GT(length, 0u);
            ASSERT_LE(length, wanted);
            got.append(static_cast<const char*>(data), length);
            length = wanted;
        }
        EXPECT_EQ(status, vx::VX_END_OF_FILE);
        EXPECT_EQ(again->Close(again), vx::VX_SUCCESS);
        EXPECT_EQ(got, whole);
    }
}

TEST_F(fsbox, writing_empties_and_empty_ends_at_once) {
    support::writeFile(root / "f", "old");
    vx::Status status = 0;
    vx::File* file = open(root / "f", vx::FSBOX_WRITE, status);
    EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
    EXPECT_TRUE(fs::is_empty(root / "f"));
    file = open(root / "f", vx::FSBOX_READ, status);
    const void* data = nullptr;
    uint64_t length = 4096;
    EXPECT_EQ(file->Read(file, &data, &length, nullptr, 0, 0), vx::VX_END_OF_FILE);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
}

TEST_F(fsbox, refused_opens_say_why) {
    fs::create_symlink(root / "elsewhere", root / "link");
    const struct {
        fs::path path;
        uint32_t mode;
        vx::Status status;
    } rows[] = {
        {root / "none", vx::FSBOX_READ, vx::VX_PATH_NOT_FOUND},
        {root / "none/f", vx::FSBOX_WRITE, vx::VX_PATH_NOT_FOUND},
        {root / "link", vx::FSBOX_WRITE, FSBOX_DENIED},
        {root, vx::FSBOX_WRITE, FSBOX_IO},
        {root / "f", 3, vx::VX_INVALID_ARGUMENT},
    };
    for (const auto& row : rows) {
        UserJournal journal;
        vx::Status status = 0;
        EXPECT_EQ(open(row.path, row.mode, status, &journal), nullptr) << row.path;
        EXPECT_EQ(status, row.status) << row.path;
        ASSERT_EQ(journal.sentences().size(), 1u);
        EXPECT_NE(journal.sentences()[0].text.find(row.path.string()), std::string::npos);
    }
    EXPECT_FALSE(fs::exists(root / "elsewhere"));
}

// A limit of the process stands for a full disk: what lies beyond it cannot be stored.
class full_disk : public fsbox {
protected:
    full_disk() {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit limit = before;
        limit.rlim_cur = 1000;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~full_disk() override { setrlimit(RLIMIT_FSIZE, &before); }
    rlimit before{};
};

TEST_F(full_disk, no_part_of_a_file_passes_for_the_whole) {
    const std::string large(100'000, 'x');
    const struct {
        size_t piece;
        bool flushed;  // by a Write of nothing
        vx::Status written;
        vx::Status flush;
    } rows[] = {
        {900, true, vx::VX_SUCCESS, vx::VX_SUCCESS},  // fits
        {2000, false, vx::VX_SUCCESS, vx::VX_SUCCESS},
        {2000, true, vx::VX_SUCCESS, FSBOX_IO},
        {large.size(), true, FSBOX_IO, FSBOX_IO},
    };
    for (const auto& row : rows) {
        UserJournal journal;
        vx::Status status = 0;
        vx::File* file = open(root / "f", vx::FSBOX_WRITE, status, &journal);
        EXPECT_EQ(file->Write(file, large.data(), row.piece, 0, 0, 0), row.written);
        if (row.flushed) {
            EXPECT_EQ(file->Write(file, "", 0, 0, 0, 0), row.flush);
        }
        const bool fits = row.piece <= 1000;
        EXPECT_EQ(file->Close(file), fits ? vx::VX_SUCCESS : FSBOX_IO);
        EXPECT_EQ(fs::exists(root / "f"), fits);
        EXPECT_EQ(journal.sentences().size(), fits ? 0u : 1u);
    }
}

TEST(toolbox, locations_are_free_and_their_parent_is_private) {
    const support::TemporaryDirectory temporary;
    const fs::path root = temporary.path() / "made/here";
    const auto ask = [](const Settings& settings) {
        auto* box = reinterpret_cast<vx::Toolbox*>(createToolbox(settings));
        char32_t* path = nullptr;
        uint64_t length = 0;
        EXPECT_EQ(box->utilloc(box, 0, 0, ~vx::Word{0}, &path, &length, 0), vx::VX_SUCCESS);
        const fs::path location = toUtf8({path, length});
        box->FreeLocation(box, path);
        box->base.Unload(&box->base);
        return location;
    };
    Settings settings;
    settings.cacheRoot = root;
    const fs::path first = ask(settings);
    EXPECT_EQ(first.parent_path(), root);
    EXPECT_FALSE(fs::exists(first));
    EXPECT_NE(ask(settings), first);
    EXPECT_EQ(support::modeOf(root), 0700u);
    EXPECT_EQ(support::modeOf(temporary.path() / "made"), 0700u);

    setenv("XDG_CACHE_HOME", (temporary.path() / "xdg").c_str(), 1);
    EXPECT_EQ(ask({}).parent_path(), temporary.path() / "xdg/quillon");
    unsetenv("XDG_CACHE_HOME");
    const std::string home = getenv("HOME") != nullptr ? getenv("HOME") : "";
    setenv("HOME", (temporary.path() / "home").c_str(), 1);
    EXPECT_EQ(ask({}).parent_path(), temporary.path() / "home/.cache/quillon");
    setenv("HOME", home.c_str(), 1);
}

}  // namespace
