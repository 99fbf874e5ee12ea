#include "cli/terminal/describe.hpp"

#include "cli/terminal/format.hpp"

namespace quillon::cli {
namespace {

JsonObject describe(const std::string& name, const std::string& url, bool isCollection,
                    uint64_t size, std::optional<Time> created, std::optional<Time> modified) {
    JsonObject object;
    object.addText("name", name);
    object.addText("url", url);
    object.addText("type", isCollection ? "collection" : "file");
    if (!isCollection) object.addNumber("size", size);
    if (created) object.addText("created", rfc3339(*created));
    if (modified) object.addText("modified", rfc3339(*modified));
    return object;
}

}  // namespace

JsonObject describe(const Entry& entry) {
    return describe(entry.name(), entry.href(), entry.isCollection(), entry.size(), entry.created(),
                    entry.modified());
}

JsonObject describe(const std::string& name, const std::string& url, const Properties& properties) {
    return describe(name, url, properties.isCollection, properties.size, properties.created,
                    properties.modified);
}

}  // namespace quillon::cli
