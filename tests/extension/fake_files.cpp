// Cache directories, names and files of the fake host, in memory.
#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

struct OpenFile : Named<vx::File> {
    std::string* content;
    size_t position = 0;
};

OpenFile& opened(vx::File* file) {
    return *static_cast<OpenFile*>(file);
}

// Stores a new path, named after its maker's kind and number; a failure leaves what nobody may use.
vx::Status reserve(vx::Status status, const std::string& kind, const std::u32string& beginning,
                   char32_t** path, uint64_t* length) {
    *path = const_cast<char32_t*>(U"not to be used");
    if (status != vx::VX_SUCCESS) return status;
    const std::string name = fake().take(kind);
    const auto [reserved, fresh] =
        fake().paths.emplace(beginning + wide(name.substr(kind.size())), name);
    EXPECT_TRUE(fresh);
    *path = const_cast<char32_t*>(reserved->first.c_str());
    *length = reserved->first.size();
    return status;
}

vx::Status releasePath(const char* call, char32_t* path) {
    const vx::Status status = fake().script.next(call).rc;
    fake().say(fmt::format("{} {}", call, inQuotes(path)));
    fake().giveBack(fake().paths[path]);
    fake().paths.erase(path);
    return status;
}

vx::Status closeFile(vx::File* self) {
    const std::unique_ptr<OpenFile> file{&opened(self)};
    fake().giveBack(file->name);
    fake().say(file->name + " Close");
    return vx::VX_SUCCESS;
}

vx::Status readFile(vx::File* self, const void** data, uint64_t* length, uint64_t* spare, vx::Word,
                    vx::Word) {
    OpenFile& file = opened(self);
    EXPECT_EQ(*data, nullptr);
    EXPECT_NE(spare, nullptr);
    vx::Status status = fake().script.next("Read").rc;
    const uint64_t left = file.content->size() - file.position;
    if (status == vx::VX_SUCCESS && left == 0) status = vx::VX_END_OF_FILE;
    fake().say(fmt::format("{} Read {}", file.name, *length), unlessSuccess(status));
    if (status != vx::VX_SUCCESS) return status;
    *length = std::min(*length, left);
    *data = file.content->data() + file.position;
    file.position += *length;
    return status;
}

vx::Status writeFile(vx::File* self, const void* data, uint64_t length, vx::Word first,
                     vx::Word second, vx::Word third) {
    EXPECT_EQ(first | second | third, 0u);
    const vx::Status status = fake().script.next("Write").rc;
    fake().say(fmt::format("{} Write {}", opened(self).name, length), unlessSuccess(status));
    if (status == vx::VX_SUCCESS)
        opened(self).content->append(static_cast<const char*>(data), length);
    return status;
}

vx::File* openFile(vx::Fsbox*, const char32_t* name, uint64_t length,
                   const vx::FsboxOpenParms* parms, vx::Word, vx::Journal* journal, vx::Word,
                   vx::Status* status, vx::Word) {
    EXPECT_EQ(std::u32string_view(parms->device, 8), U"DISK    ");
    EXPECT_EQ(parms->at24 * 10000 + parms->at30 * 100 + parms->at34, 10100u);
    EXPECT_EQ(parms->journal, journal);
    Answer answer = fake().script.next("fsboxOpen");
    *status = answer.rc;
    if (*status != vx::VX_SUCCESS) answer.words.insert("null");
    auto* file = fake().make<vx::File, OpenFile>(
        answer,
        fmt::format("fsboxOpen {} mode {} buffer {}{} ->", inQuotes({name, length}), parms->mode,
                    parms->bufferLength, journal ? " journal" : ""),
        "file");
    if (!file) return nullptr;
    file->content = &fake().files[{name, length}];
    if (parms->mode == vx::FSBOX_WRITE) file->content->clear();
    file->Close = closeFile;
    file->Read = readFile;
    file->Write = writeFile;
    return file;
}

}  // namespace

void FakeHost::setUpFiles() {
    fsbox.fsboxOpen = openFile;
    // "present": the path is there although nobody made it.
    fsbox.Exists = [](auto*, auto* path, auto length, auto) {
        const Answer answer = fake().script.next("Exists");
        const vx::Status status = answer.rc != vx::VX_SUCCESS ? answer.rc
                                  : answer.has("present")     ? vx::VX_SUCCESS
                                                              : vx::VX_PATH_NOT_FOUND;
        fake().say("Exists " + inQuotes({path, length}), hex(status));
        return status;
    };
    fsbox.CreateDirectory = [](auto*, auto* path, auto length, auto) {
        const vx::Status rc = fake().perform("CreateDirectory", " {}", inQuotes({path, length}));
        if (rc == vx::VX_SUCCESS) fake().out.insert("directory " + narrow({path, length}));
        return rc;
    };
    fsbox.DeleteDirectory = [](auto*, auto* path, auto length, auto contents, auto) {
        fake().giveBack("directory " + narrow({path, length}));
        return fake().perform("DeleteDirectory", " {} {}", inQuotes({path, length}), contents);
    };
    fsbox.CreateName = [](auto*, auto* directory, auto length, auto* parms, auto** name,
                          auto* nameLength, auto) {
        const std::u32string prefix{parms->prefix ? parms->prefix : U"", parms->prefixLength};
        const std::u32string below{directory, length};
        return reserve(fake().perform("CreateName", " {} {} kind {}", inQuotes(below),
                                      inQuotes(prefix), parms->kind),
                       "name", below + U"/" + prefix, name, nameLength);
    };
    fsbox.ReleaseName = [](auto*, auto* name, auto) { return releasePath("ReleaseName", name); };
    toolbox.utilloc = [](auto*, auto first, auto second, auto third, auto** path, auto* length,
                         auto) {
        EXPECT_EQ(first | second | ~third, 0u);
        return reserve(fake().perform("utilloc", ""), "location", U"/cache/", path, length);
    };
    toolbox.FreeLocation = [](auto*, auto* path) { releasePath("FreeLocation", path); };
}

}  // namespace test
