#include "cli/terminal/describe.hpp"

#include "cli/terminal/format.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

Json describe(std::string name, std::string url, bool isCollection, uint64_t size,
              std::optional<Time> created, std::optional<Time> modified) {
    Json object;
    object["name"] = std::move(name);
    object["url"] = std::move(url);
    object["type"] = isCollection ? "collection" : "file";
    if (!isCollection) object["size"] = size;
    if (created) object["created"] = rfc3339(*created);
    if (modified) object["modified"] = rfc3339(*modified);
    return object;
}

}  // namespace

Json describe(const Entry& entry) {
    return describe(entry.name(), entry.href(), entry.isCollection(), entry.size(), entry.created(),
                    entry.modified());
}

Json describe(const std::string& name, const std::string& url, const Properties& properties) {
    return describe(name, url, properties.isCollection, properties.size, properties.created,
                    properties.modified);
}

std::string jsonText(const Json& value) {
    return jsonForOutput(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace quillon::cli
