// A tree of everything, from pieces of XML as they arrive.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/markup/document.hpp"
#include "platform/markup/xml_reader.hpp"

namespace vxhost {

// An element's name as nodes carry it: in "DAV:" the local name, elsewhere "{uri}name", without a
// namespace "{}name".
std::string nodeName(std::string_view expatName);

// Attributes, comments and instructions leave no trace; CDATA sections are text. Text is one node
// between two tags. White space between elements is dropped, white space that is all an element
// holds is kept: it may be a value.
class TreeBuilder final : private XmlHandler {
public:
    explicit TreeBuilder(const char* encoding = nullptr);  // as in XmlReader

    // Throw as XmlReader does; then there is no document.
    void feed(std::string_view bytes) { reader_.feed(bytes); }
    DocumentPtr finish();

private:
    struct Open {
        vx::Node* element;
        vx::Node* lastChild;
    };
    void startElement(std::string_view name) override;
    void endElement() override;
    void characters(std::string_view text) override { text_ += text; }
    void append(vx::Node* node);
    void appendText();
    std::u32string_view keepName(std::string_view expatName);

    DocumentPtr document_ = std::make_unique<TreeDocument>();
    std::vector<Open> open_;  // from the root inwards
    std::string text_;        // since the last tag
    std::unordered_map<std::string, std::u32string_view> names_;
    XmlReader reader_;
};

}  // namespace vxhost
