#include "tests/extension/fake_host.hpp"

#include <utf8cpp/utf8.h>

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

FakeHost* living = nullptr;

void watch(TestPool& pool) {
    static const auto alloc = pool.Alloc;
    static const auto free = pool.Free;
    pool.Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) {
        if (living->sayPool)
            living->say(
                fmt::format("Alloc {}{}", bytes, flags == vx::POOL_ZEROED ? " zeroed" : ""));
        return alloc(self, bytes, flags);
    };
    pool.Free = [](vx::Pool* self, void* block) {
        const auto& live = static_cast<TestPool*>(self)->live;
        if (living->sayPool && live.contains(block))
            living->say(fmt::format("Free {}", live.at(block).bytes().size()));
        free(self, block);
    };
    pool.DestroyPool = [](vx::Pool* self) {
        living->say("DestroyPool");
        auto& live = static_cast<TestPool*>(self)->live;
        EXPECT_LE(live.size(), 1u) << "blocks are left besides the extension handle";
        live.clear();
    };
}

using Siblings = std::map<std::string, vx::LoadedExtension*>;

Siblings siblings(FakeHost& host) {
    return {{"weblnk", &host.weblnk.base},
            {"fsbox", &host.fsbox.base},
            {"toolbox", &host.toolbox.base},
            {"markup", &host.markup.base}};
}

vx::LoadedExtension* load(const char* loader, std::u32string_view wideName, void* context) {
    const std::string name = narrow(wideName);
    const bool null = living->script.next(name).null();
    living->say(fmt::format("{} LoadExtension {}{}", loader, name, context ? " context" : ""),
                null ? "null" : "");
    if (null) return nullptr;
    living->out.insert(name);
    return siblings(*living).at(name);
}

void unload(vx::LoadedExtension* loaded) {
    for (const auto& [name, sibling] : siblings(*living))
        if (sibling == loaded) {
            living->say("Unload " + name);
            living->giveBack(name);
        }
}

template <class Unit>
bool contains(const std::vector<uint8_t>& block, std::basic_string_view<Unit> text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    return std::search(block.begin(), block.end(), bytes, bytes + text.size() * sizeof(Unit)) !=
           block.end();
}

}  // namespace

FakeHost& fake() {
    return *living;
}

FakeHost::FakeHost(std::string_view text, bool started) : vx::Host{}, script(text) {
    living = this;
    watch(pool);
    for (const auto& [name, sibling] : siblings(*this)) sibling->Unload = unload;
    setUpMessages();
    setUpFiles();
    setUpWeblnk();
    setUpMarkup();
    setUpEncoding();
    CreatePool = [](vx::Host*, const vx::PoolParms* parms, void* context,
                    const char* name) -> vx::Pool* {
        EXPECT_EQ(parms->words[0] | parms->words[1] | parms->words[2], 0u);
        const bool null = fake().script.next("CreatePool").null();
        fake().say(fmt::format("CreatePool {}{}", name, context ? " context" : ""),
                   null ? "null" : "");
        return null ? nullptr : &fake().pool;
    };
    LoadExtension = [](vx::Host*, const char32_t* name, uint64_t length, void* context) {
        return load("host", {name, length}, context);
    };
    kernel.LoadExtension = [](vx::Kernel*, const char32_t* name, uint64_t length, void* context) {
        return load("kernel", {name, length}, context);
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
    EXPECT_EQ(script.unused(), "");
    living = nullptr;
}

std::string FakeHost::transcript() {
    const std::string text = fmt::format("{}\n", fmt::join(std::exchange(lines, {}), "\n"));
    return text == "\n" ? "" : text;
}

std::string FakeHost::take(const std::string& kind) {
    return *out.insert(kind + std::to_string(++counts[kind])).first;
}

void FakeHost::giveBack(const std::string& name) {
    EXPECT_EQ(out.erase(name), 1u) << name << " is given back but is not out";
}

bool FakeHost::gaveBack(std::string_view text) const {
    const std::u32string wideText = wide(text);
    return std::any_of(pool.givenBack.begin(), pool.givenBack.end(), [&](const auto& block) {
        return contains(block, text) || contains(block, std::u32string_view{wideText});
    });
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

}  // namespace test
