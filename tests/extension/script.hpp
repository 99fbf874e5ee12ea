// What a fake host answers out of the ordinary.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "host/status.h"

namespace test {

// Words of an answer: a number is an HTTP status, rc=HEX what the call returns, NAME=NUMBER a
// number of that name, "null" no result; others have their meaning at the call that looks for them.
struct Answer {
    std::optional<int32_t> http;
    vx::Status rc = vx::VX_SUCCESS;
    std::map<std::string, uint64_t> numbers;
    std::set<std::string> words;

    bool has(const std::string& word) const { return words.contains(word); }
    bool null() const { return has("null"); }
    uint64_t number(const std::string& name, uint64_t usual) const {
        const auto number = numbers.find(name);
        return number == numbers.end() ? usual : number->second;
    }
};

// "HEAD 404, CreateClient2 null *2, LOCK rc=81000001 500": answers by call, taken in order. A call
// without an answer of its own ("Exists -" is one that says nothing) succeeds.
class Script {
public:
    explicit Script(std::string_view text);
    Answer next(const std::string& call);
    bool has(const std::string& call) { return answers_.erase(call) != 0; }  // then it is forgotten
    std::string unused() const;  // calls that were not made although an answer waited

private:
    std::map<std::string, std::deque<Answer>> answers_;
};

}  // namespace test
