#include "platform/markup/serialize.hpp"

#include "platform/base/transcoder.hpp"
#include "platform/markup/walk.hpp"

namespace vxhost {
namespace {

// Bound to the prefix "xml" and to no other (Namespaces in XML 1.0, 3).
constexpr std::string_view XML_NAMESPACE = "http://www.w3.org/XML/1998/namespace";

struct Tag {
    std::string name;
    std::string attributes;
};

// A name that says its namespace carries it along; one that does not is DAV's.
Tag tagOf(const vx::Node& element, bool isRoot) {
    const auto name = toUtf8(textOf(element));
    const std::string dav = isRoot ? " xmlns:D=\"DAV:\"" : "";
    const size_t brace = name.starts_with('{') ? name.rfind('}') : name.npos;
    if (brace == name.npos) return {"D:" + name, dav};
    const auto uri = std::string_view(name).substr(1, brace - 1);
    if (uri == XML_NAMESPACE) return {"xml:" + name.substr(brace + 1), dav};
    return {name.substr(brace + 1), dav + " xmlns=\"" + escapeXml(uri) + "\""};
}

void append(std::string& xml, const vx::Node& node, bool isRoot) {
    if (nodeType(&node) != vx::NODE_ELEMENT) {
        xml += escapeXml(toUtf8(textOf(node)));
        return;
    }
    const auto [name, attributes] = tagOf(node, isRoot);
    xml.append("<").append(name).append(attributes);
    if (!nodeFirstChild(&node)) {
        xml += "/>";
        return;
    }
    xml += '>';
    for (auto* child = nodeFirstChild(&node); child; child = nodeNextSibling(child)) {
        append(xml, *child, false);
    }
    xml.append("</").append(name).append(">");
}

}  // namespace

std::string escapeXml(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\r':
                escaped += "&#13;";
                break;  // a reader would make a line feed of it
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string serialize(const vx::Document& document) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    if (document.firstChild) append(xml, *document.firstChild, true);
    return xml;
}

}  // namespace vxhost
