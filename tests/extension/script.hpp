// What a fake host answers out of the ordinary.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/status.h"

namespace test {

// Words of an answer: a number is an HTTP status, rc=HEX what the call returns, NAME=NUMBER a
// number of that name, "null" no result; others have their meaning at the call that looks for them.
struct Answer {
    std::optional<int32_t> http;
    vx::Status rc = vx::VX_SUCCESS;
    std::map<std::string, uint64_t> words;

    Answer() = default;
    explicit Answer(const std::string& text) {
        std::istringstream each{text};
        for (std::string word; each >> word;) take(word);
    }
    bool has(const std::string& word) const { return words.contains(word); }
    uint64_t number(const std::string& name, uint64_t usual) const {
        return has(name) ? words.at(name) : usual;
    }
    void take(const std::string& word) {
        const size_t equals = word.find('=');
        const std::string value = equals == word.npos ? "0" : word.substr(equals + 1);
        if (std::isdigit(word[0]))
            http = std::stoi(word);
        else if (word.starts_with("rc="))
            rc = static_cast<vx::Status>(std::stoul(value, nullptr, 16));
        else
            words[word.substr(0, equals)] = std::stoull(value, nullptr, 0);
    }
};

// "HEAD 404, CreateClient2 null *2, LOCK rc=81000001 500": answers by call, taken in order. A call
// without an answer of its own ("Exists -" is one that says nothing) succeeds.
class Script {
public:
    explicit Script(std::string_view text) {
        std::istringstream entries{std::string{text}};
        for (std::string entry; std::getline(entries, entry, ',');) {
            std::istringstream words{entry};
            std::string call;
            words >> call;
            Answer answer;
            int times = 1;
            for (std::string word; words >> word;)
                word[0] == '*' ? void(times = std::stoi(word.substr(1))) : answer.take(word);
            for (; times > 0; --times) answers_.emplace(call, answer);
        }
    }
    Answer next(const std::string& call) {
        const size_t number = asked.size();
        asked.push_back(call);
        const Answer answer = word(call);
        const bool again = odd.has("ever") && number > oddCall && call == asked[oddCall];
        return number == oddCall || again ? odd : answer;
    }
    Answer word(const std::string& name) {  // of the script, for what is no call
        const auto first = answers_.lower_bound(name);
        const bool waiting = first != answers_.end() && first->first == name;
        return waiting ? answers_.extract(first).mapped() : Answer{};
    }
    bool has(const std::string& call) { return answers_.erase(call) != 0; }  // then it is forgotten
    std::string unused() const {  // calls that were not made although an answer waited
        std::string calls;
        for (const auto& [call, answer] : answers_) calls += call + " ";
        return calls;
    }

    std::vector<std::string> asked;  // the calls so far
    size_t oddCall = SIZE_MAX;       // the number of the one that is answered otherwise
    Answer odd;                      // "ever": those of its kind that follow, too

private:
    std::multimap<std::string, Answer> answers_;  // in order among those of a call
};

}  // namespace test
