#include "cli/terminal/json.hpp"

#include <nlohmann/json.hpp>

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {

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

void JsonObject::addNumber(const std::string& key, uint64_t value) {
    members_->json[key] = value;
}

void JsonObject::addFlag(const std::string& key, bool value) {
    members_->json[key] = value;
}

std::string JsonObject::text() const {
    return jsonForOutput(
        members_->json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

}  // namespace quillon::cli
