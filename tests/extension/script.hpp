// What a fake host answers out of the ordinary.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/status.h"

namespace test {

// Words of an answer: a number is an HTTP status, rc=HEX what the call returns, "null" no result;
// others have their meaning at the call that looks for them.
struct Answer {
    std::optional<int32_t> http;
    vx::Status rc = vx::VX_SUCCESS;
    std::vector<std::string> words;

    bool has(std::string_view word) const {
        return std::find(words.begin(), words.end(), word) != words.end();
    }
    bool null() const { return has("null"); }
    // The number behind the prefix, as in "pulls=2".
    std::optional<uint64_t> number(std::string_view prefix) const;
};

// "HEAD 404, CreateClient2 null *2, LOCK rc=81000001 500": answers by call, taken in order. A call
// without an answer of its own ("Exists -" is one that says nothing) succeeds.
class Script {
public:
    explicit Script(std::string_view text);
    Answer next(const std::string& call);
    std::string unused() const;  // calls that were not made although an answer waited

private:
    std::map<std::string, std::deque<Answer>> answers_;
};

}  // namespace test
