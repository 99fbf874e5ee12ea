#include "cli/terminal/events.hpp"

#include <fmt/format.h>

#include <cstdio>

#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

std::string jsonLine(const Event& event) {
    JsonObject object;
    object.addText("event", std::string(event.what));
    object.addText("path", event.path);
    if (!event.url.empty()) object.addText("url", event.url);
    if (event.size) object.addNumber("size", event.size);
    if (!event.why.empty()) object.addText("why", event.why);
    return object.text();
}

}  // namespace

void Events::tell(const Event& event) {
    count(event.what);
    bytes_ += event.size.value_or(0);
    if (manner_ == Manner::quiet || manner_ == Manner::summary) return;
    if (manner_ == Manner::confirmed && event.what == "failed") return;  // which is reported
    progress_.hide();
    const std::string line = manner_ == Manner::json
                                 ? jsonLine(event)
                                 : fmt::format("{} {}", event.what, forOutput(event.path));
    printOut("{}\n", line);
}

void Events::sumUp() {
    const bool isWanted = manner_ == Manner::summary || manner_ == Manner::lines;
    if (!isWanted || counts_.empty()) return;
    std::string line;
    for (const auto& [what, count] : counts_) {
        line += fmt::format("{}{} {}", line.empty() ? "" : ", ", count, what);
    }
    if (bytes_ > 0) line += fmt::format(" ({})", shortSize(bytes_));
    progress_.hide();
    printErrors("quillon: {}\n", line);
}

}  // namespace quillon::cli
