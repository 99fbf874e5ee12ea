// Cache directories, names and files of the fake host, in memory.
#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

// Stores a new path, which is due to go back by the call named; a failure leaves what nobody may
// use.
vx::Status reserve(vx::Status status, const char* release, const std::u32string& beginning,
                   char32_t** path, uint64_t* length) {
    *path = const_cast<char32_t*>(U"not to be used");
    if (status != vx::VX_SUCCESS) return status;
    const int number = ++fake().counts[narrow(beginning)];
    const std::u32string fresh = beginning + wide(std::to_string(number));
    std::u32string& kept = fake().due[fmt::format("{} {}", release, inQuotes(fresh))];
    kept = fresh;
    *path = kept.data();
    *length = kept.size();
    return status;
}

vx::Status giveBack(const char* call, const char32_t* path) {
    return fake().settle(call, fmt::format("{} {}", call, inQuotes(path)));
}

vx::Status readFile(vx::File* self, const void** data, uint64_t* length, uint64_t* spare, vx::Word,
                    vx::Word) {
    EXPECT_TRUE(!*data && spare);
    auto& file = named(self);
    const std::string_view left = std::string_view{*file.content}.substr(file.position);
    const vx::Status failure = fake().script.next("Read").rc;
    const vx::Status status = failure || !left.empty() ? failure : vx::VX_END_OF_FILE;
    fake().say("{} Read {}{}", file.name, *length, unlessSuccess(status));
    *length = std::min<uint64_t>(*length, left.size());
    *data = left.data();
    file.position += *length;
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
                    parms->bufferLength, shown(journal)),
        "file", "Close");
    if (!file) return nullptr;
    named(file).content = &fake().files[{name, length}];
    if (parms->mode == vx::FSBOX_WRITE) named(file).content->clear();
    file->Close = [](auto* self) { return fake().destroy(self, "Close"); };
    file->Read = readFile;
    file->Write = [](auto* self, auto* data, auto bytes, auto... zeros) {
        const vx::Status rc = fake().script.next("Write").rc;
        fake().say("{} Write{}{}", named(self).name, shown(bytes, zeros...), unlessSuccess(rc));
        if (!rc) named(self).content->append(static_cast<const char*>(data), bytes);
        return rc;
    };
    return file;
}

}  // namespace

void FakeHost::setUpFiles() {
    fsbox.fsboxOpen = openFile;
    // "present": the path is there although nobody made it.
    fsbox.Exists = [](auto*, auto... path) {
        const Answer answer = fake().script.next("Exists");
        const bool there = answer.rc || answer.has("present");
        const vx::Status status = there ? answer.rc : vx::VX_PATH_NOT_FOUND;
        fake().say("Exists{} -> {}", shown(path...), hex(status));
        return status;
    };
    fsbox.CreateDirectory = [](auto*, auto... path) {
        const vx::Status rc = fake().perform("CreateDirectory", shown(path...));
        if (rc == vx::VX_SUCCESS) fake().due[fmt::format("DeleteDirectory{} 1", shown(path...))];
        return rc;
    };
    fsbox.DeleteDirectory = [](auto*, auto... arguments) {
        return fake().settle("DeleteDirectory",
                             fmt::format("DeleteDirectory{}", shown(arguments...)));
    };
    fsbox.CreateName = [](auto*, auto* directory, auto length, auto* parms, auto** name,
                          auto* nameLength, auto) {
        const std::u32string below{directory, length};
        const std::u32string prefix{parms->prefix ? parms->prefix : U"", parms->prefixLength};
        EXPECT_EQ(parms->kind, prefix.empty() ? vx::NAME_DIRECTORY : vx::NAME_FILE);
        const std::string arguments = fmt::format(" {} {}", inQuotes(below), inQuotes(prefix));
        return reserve(fake().perform("CreateName", arguments), "ReleaseName",
                       below + U"/" + prefix, name, nameLength);
    };
    fsbox.ReleaseName = [](auto*, auto* name, auto) { return giveBack("ReleaseName", name); };
    toolbox.utilloc = [](auto*, auto first, auto second, auto third, auto** path, auto* length,
                         auto) {
        const std::string arguments = shown(first, second, ~third);
        return reserve(fake().perform("utilloc", arguments), "FreeLocation", U"/cache/", path,
                       length);
    };
    toolbox.FreeLocation = [](auto*, auto* path) { giveBack("FreeLocation", path); };
}

}  // namespace test
