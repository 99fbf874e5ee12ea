#include "tests/extension/sweep.hpp"

#include <fstream>

namespace test {
namespace {

using Answers = std::vector<std::string>;

const Answers ofRequests = {
    "199", "202", "207", "299", "300", "401", "403",         "404",
    "405", "409", "412", "423", "500", "507", "rc=80000010", "rc=80000010 201"};

// What a call may answer out of the ordinary.
Answers answersTo(const std::string& call) {
    static const std::map<std::string, Answers> special = {
        {"PROPFIND", {"null", "404 null"}},
        {"LOCK", {"null", "199 lock", "300 lock", "423 lock"}},
        {"PUT", {"pulls=0", "pulls=1", "again", "rc=80000010 pulls=0"}},
        {"CreateClient2", {"null", "null ever"}},
        {"fsboxOpen", {"null", "rc=80000010"}},
        {"Exists", {"present", "rc=80000010"}},
        {"text", {"small", "nothing", "more", "rc=80000010"}},
        {"path", {"small", "small ever", "nothing", "more", "rc=80000010"}},
        {"DecodeText", {"rc=80000010", "rc=80000010 leaving"}},
        {"EncodeText", {"rc=80000010", "rc=80000010 leaving"}},
    };
    static const std::set<std::string> makers = {"CreateHttpContext", "CreateDocument", "GetLogger",
                                                 "CreatePool",        "weblnk",         "fsbox",
                                                 "toolbox",           "markup"};
    const bool isRequest = std::ranges::all_of(call, [](char c) { return std::isupper(c); });
    Answers answers = isRequest ? ofRequests : Answers{};
    if (call == "OPTIONS")
        for (int bit = 0; bit < 32; ++bit)
            answers.push_back(fmt::format("allow={:#x}", ~(1u << bit)));
    if (special.contains(call))
        std::ranges::copy(special.at(call), std::back_inserter(answers));
    else if (!isRequest)
        answers.push_back(makers.contains(call) ? "null" : "rc=80000010");
    return answers;
}

// The lines in which a run differs, or none when that is the disturbed call's alone. The HTTP
// status, if it was given one, appears as "N".
std::string difference(const Run& usual, const Run& odd, const std::string& status) {
    auto [from, odds] = std::ranges::mismatch(usual.lines, odd.lines);
    auto end = odd.lines.end();
    for (auto last = usual.lines.end(); last != from && end != odds && last[-1] == end[-1]; --last)
        --end;
    if (usual.lines.size() == odd.lines.size() && end - odds <= 1) {
        if (odds == end || odds->starts_with(from->substr(0, from->find(" ->")))) return "";
    }
    std::string text = odds == end ? "    less\n" : "";
    for (; odds != end; ++odds) text += "    " + *odds + "\n";
    return status.empty() ? text
                          : std::regex_replace(text, std::regex("\\b" + status + "\\b"), "N");
}

class Sweep {
public:
    explicit Sweep(const Runner& run) : run_(run) {}

    std::string once(const std::string& script) const {
        std::string text = fmt::format("\n[{}]\n", script);
        for (const std::string& line : run_(script, {.sayPool = true}).lines) text += line + "\n";
        return text;
    }
    std::string over(const std::string& script) {
        std::string text = once(script);
        usual_ = run_(script, {});
        for (size_t call = usual_.firstCall; call < usual_.calls.size(); ++call)
            text += overAnswers(script, call);
        for (int nth = usual_.firstAllocation + 1; nth <= usual_.allocations; ++nth) {
            SCOPED_TRACE(fmt::format("allocation {} fails", nth));
            const std::string lines = difference(usual_, run_(script, {.allocation = nth}), "");
            if (!lines.empty()) text += "  memory:\n" + lines;
        }
        return text;
    }

private:
    std::string overAnswers(const std::string& script, size_t call) {
        const std::string& name = usual_.calls[call];
        std::vector<std::pair<std::string, std::string>> found;  // lines, answers
        for (const std::string& answer : answersTo(name)) {
            SCOPED_TRACE(name + " " + answer);
            const Answer odd{answer};
            const Run run = run_(script, {call, odd});
            const std::string status = odd.http ? std::to_string(*odd.http) : "";
            const std::string lines = difference(usual_, run, status);
            if (lines.empty()) continue;
            const auto same =
                std::ranges::find(found, lines, [](auto& each) { return each.first; });
            if (same == found.end())
                found.emplace_back(lines, answer);
            else
                same->second += ", " + answer;
        }
        std::string text;
        for (const auto& [lines, answers] : found)
            text += fmt::format("  {} {}:\n{}", name, answers, lines);
        return text;
    }

    const Runner& run_;
    Run usual_;
};

}  // namespace

void compareTranscripts(const std::string& name, const Scripts& swept, const Scripts& once,
                        const Runner& run) {
    std::string text;
    for (const std::string& script : swept) {
        SCOPED_TRACE(script);
        text += Sweep{run}.over(script);
    }
    for (const std::string& script : once) {
        SCOPED_TRACE(script);
        text += Sweep{run}.once(script);
    }
    const std::string path = fmt::format("{}/tests/data/extension/{}.txt", SOURCE_DIR, name);
    if (std::getenv("QUILLON_WRITE_TRANSCRIPTS")) std::ofstream{path} << text;
    std::ifstream file{path};
    const std::string expected{std::istreambuf_iterator<char>{file}, {}};
    EXPECT_EQ(text, expected) << path;
}

}  // namespace test
