// JSON for other programs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/member.hpp"
#include "client/remote/resource.hpp"

namespace quillon::cli {

// An object whose keys stay in the order in which they are added. Only its source includes the
// library, since each file that does takes seven seconds to compile.
class JsonObject {
public:
    JsonObject();
    JsonObject(JsonObject&&) noexcept;
    ~JsonObject();

    void addText(const std::string& key, const std::string& value);
    void addTexts(const std::string& key, const std::vector<std::string_view>& values);
    void addObjects(const std::string& key, const std::vector<JsonObject>& objects);
    void addNumber(const std::string& key, std::optional<uint64_t> value);  // or null
    void addInteger(const std::string& key, int64_t value);
    void addFlag(const std::string& key, bool value);

    // One line; bytes that are no UTF-8 appear as U+FFFD, and on a terminal what could steer it as
    // an escape.
    std::string text() const;

private:
    struct Members;
    std::unique_ptr<Members> members_;
};

// A member's properties: "name", "url", "type", "size" (of files), "created" and "modified"
// (RFC 3339, where known). path: comes before them as "path".
JsonObject describe(const std::string& name, const std::string& url, const Properties& properties);
JsonObject describe(const std::string& name, const std::string& url, const Resource& resource,
                    const std::optional<std::string>& path = {});

}  // namespace quillon::cli
