#include "tests/extension/fake_host.hpp"

#include <fmt/format.h>

#include <utf8cpp/utf8.h>
#include <stdexcept>

#include "vxext/src/entry.hpp"

namespace test {

std::u32string wide(std::string_view utf8) {
    std::u32string text;
    utf8::utf8to32(utf8.begin(), utf8.end(), std::back_inserter(text));
    return text;
}

std::string narrow(std::u32string_view text) {
    std::string utf8;
    utf8::utf32to8(text.begin(), text.end(), std::back_inserter(utf8));
    return utf8;
}

namespace {

void setUpPool(FakeHost& host) {
    static const auto alloc = TestPool{}.Alloc;
    static const auto free = TestPool{}.Free;
    host.pool.host = &host;
    host.pool.Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) {
        FakeHost& to = *static_cast<WatchedPool*>(self)->host;
        if (to.sayPool)
            to.say(fmt::format("Alloc {}{}", bytes, flags == vx::POOL_ZEROED ? " zeroed" : ""));
        return alloc(self, bytes, flags);
    };
    host.pool.Free = [](vx::Pool* self, void* block) {
        auto& pool = *static_cast<WatchedPool*>(self);
        const auto live = pool.live.find(block);
        if (pool.host->sayPool && live != pool.live.end())
            pool.host->say(fmt::format("Free {}", live->second.bytes().size()));
        free(self, block);
    };
    host.pool.DestroyPool = [](vx::Pool* self) {
        auto& pool = *static_cast<WatchedPool*>(self);
        pool.host->say("DestroyPool");
        for (const auto& [data, block] : pool.live)
            pool.givenBack.emplace_back(block.bytes().begin(), block.bytes().end());
        pool.live.clear();
    };
}

template <class Sibling>
void setUpSibling(FakeHost& host, Fake<Sibling>& sibling, const char* name) {
    sibling.host = &host;
    sibling.name = name;
    sibling.base.Unload = [](vx::LoadedExtension* self) {
        auto& loaded = Fake<Sibling>::of(reinterpret_cast<Sibling*>(self));
        loaded.host->giveBack(loaded.name);
        loaded.host->say("Unload " + loaded.name);
    };
}

// The sibling of that name, from the host's or the kernel's loader.
vx::LoadedExtension* load(FakeHost& host, const char* loader, std::u32string_view wideName,
                          void* context) {
    const std::string name = narrow(wideName);
    const std::map<std::string, vx::LoadedExtension*> siblings = {
        {"weblnk", &host.weblnk.base},
        {"fsbox", &host.fsbox.base},
        {"toolbox", &host.toolbox.base},
        {"markup", &host.markup.base},
    };
    const bool loaded = siblings.contains(name) && !host.script.next(name).null();
    host.say(fmt::format("{} LoadExtension {}{}{}", loader, name, context ? " context" : "",
                         loaded ? "" : " -> null"));
    if (!loaded) return nullptr;
    host.out.insert(name);
    return siblings.at(name);
}

template <class Unit>
bool contains(const std::vector<uint8_t>& block, std::basic_string_view<Unit> text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    return std::search(block.begin(), block.end(), bytes, bytes + text.size() * sizeof(Unit)) !=
           block.end();
}

}  // namespace

FakeHost::FakeHost(std::string_view text, bool started) : vx::Host{}, script(text) {
    setUpPool(*this);
    setUpSibling(*this, weblnk, "weblnk");
    setUpSibling(*this, fsbox, "fsbox");
    setUpSibling(*this, toolbox, "toolbox");
    setUpSibling(*this, markup, "markup");
    setUpMessages();
    setUpFiles();
    setUpWeblnk();
    setUpMarkup();
    setUpEncoding();

    CreatePool = [](vx::Host* self, const vx::PoolParms* parms, void* context,
                    const char* name) -> vx::Pool* {
        auto& host = *static_cast<FakeHost*>(self);
        const bool zero = !parms->words[0] && !parms->words[1] && !parms->words[2];
        const bool null = host.script.next("CreatePool").null();
        host.say(fmt::format("CreatePool {}{}{}{}", name, context ? " context" : "",
                             zero ? "" : " with parms", null ? " -> null" : ""));
        return null ? nullptr : &host.pool;
    };
    LoadExtension = [](vx::Host* self, const char32_t* name, uint64_t length, void* context) {
        return load(*static_cast<FakeHost*>(self), "host", {name, length}, context);
    };
    kernel.host = this;
    kernel.LoadExtension = [](vx::Kernel* self, const char32_t* name, uint64_t length,
                              void* context) {
        return load(*Fake<vx::Kernel>::of(self).host, "kernel", {name, length}, context);
    };
    kernel.loggerFactory = &loggerFactory;

    vxextent(&kernel);
    if (!started) return;
    extension = quillon(this, nullptr);
    if (!extension) throw std::runtime_error{"the extension does not start: " + transcript()};
    extension->journalEnabled = 1;
    lines.clear();
}

FakeHost::~FakeHost() {
    if (extension) {
        EXPECT_EQ(pool.live.size(), 1u) << "blocks are left besides the extension handle";
        extension->Destroy(extension);
        extension = nullptr;
    }
    EXPECT_EQ(left(), "");
    EXPECT_EQ(script.unused(), "");
}

std::string FakeHost::transcript() {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    lines.clear();
    return text;
}

std::string FakeHost::take(const std::string& kind) {
    const std::string name = number(kind);
    out.insert(name);
    return name;
}

void FakeHost::giveBack(const std::string& name) {
    if (out.erase(name) == 0) ADD_FAILURE() << name << " is given back but is not out";
}

std::string FakeHost::left() const {
    std::string names;
    for (const std::string& name : out) names += name + " ";
    const size_t handle = extension && !pool.live.empty() ? 1 : 0;
    if (pool.live.size() > handle) names += fmt::format("{} blocks ", pool.live.size() - handle);
    return names;
}

bool FakeHost::gaveBack(std::string_view text) const {
    const std::u32string wideText = wide(text);
    return std::any_of(pool.givenBack.begin(), pool.givenBack.end(), [&](const auto& block) {
        return contains(block, text) || contains(block, std::u32string_view{wideText});
    });
}

void FakeHost::quitFailing() {
    failed = pool.failAt != 0 && pool.asked >= pool.failAt;
    pool.failAt = 0;
}

std::string lines(std::string_view literal) {
    std::string text;
    while (!literal.empty()) {
        const size_t end = std::min(literal.find('\n'), literal.size());
        std::string_view line = literal.substr(0, end);
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        if (!line.empty()) text.append(line) += '\n';
        literal.remove_prefix(std::min(end + 1, literal.size()));
    }
    return text;
}

void everyAllocationFails(const std::function<vx::Status(FakeHost&)>& run,
                          std::string_view script) {
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE(fmt::format("allocation {} fails", nth));
        FakeHost host{script};
        host.failNth = nth;
        const vx::Status status = run(host);
        EXPECT_EQ(status, host.failed ? vx::VX_NO_MEMORY : vx::VX_SUCCESS);
        if (!host.failed) return;
    }
}

}  // namespace test
