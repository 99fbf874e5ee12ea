#include "tests/extension/operation.hpp"

namespace test {
namespace {

// What an outline has of a line; may be nothing.
std::string shortened(std::string line, const std::string& operation) {
    std::erase(line, '"');
    if (line.starts_with("3 " + operation + " ")) return line.substr(operation.size() + 3);
    if (line.starts_with("3 ")) return line.substr(2);
    if (line.starts_with("2 ") || line.starts_with("file")) return "";
    if (line.starts_with("journal") || line.starts_with("lock")) return line;
    if (const size_t under = line.find("under"); under != line.npos) return line.substr(under);
    const size_t arrow = line.find("-> ");
    if (arrow == line.npos) return "";
    const std::string result = line.substr(arrow + 3);
    if (!std::isdigit(result[0]) && result != "null") return "";  // what was made
    const size_t call = line.starts_with("client") ? line.find(' ') + 1 : 0;
    return line.substr(call, line.find(' ', call) + 1 - call) + result;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& literal) {
    std::vector<std::pair<std::string, std::string>> rows, names;
    std::istringstream all{literal};
    for (std::string line; std::getline(all >> std::ws, line);) {
        for (const auto& [name, text] : names)
            for (size_t at; (at = line.find(name)) != line.npos;)
                line.replace(at, name.size(), text);
        const size_t arrow = line.find("=> "), equals = line.find(" = ");
        if (arrow != line.npos)
            rows.emplace_back(line.substr(0, arrow), line.substr(arrow + 3));
        else
            names.emplace_back(fmt::format("{{{}}}", line.substr(0, equals)),
                               line.substr(equals + 3));
    }
    return rows;
}

std::string outcome(FakeHost& host, const std::string& operation, vx::Status status) {
    const std::string returning = "\"" + operation + " returning rc=";
    const auto lines = std::exchange(host.lines, {});
    std::string text = hex(status) + ':', separator = " ";
    for (const std::string& line : lines) {
        if (line.find(returning) == 2) {
            EXPECT_EQ(lines.front(), fmt::format("2 \"{} called\"", operation));
            EXPECT_EQ(line.substr(2 + returning.size(), 8), hex(status));
        }
        const std::string part = shortened(line, operation);
        if (!part.empty()) text += std::exchange(separator, ", ") + part;
    }
    return text;
}

}  // namespace test
