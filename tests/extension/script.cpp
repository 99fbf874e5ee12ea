#include "tests/extension/script.hpp"

#include <sstream>

namespace test {

Script::Script(std::string_view text) {
    std::istringstream entries{std::string{text}};
    for (std::string entry; std::getline(entries, entry, ',');) {
        std::istringstream words{entry};
        std::string call;
        words >> call;
        Answer answer;
        int times = 1;
        for (std::string word; words >> word;) {
            const size_t equals = word.find('=');
            if (word[0] == '*')
                times = std::stoi(word.substr(1));
            else if (word.starts_with("rc="))
                answer.rc = static_cast<vx::Status>(std::stoul(word.substr(3), nullptr, 16));
            else if (equals != word.npos)
                answer.numbers[word.substr(0, equals)] =
                    std::stoull(word.substr(equals + 1), nullptr, 0);
            else if (word.find_first_not_of("0123456789") == word.npos)
                answer.http = std::stoi(word);
            else
                answer.words.insert(word);
        }
        answers_[call].insert(answers_[call].end(), size_t(times), answer);
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
