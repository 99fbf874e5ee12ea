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
    ~fsbox() override { unload(); }
    void unload() {
        if (box != nullptr) box->base.Unload(&box->base);
        box = nullptr;
    }

    // A function of fsbox that takes a path.
    template <class Slot, class... More>
    auto on(const fs::path& path, Slot slot, More... more) {
        const auto wide = toUtf32(path.string());
        return (box->*slot)(box, wide.data(), wide.size(), more...);
    }
    vx::Status exists(const fs::path& path) { return on(path, &vx::Fsbox::Exists, 0u); }
    vx::Status create(const fs::path& path) { return on(path, &vx::Fsbox::CreateDirectory, 0u); }
    vx::Status remove(const fs::path& path, uint32_t withContents) {
        return on(path, &vx::Fsbox::DeleteDirectory, withContents, 0u);
    }
    vx::Status makeName(const fs::path& directory, uint32_t kind, char32_t*& name) {
        vx::NameParms parms{};
        parms.kind = kind;
        if (kind == vx::NAME_FILE) {
            parms.prefix = U"WEBDAV";
            parms.prefixLength = 6;
        }
        uint64_t length = 0;
        status = on(directory, &vx::Fsbox::CreateName, &parms, &name, &length, 0u);
        EXPECT_TRUE(status != vx::VX_SUCCESS || std::u32string_view(name).size() == length);
        return status;
    }
    vx::File* open(const fs::path& path, uint32_t mode) {
        vx::FsboxOpenParms parms{};
        parms.mode = mode;
        status = 99;
        return on(path, &vx::Fsbox::fsboxOpen, &parms, 0u, &journal, 0u, &status, 0u);
    }
    // The file, read so many bytes at a time.
    std::string content(const fs::path& path, uint64_t wanted) {
        vx::File* file = open(path, vx::FSBOX_READ);
        std::string got;
        const void* data = nullptr;
        uint64_t length = wanted, spare = 0;
        while ((status = file->Read(file, &data, &length, &spare, 0, 0)) == vx::VX_SUCCESS) {
            EXPECT_TRUE(length > 0 && length <= wanted);
            got.append(static_cast<const char*>(data), length);
            length = wanted;
        }
        EXPECT_EQ(status, vx::VX_END_OF_FILE);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
        return got;
    }

    vx::Fsbox* box = reinterpret_cast<vx::Fsbox*>(createFsbox({}));
    vx::Status status = 0;  // of the last open, CreateName or Read
    UserJournal journal;
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
        ASSERT_EQ(makeName(root, vx::NAME_FILE, name), vx::VX_SUCCESS);
        EXPECT_TRUE(seen.insert(name).second);
    }
    const fs::path last = toUtf8(name);
    EXPECT_EQ(last.parent_path(), root);
    EXPECT_EQ(last.filename().string().size(), 6u + 32u);
    EXPECT_TRUE(last.filename().string().starts_with("WEBDAV"));
    EXPECT_EQ(support::modeOf(last), 0600u);
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_SUCCESS);
    EXPECT_FALSE(fs::exists(last));
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_INVALID_ARGUMENT);

    ASSERT_EQ(makeName(root, vx::NAME_DIRECTORY, name), vx::VX_SUCCESS);
    const fs::path directory = toUtf8(name);
    EXPECT_EQ(exists(directory), vx::VX_PATH_NOT_FOUND);
    ASSERT_EQ(create(directory), vx::VX_SUCCESS);
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_SUCCESS);
    ASSERT_EQ(makeName(directory, vx::NAME_FILE, name), vx::VX_SUCCESS);
    EXPECT_EQ(remove(directory, 1), vx::VX_SUCCESS);
    EXPECT_EQ(box->ReleaseName(box, name, 0), vx::VX_SUCCESS);  // its directory went before
    ASSERT_EQ(create(directory), vx::VX_SUCCESS);

    EXPECT_EQ(makeName(root / "missing", vx::NAME_FILE, name), vx::VX_PATH_NOT_FOUND);
    EXPECT_EQ(makeName(root, 9, name), vx::VX_INVALID_ARGUMENT);
    unload();  // the reserved names that are still out go with it, the directory stays
    EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 1);
}

// Pieces of many sizes around those of the buffers arrive whole and in order.
TEST_F(fsbox, pieces_are_gathered_and_handed_out) {
    support::writeFile(root / "f", "old");
    vx::File* file = open(root / "f", vx::FSBOX_WRITE);
    EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
    EXPECT_EQ(content(root / "f", 4096), "");
    fs::remove(root / "f");

    file = open(root / "f", vx::FSBOX_WRITE);
    ASSERT_NE(file, nullptr);
    std::string whole;
    for (const size_t size :
         {1u, 4096u, 65535u, 65536u, 65537u, 0u, 3u, 262143u, 262144u, 262145u, 7u, 130000u}) {
        std::string piece;
        for (size_t at = 0; at < size; ++at) piece += static_cast<char>((whole.size() + at) % 253);
        EXPECT_EQ(file->Write(file, piece.data(), size, 0, 0, 0), vx::VX_SUCCESS);
        whole += piece;
    }
    EXPECT_EQ(file->Close(file), vx::VX_SUCCESS);
    EXPECT_EQ(support::modeOf(root / "f"), 0600u);
    EXPECT_EQ(support::readFile(root / "f"), whole);
    for (const uint64_t wanted : {4096u, 4097u, 1u << 20}) {
        EXPECT_TRUE(content(root / "f", wanted) == whole);
    }
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
        EXPECT_EQ(open(row.path, row.mode), nullptr) << row.path;
        EXPECT_EQ(status, row.status) << row.path;
        const auto told = journal.take();
        ASSERT_EQ(told.size(), 1u);
        EXPECT_NE(told[0].text.find(row.path.string()), std::string::npos);
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
        vx::File* file = open(root / "f", vx::FSBOX_WRITE);
        EXPECT_EQ(file->Write(file, large.data(), row.piece, 0, 0, 0), row.written);
        EXPECT_EQ(row.flushed ? file->Write(file, "", 0, 0, 0, 0) : row.flush, row.flush);
        const bool fits = row.piece <= 1000;
        EXPECT_EQ(file->Close(file), fits ? vx::VX_SUCCESS : FSBOX_IO);
        EXPECT_EQ(fs::exists(root / "f"), fits);
        EXPECT_EQ(journal.take().size(), fits ? 0u : 1u);
    }
}

TEST(toolbox, locations_are_free_and_their_parent_is_private) {
    const support::TemporaryDirectory temporary;
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
    settings.cacheRoot = temporary / "made/here";
    const fs::path first = ask(settings);
    EXPECT_EQ(first.parent_path(), settings.cacheRoot);
    EXPECT_FALSE(fs::exists(first));
    EXPECT_NE(ask(settings), first);
    EXPECT_EQ(support::modeOf(temporary / "made/here"), 0700u);
    EXPECT_EQ(support::modeOf(temporary / "made"), 0700u);

    const std::string home = getenv("HOME") != nullptr ? getenv("HOME") : "";
    setenv("HOME", temporary.path().c_str(), 1);
    EXPECT_EQ(ask({}).parent_path(), temporary / ".cache/quillon");
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CACHE_HOME", (temporary / "xdg").c_str(), 1);
    EXPECT_EQ(ask({}).parent_path(), temporary / "xdg/quillon");
    unsetenv("XDG_CACHE_HOME");
}

}  // namespace
