#include "tests/extension/open_member.hpp"

namespace test {
namespace {

std::string unquoted(std::string text) {
    std::erase(text, '"');
    return text;
}

// "client2 PUT 3 bytes -> 412" as "PUT 412".
std::string request(const std::string& line) {
    const size_t method = line.find(' ') + 1;
    const size_t arrow = line.find("-> ");
    if (arrow == line.npos) {
        const size_t under = line.find("under");
        return under == line.npos ? "" : line.substr(under);
    }
    return line.substr(method, line.find(' ', method) + 1 - method) + line.substr(arrow + 3);
}

std::string shortened(const std::string& line, const std::string& prefix) {
    if (line.starts_with(prefix)) return unquoted(line.substr(prefix.size()));
    if (line.starts_with("3 ")) return unquoted(line.substr(2));
    if (line.starts_with("client") && !line.ends_with("Destroy")) return request(line);
    if (line.starts_with("journal") || line.starts_with("lock")) return unquoted(line);
    return "";
}

}  // namespace

std::string outline(FakeHost& host, std::string_view operation) {
    const std::string prefix = "3 \"" + std::string{operation} + " ";
    std::string text;
    for (const std::string& line : host.lines)
        if (const std::string part = shortened(line, prefix); !part.empty())
            text += (text.empty() ? "" : ", ") + part;
    host.lines.clear();
    return text;
}

void expectOutcomes(std::string_view operation, const std::vector<Row>& rows,
                    const std::function<vx::Status(MemberHost&)>& run) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.script);
        MemberHost host{row.script};
        EXPECT_EQ(run(host), row.rc);
        EXPECT_EQ(outline(host, operation), row.outline);
    }
}

}  // namespace test
