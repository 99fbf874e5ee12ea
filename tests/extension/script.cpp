#include "tests/extension/script.hpp"

#include <sstream>

namespace test {

std::optional<uint64_t> Answer::number(std::string_view prefix) const {
    for (const std::string& word : words)
        if (word.starts_with(prefix)) return std::stoull(word.substr(prefix.size()), nullptr, 0);
    return std::nullopt;
}

Script::Script(std::string_view text) {
    std::istringstream entries{std::string{text}};
    for (std::string entry; std::getline(entries, entry, ',');) {
        std::istringstream words{entry};
        std::string call;
        words >> call;
        Answer answer;
        int times = 1;
        for (std::string word; words >> word;) {
            if (word[0] == '*')
                times = std::stoi(word.substr(1));
            else if (word.starts_with("rc="))
                answer.rc = static_cast<vx::Status>(std::stoul(word.substr(3), nullptr, 16));
            else if (word.find_first_not_of("0123456789") == std::string::npos)
                answer.http = std::stoi(word);
            else
                answer.words.push_back(word);
        }
        for (int i = 0; i < times; ++i) answers_[call].push_back(answer);
    }
}

Answer Script::next(const std::string& call) {
    const auto waiting = answers_.find(call);
    if (waiting == answers_.end() || waiting->second.empty()) return {};
    Answer answer = waiting->second.front();
    waiting->second.pop_front();
    return answer;
}

std::string Script::unused() const {
    std::string calls;
    for (const auto& [call, answers] : answers_)
        for (size_t i = 0; i < answers.size(); ++i) calls += call + " ";
    return calls;
}

}  // namespace test
