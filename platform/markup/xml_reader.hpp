// XML from expat with what a WebDAV body may not do refused: document types (so no entity but the
// five of XML is ever declared, and nothing outside is fetched; no WebDAV body needs one, RFC 4918,
// 20.6), deep nesting, endless markup and endless bodies.
#pragma once

#include <expat.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string_view>

namespace vxhost {

struct XmlLimits {
    uint64_t bytes;             // of the whole body
    unsigned depth = 64;        // of nested elements
    uint64_t markup = 1 << 20;  // bytes of one tag, comment or instruction
};

// What the reader tells, in well-formed UTF-8. An element's name is "uri\nlocal" or, in no
// namespace, "local". The text of one element may come in any number of pieces. Handlers may throw.
class XmlHandler {
public:
    virtual void startElement(std::string_view name) = 0;
    // Of the element that was told last; its name is as an element's.
    virtual void attribute(std::string_view /*name*/, std::string_view /*value*/) {}
    virtual void endElement() = 0;
    virtual void characters(std::string_view text) = 0;

protected:
    ~XmlHandler() = default;
};

// The element's name in "DAV:", empty when it is in another namespace or in none.
inline std::string_view davName(std::string_view name) {
    constexpr std::string_view prefix = "DAV:\n";
    return name.starts_with(prefix) ? name.substr(prefix.size()) : std::string_view();
}

class XmlReader {
public:
    // encoding: what the bytes are in, whatever they declare; null: what they declare.
    XmlReader(XmlHandler& handler, const XmlLimits& limits, const char* encoding = nullptr);
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    // Both throw a Failure (WEBLNK_BAD_ANSWER) that says in which line what is wrong, and what a
    // handler threw. Afterwards the reader is not to be used.
    void feed(std::string_view bytes);
    void finish();

private:
    struct ParserFree {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };
    template <class Body>
    void call(Body&& body) noexcept;
    void setHandlers();
    char* room();
    void parseGathered(bool last);
    void enter(std::string_view name, const char** attributes);
    [[noreturn]] void refuse(std::string_view reason) const;

    XmlHandler& handler_;
    XmlLimits limits_;
    std::unique_ptr<XML_ParserStruct, ParserFree> parser_;
    uint64_t taken_ = 0;      // bytes from the caller
    uint64_t fed_ = 0;        // to expat
    char* buffer_ = nullptr;  // expat's, for the next piece; null: not asked for yet
    size_t gathered_ = 0;     // bytes in it
    unsigned depth_ = 0;
    std::exception_ptr failure_;  // thrown inside a handler, carried past expat
};

}  // namespace vxhost
