#include "tests/extension/fake_host.hpp"

#include "vxext/src/entry.hpp"

namespace test {
namespace {

FakeHost* living = nullptr;

std::map<std::string, vx::LoadedExtension*> siblings() {
    return {{"weblnk", &living->weblnk.base},
            {"fsbox", &living->fsbox.base},
            {"toolbox", &living->toolbox.base},
            {"markup", &living->markup.base}};
}

vx::LoadedExtension* load(const char* loader, std::u32string_view wideName, void* context) {
    const std::string name = narrow(wideName);
    const std::string line = loader + name + shown(context);
    auto* loaded = living->give(name, line, siblings().at(name));
    if (loaded) living->due["Unload " + name];
    return loaded;
}

void unload(vx::LoadedExtension* loaded) {
    for (const auto& [name, sibling] : siblings())
        if (sibling == loaded) living->settle("Unload", "Unload " + name);
}

// Whether the text, narrow or wide, was in a block as the pool got it back.
bool gaveBack(const TestPool& pool, std::string_view text) {
    const std::u32string characters = wide(text);
    const std::string_view bytes{reinterpret_cast<const char*>(characters.data()),
                                 characters.size() * sizeof(char32_t)};
    return std::ranges::any_of(pool.givenBack, [=](const auto& block) {
        const std::string content(block.begin(), block.end());
        return content.find(text) != content.npos || content.find(bytes) != content.npos;
    });
}

}  // namespace

FakeHost& fake() {
    return *living;
}

FakeHost::FakeHost(std::string_view text, bool started) : vx::Host{}, script(text) {
    living = this;
    pool.told = [this](auto* call, auto bytes) {
        const bool fails = pool.asked + 1 == pool.failAt && *call == 'A';
        if (sayPool || fails) say("{} {}{}", call, bytes, fails ? " -> null" : "");
    };
    pool.DestroyPool = [](auto*) {
        fake().say("DestroyPool");
        EXPECT_LE(fake().pool.live.size(), 1u) << "not freed besides the extension handle";
        fake().pool.live.clear();
    };
    for (const auto& [name, sibling] : siblings()) sibling->Unload = unload;
    setUpMessages();
    setUpFiles();
    setUpWeblnk();
    setUpEncoding();
    CreatePool = [](auto*, auto* parms, auto* context, auto* name) -> vx::Pool* {
        EXPECT_EQ(parms->words[0] | parms->words[1] | parms->words[2], 0u);
        const std::string line = fmt::format("CreatePool {}{}", name, shown(context));
        return fake().give<vx::Pool>("CreatePool", line, &fake().pool);
    };
    LoadExtension = [](auto*, auto* name, auto length, auto* context) {
        return load("host LoadExtension ", {name, length}, context);
    };
    kernel.LoadExtension = [](auto*, auto* name, auto length, auto* context) {
        return load("kernel LoadExtension ", {name, length}, context);
    };
    vxextent(&kernel);
    if (!started) return;
    extension = quillon(this, nullptr);
    extension->journalEnabled = 1;
    start();
}

FakeHost::~FakeHost() {
    for (const std::string_view secret : {"sesame!", "sésame!", "http://p", "http://h/c/"})
        EXPECT_FALSE(gaveBack(pool, secret)) << secret;
    if (extension) extension->Destroy(extension);
    for (const auto& [call, text] : due) ADD_FAILURE() << call << " is due";
    EXPECT_TRUE(pool.live.empty());
    EXPECT_EQ(script.unused(), "");
    living = nullptr;
}

std::string FakeHost::transcript() {
    return fmt::format("{}", fmt::join(std::exchange(lines, {}), "\n"));
}

}  // namespace test
