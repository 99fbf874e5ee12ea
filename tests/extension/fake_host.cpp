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
    const std::string line = loader + name + (context ? " context" : "");
    auto* loaded = living->give(name, line, siblings().at(name));
    if (loaded) living->out.insert(name);
    return loaded;
}

void unload(vx::LoadedExtension* loaded) {
    for (const auto& [name, sibling] : siblings()) {
        if (sibling != loaded) continue;
        living->say("Unload " + name);
        living->giveBack(name);
    }
}

}  // namespace

FakeHost& fake() {
    return *living;
}

FakeHost::FakeHost(std::string_view text, bool started) : vx::Host{}, script(text) {
    living = this;
    pool.told = [this](auto* call, auto bytes) {
        if (sayPool) say("{} {}", call, bytes);
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
        const std::string line = fmt::format("CreatePool {}{}", name, context ? " context" : "");
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
    lines.clear();
}

FakeHost::~FakeHost() {
    EXPECT_FALSE(gaveBack(passwordText));
    if (extension) extension->Destroy(extension);
    EXPECT_EQ(out, std::set<std::string>{}) << "not given back";
    EXPECT_TRUE(pool.live.empty());
    for (const char* line : lineTexts) EXPECT_EQ(std::to_string(std::atoi(line)), line);
    EXPECT_EQ(script.unused(), "");
    living = nullptr;
}

std::string FakeHost::transcript() {
    std::string text;
    for (const std::string& line : std::exchange(lines, {})) text += line + '\n';
    return text;
}

std::string FakeHost::take(const std::string& kind) {
    return *out.insert(kind + std::to_string(++counts[kind])).first;
}

void FakeHost::giveBack(const std::string& name) {
    EXPECT_EQ(out.erase(name), 1u) << name << " is given back but is not out";
}

bool FakeHost::gaveBack(std::string_view text) const {
    const std::u32string wideText = wide(text);
    const std::string_view wideBytes{reinterpret_cast<const char*>(wideText.data()),
                                     wideText.size() * sizeof(char32_t)};
    return std::any_of(pool.givenBack.begin(), pool.givenBack.end(), [&](const auto& block) {
        const std::string_view bytes{reinterpret_cast<const char*>(block.data()), block.size()};
        return bytes.find(text) != bytes.npos || bytes.find(wideBytes) != bytes.npos;
    });
}

std::string lines(std::string_view literal) {
    std::istringstream all{std::string{literal}};
    std::string text;
    for (std::string line; std::getline(all >> std::ws, line);) text += line + '\n';
    return text;
}

}  // namespace test
