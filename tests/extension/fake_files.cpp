// Cache directories, names and files of the fake host, in memory.
#include <fmt/format.h>

#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

using Files = Fake<vx::Fsbox>;
using Box = Fake<vx::Toolbox>;

std::string arrow(vx::Status status) {
    return status == vx::VX_SUCCESS ? "" : fmt::format(" -> {:08X}", status);
}

// A reserved path, as the one who made it gives it out.
char32_t* reserve(FakeHost& host, std::u32string path, const std::string& name) {
    const auto [reserved, fresh] = host.paths.emplace(std::move(path), name);
    EXPECT_TRUE(fresh);
    return const_cast<char32_t*>(reserved->first.c_str());
}

void releasePath(FakeHost& host, const char* call, char32_t* path) {
    const auto reserved = host.paths.find(path);
    host.say(fmt::format("{} \"{}\"", call, narrow(path)));
    if (reserved == host.paths.end()) {
        ADD_FAILURE() << "a path is released that is not reserved";
        return;
    }
    host.giveBack(reserved->second);
    host.paths.erase(reserved);
}

vx::Status createName(vx::Fsbox* self, const char32_t* directory, uint64_t length,
                      const vx::NameParms* parms, char32_t** name, uint64_t* nameLength, vx::Word) {
    FakeHost& host = *Files::of(self).host;
    const vx::Status status = host.script.next("CreateName").rc;
    const std::u32string prefix{parms->prefix ? parms->prefix : U"", parms->prefixLength};
    host.say(fmt::format("CreateName \"{}\" \"{}\" kind {}{}", narrow({directory, length}),
                         narrow(prefix), parms->kind, arrow(status)));
    if (status != vx::VX_SUCCESS) {
        *name = const_cast<char32_t*>(U"not to be used");
        return status;
    }
    const std::string given = host.take("name");
    const std::u32string path =
        std::u32string{directory, length} + U"/" + prefix + wide(given.substr(4));
    *name = reserve(host, path, given);
    *nameLength = path.size();
    return status;
}

// "present": the path is there although nobody made it.
vx::Status exists(vx::Fsbox* self, const char32_t* path, uint64_t length, vx::Word) {
    FakeHost& host = *Files::of(self).host;
    const Answer answer = host.script.next("Exists");
    const bool there = answer.has("present") || host.directories.contains({path, length});
    const vx::Status status = answer.rc != vx::VX_SUCCESS ? answer.rc
                              : there                     ? vx::VX_SUCCESS
                                                          : vx::VX_PATH_NOT_FOUND;
    host.say(fmt::format("Exists \"{}\" -> {:08X}", narrow({path, length}), status));
    return status;
}

vx::Status createDirectory(vx::Fsbox* self, const char32_t* path, uint64_t length, vx::Word) {
    FakeHost& host = *Files::of(self).host;
    const vx::Status status = host.script.next("CreateDirectory").rc;
    host.say(fmt::format("CreateDirectory \"{}\"{}", narrow({path, length}), arrow(status)));
    if (status == vx::VX_SUCCESS) host.directories.emplace(path, length);
    return status;
}

vx::Status deleteDirectory(vx::Fsbox* self, const char32_t* path, uint64_t length,
                           uint32_t withContents, vx::Word) {
    FakeHost& host = *Files::of(self).host;
    const vx::Status status = host.script.next("DeleteDirectory").rc;
    host.say(fmt::format("DeleteDirectory \"{}\" {}{}", narrow({path, length}), withContents,
                         arrow(status)));
    if (host.directories.erase({path, length}) == 0) ADD_FAILURE() << "no such directory";
    return status;
}

struct OpenFile : Fake<vx::File> {
    std::string* content;
    size_t position = 0;
};

vx::Status closeFile(vx::File* self) {
    auto* file = static_cast<OpenFile*>(self);
    const vx::Status status = file->host->script.next("Close").rc;
    file->host->say(fmt::format("{} Close{}", file->name, arrow(status)));
    file->host->giveBack(file->name);
    delete file;
    return status;
}

vx::Status readFile(vx::File* self, const void** data, uint64_t* length, uint64_t* spare, vx::Word,
                    vx::Word) {
    auto& file = *static_cast<OpenFile*>(self);
    EXPECT_EQ(*data, nullptr);
    EXPECT_NE(spare, nullptr);
    vx::Status status = file.host->script.next("Read").rc;
    if (status == vx::VX_SUCCESS && file.position == file.content->size())
        status = vx::VX_END_OF_FILE;
    file.host->say(fmt::format("{} Read {}{}", file.name, *length, arrow(status)));
    if (status != vx::VX_SUCCESS) return status;
    *length = std::min<uint64_t>(*length, file.content->size() - file.position);
    *data = file.content->data() + file.position;
    file.position += *length;
    return status;
}

vx::Status writeFile(vx::File* self, const void* data, uint64_t length, vx::Word first,
                     vx::Word second, vx::Word third) {
    auto& file = *static_cast<OpenFile*>(self);
    EXPECT_EQ(first | second | third, 0u);
    const vx::Status status = file.host->script.next("Write").rc;
    file.host->say(fmt::format("{} Write {}{}", file.name, length, arrow(status)));
    if (status == vx::VX_SUCCESS) file.content->append(static_cast<const char*>(data), length);
    return status;
}

vx::File* openFile(vx::Fsbox* self, const char32_t* name, uint64_t length,
                   const vx::FsboxOpenParms* parms, vx::Word, vx::Journal* journal, vx::Word,
                   vx::Status* status, vx::Word) {
    FakeHost& host = *Files::of(self).host;
    const Answer answer = host.script.next("fsboxOpen");
    EXPECT_EQ(std::u32string_view(parms->device, 8), U"DISK    ");
    EXPECT_EQ(parms->at24 * 10000 + parms->at30 * 100 + parms->at34, 10100u);
    EXPECT_EQ(parms->journal, journal);
    const std::u32string path{name, length};
    std::string line = fmt::format("fsboxOpen \"{}\" mode {} buffer {}{}", narrow(path),
                                   parms->mode, parms->bufferLength, journal ? " journal" : "");
    if (answer.null() || answer.rc != vx::VX_SUCCESS) {
        host.say(line + " -> null" + arrow(answer.rc));
        *status = answer.rc;
        return nullptr;
    }
    auto* file = new OpenFile{};
    file->host = &host;
    file->name = host.take("file");
    file->content = &host.files[path];
    if (parms->mode == vx::FSBOX_WRITE) file->content->clear();
    file->Close = closeFile;
    file->Read = readFile;
    file->Write = writeFile;
    host.say(line + " -> " + file->name);
    return file;
}

vx::Status utilloc(vx::Toolbox* self, vx::Word first, vx::Word second, vx::Word third,
                   char32_t** path, uint64_t* length, vx::Word) {
    FakeHost& host = *Box::of(self).host;
    EXPECT_EQ(first | second | ~third, 0u);
    const vx::Status status = host.script.next("utilloc").rc;
    host.say("utilloc" + arrow(status));
    if (status != vx::VX_SUCCESS) {
        *path = const_cast<char32_t*>(U"not to be used");
        return status;
    }
    const std::string given = host.take("location");
    const std::u32string place = U"/cache/" + wide(given.substr(8));
    *path = reserve(host, place, given);
    *length = place.size();
    return status;
}

}  // namespace

void FakeHost::setUpFiles() {
    fsbox.fsboxOpen = openFile;
    fsbox.Exists = exists;
    fsbox.CreateDirectory = createDirectory;
    fsbox.DeleteDirectory = deleteDirectory;
    fsbox.CreateName = createName;
    fsbox.ReleaseName = [](vx::Fsbox* self, char32_t* name, vx::Word) {
        FakeHost& host = *Files::of(self).host;
        const vx::Status status = host.script.next("ReleaseName").rc;
        releasePath(host, "ReleaseName", name);
        return status;
    };
    toolbox.utilloc = utilloc;
    toolbox.FreeLocation = [](vx::Toolbox* self, char32_t* path) {
        releasePath(*Box::of(self).host, "FreeLocation", path);
    };
}

}  // namespace test
