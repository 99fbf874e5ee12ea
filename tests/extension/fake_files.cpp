// Cache directories, names and files of the fake host, in memory.
#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

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
    fake().say("{} {}", call, inQuotes(path));
    fake().giveBack(fake().paths[path]);
    fake().paths.erase(path);
    return status;
}

vx::Status readFile(vx::File* self, const void** data, uint64_t* length, uint64_t* spare, vx::Word,
                    vx::Word) {
    EXPECT_TRUE(!*data && spare);
    auto& file = named(self);
    const uint64_t left = file.content->size() - file.position;
    const vx::Status failure = fake().script.next("Read").rc;
    const vx::Status status = failure || left ? failure : vx::VX_END_OF_FILE;
    fake().say("{} Read {}{}", file.name, *length, unlessSuccess(status));
    *length = std::min(*length, left);
    *data = file.content->data() + std::exchange(file.position, file.position + *length);
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
    if (answer.rc != vx::VX_SUCCESS) answer.take("null");
    auto* file = fake().make<vx::File>(
        answer,
        fmt::format("fsboxOpen {} mode {} buffer {}{} ->", inQuotes({name, length}), parms->mode,
                    parms->bufferLength, journal ? " journal" : ""),
        "file");
    if (!file) return nullptr;
    named(file).content = &fake().files[{name, length}];
    if (parms->mode == vx::FSBOX_WRITE) named(file).content->clear();
    file->Close = [](auto* self) { return fake().destroy(self, "Close"); };
    file->Read = readFile;
    file->Write = [](auto* self, auto* data, auto bytes, auto first, auto second, auto third) {
        EXPECT_EQ(first | second | third, 0u);
        const vx::Status refused = fake().script.next("Write").rc;
        fake().say("{} Write {}{}", named(self).name, bytes, unlessSuccess(refused));
        if (!refused) named(self).content->append(static_cast<const char*>(data), bytes);
        return refused;
    };
    return file;
}

}  // namespace

void FakeHost::setUpFiles() {
    fsbox.fsboxOpen = openFile;
    // "present": the path is there although nobody made it.
    fsbox.Exists = [](auto*, auto* path, auto length, auto) {
        const Answer answer = fake().script.next("Exists");
        const bool there = answer.rc || answer.has("present");
        const vx::Status status = there ? answer.rc : vx::VX_PATH_NOT_FOUND;
        fake().say("Exists {} -> {}", inQuotes({path, length}), hex(status));
        return status;
    };
    fsbox.CreateDirectory = [](auto*, auto* path, auto length, auto) {
        const vx::Status rc =
            fake().perform("CreateDirectory", fmt::format(" {}", inQuotes({path, length})));
        if (rc == vx::VX_SUCCESS) fake().out.insert("directory " + narrow({path, length}));
        return rc;
    };
    fsbox.DeleteDirectory = [](auto*, auto* path, auto length, auto contents, auto) {
        fake().giveBack("directory " + narrow({path, length}));
        return fake().perform("DeleteDirectory",
                              fmt::format(" {} {}", inQuotes({path, length}), contents));
    };
    fsbox.CreateName = [](auto*, auto* directory, auto length, auto* parms, auto** name,
                          auto* nameLength, auto) {
        const std::u32string below{directory, length};
        const std::u32string prefix{parms->prefix ? parms->prefix : U"", parms->prefixLength};
        const vx::Status status = fake().perform(
            "CreateName",
            fmt::format(" {} {} kind {}", inQuotes(below), inQuotes(prefix), parms->kind));
        return reserve(status, "name", below + U"/" + prefix, name, nameLength);
    };
    fsbox.ReleaseName = [](auto*, auto* name, auto) { return releasePath("ReleaseName", name); };
    toolbox.utilloc = [](auto*, auto first, auto second, auto third, auto** path, auto* length,
                         auto) {
        EXPECT_EQ(first | second | ~third, 0u);
        return reserve(fake().perform("utilloc"), "location", U"/cache/", path, length);
    };
    toolbox.FreeLocation = [](auto*, auto* path) { releasePath("FreeLocation", path); };
}

}  // namespace test
