// Two people and somebody on the server itself, who edit, rename, remove and restore at random:
// no run loses a content that was anywhere before it, and clean runs make all the same.
#include <cstdlib>
#include <random>

#include "tests/cli/faulty_proxy.hpp"
#include "tests/sync/pair_test.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

class Machine : public PairTest {
protected:
    using PairTest::PairTest;

    size_t pick(size_t count) {
        return std::uniform_int_distribution<size_t>(0, count - 1)(random);
    }
    template <class Items>
    auto pickFrom(const Items& items) {
        return *std::next(items.begin(), static_cast<std::ptrdiff_t>(pick(items.size())));
    }
    // Few, so that people meet.
    std::string anyPath() {
        const std::string names[] = {"a.txt", "b", "d", "e f", "%20", "\xC3\xA4"};
        std::string path = names[pick(6)];
        for (size_t depth = pick(3); depth > 0; --depth) path += "/" + names[pick(6)];
        return path;
    }
    std::string newContent() {
        std::string text = fmt::format("{} {}", seed, ++contents);
        if (pick(4) == 0 && !earlier.empty()) text = pickFrom(earlier);
        if (pick(8) == 0) text.resize(20, '.');  // often as big as others
        earlier.insert(text);
        return text;
    }
    static std::string encoded(const std::string& path) {
        std::string text;
        for (const char c : path)
            text += std::isalnum(static_cast<unsigned char>(c)) || c == '/' || c == '.'
                        ? std::string(1, c)
                        : fmt::format("%{:02X}", static_cast<unsigned char>(c));
        return text;
    }

    void actHere(const std::string& person) {
        const fs::path root = folder(person), path = root / anyPath(), other = root / anyPath();
        std::error_code none;
        switch (pick(6)) {
            case 0:
                fs::remove_all(path, none);
                break;
            case 1:
                fs::create_directories(other.parent_path(), none);
                if (!fs::exists(other)) fs::rename(path, other, none);
                break;
            case 2:
                fs::create_directories(path, none);
                break;
            default:
                fs::create_directories(path.parent_path(), none);
                if (fs::is_directory(path) && pick(3) == 0) fs::remove_all(path, none);
                if (!none && !fs::is_directory(path)) write(path, newContent());
        }
    }
    const char* slashBehind(const std::string& path) const {
        return fs::is_directory(there() / path) ? "/" : "";
    }
    void actThere() {
        const std::string plain = anyPath(), path = encoded(plain), other = encoded(anyPath());
        const char* slash = slashBehind(plain);
        switch (pick(5)) {
            case 0:
                ask("DELETE", path + slash);
                break;
            case 1:
                ask("MOVE", path + slash,
                    fmt::format("Host: 127.0.0.1:{}\r\nDestination: {}{}{}\r\nOverwrite: F\r\n",
                                server.port(), server.url("t/"), other, slash));
                break;
            case 2:
                ask("MKCOL", path + "/");
                break;
            default:
                if (ask("PUT", path, {}, newContent()) < 300 && pick(16) != 0) makeOldThere(plain);
        }
    }

    // Somebody acts right before the nth request of a run.
    void disturb(size_t nth) {
        const auto left = countdown(nth);
        proxy.on("*", "*", [this, left](const support::Request&) {
            if (left->fetch_sub(1) == 1) actInGap();
            support::Answer answer;
            answer.madeBy([this](const support::Request& request) {
                return handOn(server.port(), request, Fault::none);
            });
            return answer;
        });
    }
    // A content that the run has seen may go by that person's own act.
    void actInGap() {
        const auto before = contentsAnywhere();
        actThere();
        const auto after = contentsAnywhere();
        for (const std::string& each : before)
            if (!after.contains(each)) goneByPeople.insert(each);
        madeInGap.insert(after.begin(), after.end());
        madeInGap.erase("");  // as a lock makes a member
    }

    void runOf(const std::string& person) {
        auto before = contentsAnywhere();
        const size_t nth = pick(3) == 0 ? 1 + pick(30) : 0;
        disturb(tagsProve ? nth : 0);
        const auto outcome = sync(person, pick(2) == 0 ? Arguments{"--delete-many"} : Arguments{});
        server.waitUntilIdle();
        before.insert(madeInGap.begin(), madeInGap.end());
        for (const std::string& each : goneByPeople) before.erase(each);
        madeInGap.clear();
        goneByPeople.clear();
        SCOPED_TRACE(fmt::format("{}: {} {}\n{}", person, outcome.exitCode, outcome.errors,
                                 proxy.transcript()));
        nothingIsLost(before);
        nothingIsLeft(person);
        EXPECT_TRUE(outcome.exitCode == exitDone || outcome.exitCode == exitChanged ||
                    outcome.exitCode == exitNetwork);
        proxy.clearRequests();
    }
    // Whether nothing was left to be done.
    bool settle(const std::string& person) {
        const auto outcome = sync(person, {"--delete-many"});
        if (outcome.exitCode == exitDone) return true;
        if (outcome.exitCode != exitChanged) return false;
        const Arguments ways{"--mine", "--theirs", "--both"};
        static const std::regex conflict("in conflict +(.*?)/? \\((.*)\\)");
        std::istringstream lines(run(person, {"status", folder(person)}).output);
        std::smatch parts;
        for (std::string line; std::getline(lines, line);) {
            if (!std::regex_match(line, parts, conflict)) continue;
            const fs::path file = folder(person) / parts[1].str();
            if (parts[2].str().starts_with("a folder")) {
                fs::rename(file, file.string() + fmt::format(".{}", ++contents));
            } else {
                run(person, {"resolve", pickFrom(ways), file});
            }
        }
        return false;
    }

    void live() {
        disturb(0);
        for (const std::string person : {"ann", "ben"}) pair(person, proxy.url("t/"));
        for (int day = 0; day < 6 && !HasFailure(); ++day) {
            for (size_t i = pick(6); i > 0; --i) actHere("ann");
            for (size_t i = pick(6); i > 0; --i) actHere("ben");
            for (size_t i = pick(4); i > 0; --i) actThere();
            runOf(pick(2) == 0 ? "ann" : "ben");
        }
        disturb(0);
        int clean = 0;
        for (int i = 0; i < 30 && clean < 4; ++i)
            clean = settle(i % 2 == 0 ? "ann" : "ben") ? clean + 1 : 0;
        if (clean < 4) {
            for (const char* person : {"ann", "ben"})
                ADD_FAILURE() << run(person, {"status", folder(person)}).output
                              << sync(person).errors;
        }
        EXPECT_EQ(filesIn(folder("ann")), filesIn(there()));
        EXPECT_EQ(filesIn(folder("ben")), filesIn(there()));
    }

    // Else what is stored in the middle of a run, within a second and with as many bytes as what
    // the run saw, cannot be told from that.
    bool tagsProve = true;
    support::ScriptedServer proxy;
    std::mt19937 random;
    unsigned seed = 0;
    int contents = 0;
    std::set<std::string> earlier, madeInGap, goneByPeople;
};

// How many take turns with the histories of one server.
struct Share {
    const char* server;
    int first, step;
};

class Histories : public Machine, public testing::WithParamInterface<Share> {
protected:
    Histories() : Machine(start(GetParam().server)) {
        const std::string name = GetParam().server;
        tagsProve = name == "apache" || name == "lighttpd";
    }
    void SetUp() override {
        if (server.port() == 0) GTEST_SKIP() << GetParam().server << " is not installed";
    }
};

// A soak says how many.
TEST_P(Histories, loseNothing) {
    const char* told = std::getenv("QUILLON_SYNC_HISTORIES");
    const int count = told != nullptr ? std::atoi(told) : 20;
    for (int i = GetParam().first; i < count && !HasFailure(); i += GetParam().step) {
        seed = static_cast<unsigned>(i);
        SCOPED_TRACE(fmt::format("history {}", i));
        random.seed(seed);
        contents = 0;
        earlier.clear();
        madeInGap.clear();
        goneByPeople.clear();
        live();
        if (HasFailure()) break;
        for (const auto& each : fs::directory_iterator(there())) {
            const std::string name = each.path().filename();
            ask("DELETE", encoded(name) + slashBehind(name));
        }
        for (const char* person : {"ann", "ben"}) {
            fs::remove_all(folder(person));
            fs::remove_all(home / person / "quillon/sync");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, Histories,
                         testing::Values(Share{"apache", 0, 4}, Share{"apache", 1, 4},
                                         Share{"apache", 2, 4}, Share{"apache", 3, 4},
                                         Share{"lighttpd", 0, 10}, Share{"nginx", 0, 10},
                                         Share{"rclone", 0, 10}),
                         [](const auto& share) {
                             return fmt::format("{}{}", share.param.server, share.param.first);
                         });

}  // namespace
}  // namespace quillon::cli
