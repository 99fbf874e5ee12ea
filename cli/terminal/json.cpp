#include "cli/terminal/json.hpp"

#include <nlohmann/json.hpp>

#include "cli/terminal/format.hpp"
#include "cli/terminal/terminal.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

void addProperties(JsonObject& object, const std::string& name, const std::string& url,
                   const auto& properties) {
    object.addText("name", name);
    object.addText("url", vxhost::alikeSpelt(url));
    object.addText("type", properties.isCollection ? "collection" : "file");
    if (!properties.isCollection) object.addNumber("size", properties.size);
    if (properties.created) object.addText("created", rfc3339(*properties.created));
    if (properties.modified) object.addText("modified", rfc3339(*properties.modified));
}

}  // namespace

struct JsonObject::Members {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
};

JsonObject::JsonObject() : members_(std::make_unique<Members>()) {}
JsonObject::JsonObject(JsonObject&&) noexcept = default;
JsonObject::~JsonObject() = default;

void JsonObject::addText(const std::string& key, const std::string& value) {
    members_->json[key] = value;
}

void JsonObject::addTexts(const std::string& key, const std::vector<std::string_view>& values) {
    members_->json[key] = values;
}

void JsonObject::addObjects(const std::string& key, const std::vector<JsonObject>& objects) {
    auto& list = members_->json[key];
    list = std::remove_reference_t<decltype(list)>::array();
    for (const JsonObject& each : objects) list.push_back(each.members_->json);
}

void JsonObject::addNumber(const std::string& key, std::optional<uint64_t> value) {
    if (value) {
        members_->json[key] = *value;
    } else {
        members_->json[key] = nullptr;
    }
}

void JsonObject::addInteger(const std::string& key, int64_t value) {
    members_->json[key] = value;
}

void JsonObject::addFlag(const std::string& key, bool value) {
    members_->json[key] = value;
}

std::string JsonObject::text() const {
    return jsonForOutput(
        members_->json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

JsonObject describe(const std::string& name, const std::string& url, const Properties& properties) {
    JsonObject object;
    addProperties(object, name, url, properties);
    return object;
}

JsonObject describe(const std::string& name, const std::string& url, const Resource& resource,
                    const std::optional<std::string>& path) {
    JsonObject object;
    if (path) object.addText("path", *path);
    addProperties(object, name, url, resource);
    return object;
}

}  // namespace quillon::cli
