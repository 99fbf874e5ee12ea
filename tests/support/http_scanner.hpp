// Finds messages in the bytes of a connection, and keeps the bytes as they came.
#pragma once

#include <strings.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace support {

// HTTP compares field names without regard to case.
struct CaseLess {
    bool operator()(const std::string& left, const std::string& right) const {
        return strcasecmp(left.c_str(), right.c_str()) < 0;
    }
};
using Fields = std::map<std::string, std::string, CaseLess>;

struct MessageHead {
    std::string method, target;  // of a request
    int status = 0;              // of an answer
    Fields fields;
    std::string raw;      // as it came, with the empty line
    uint64_t length = 0;  // of the body, when the header tells

    std::string_view field(const std::string& name) const {  // "" when it is not there
        auto found = fields.find(name);
        return found == fields.end() ? std::string_view() : found->second;
    }
};

// Takes requests (or answers) from a stream. Use: add() bytes; takeHead() until it gives a head;
// then takeBody() until done(). All of a message is taken before the next head is.
template <bool isRequest>
class HttpScanner {
public:
    void add(std::string_view bytes) { pending_ += bytes; }
    bool pending() const { return !pending_.empty(); }

    // Nothing: more bytes are needed. Throws boost::system::system_error on what is not HTTP.
    // noBody: an answer to HEAD, whose length tells of a body that does not follow.
    std::optional<MessageHead> takeHead(bool noBody = false);

    // The bytes of the body that are there, framing included; their content is added to `content`.
    std::string takeBody(std::string& content);

    bool done() const;

private:
    class Parser;
    std::string parse();  // the bytes of pending_ that could be used

    std::string pending_;
    std::shared_ptr<Parser> parser_;
};

extern template class HttpScanner<true>;
extern template class HttpScanner<false>;

}  // namespace support
