#include "platform/markup/xml_reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/base/status.hpp"
#include "platform/markup/byte_encoding.hpp"

namespace vxhost {
namespace {

constexpr char NAMESPACE_SEPARATOR = '\n';
// Bytes of a piece for expat, which reads markup that has not ended again with every piece: the
// time for smaller ones would grow with their square, and the longest markup must be noticed.
constexpr size_t PIECE = 16 << 10;

XmlReader& readerOf(void* data) {
    return *static_cast<XmlReader*>(data);
}

}  // namespace

XmlReader::XmlReader(XmlHandler& handler, const XmlLimits& limits, const char* encoding)
    : handler_(handler),
      limits_(limits),
      parser_(XML_ParserCreateNS(encoding, NAMESPACE_SEPARATOR)) {
    if (!parser_) throw std::bad_alloc();
    setHandlers();
}

// No exception may cross expat: it is kept, and thrown again behind it.
template <class Body>
void XmlReader::call(Body&& body) noexcept {
    if (failure_) return;  // expat may still tell what it had begun
    try {
        body();
    } catch (...) {
        failure_ = std::current_exception();
        XML_StopParser(parser_.get(), XML_FALSE);
    }
}

void XmlReader::setHandlers() {
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(
        parser_.get(),
        [](void* data, const char* name, const char** attributes) {
            auto& reader = readerOf(data);
            reader.call([&] { reader.enter(name, attributes); });
        },
        [](void* data, const char*) {
            auto& reader = readerOf(data);
            --reader.depth_;
            reader.call([&] { reader.handler_.endElement(); });
        });
    XML_SetCharacterDataHandler(parser_.get(), [](void* data, const char* text, int length) {
        auto& reader = readerOf(data);
        reader.call([&] { reader.handler_.characters({text, static_cast<size_t>(length)}); });
    });
    XML_SetStartDoctypeDeclHandler(
        parser_.get(), [](void* data, const char*, const char*, const char*, int) {
            auto& reader = readerOf(data);
            reader.call([&] { reader.refuse("a document type is not accepted"); });
        });
    XML_SetUnknownEncodingHandler(
        parser_.get(),
        [](void*, const char* name, XML_Encoding* encoding) -> int {
            return fillByteEncoding(name, *encoding) ? XML_STATUS_OK : XML_STATUS_ERROR;
        },
        nullptr);
}

void XmlReader::enter(std::string_view name, const char** attributes) {
    if (++depth_ > limits_.depth) refuse("elements are nested too deeply");
    handler_.startElement(name);
    for (; *attributes; attributes += 2) handler_.attribute(attributes[0], attributes[1]);
}

void XmlReader::feed(std::string_view bytes) {
    if (bytes.size() > limits_.bytes - taken_) refuse("the document is too large");
    taken_ += bytes.size();
    // Scripts on servers print empty lines in front of the declaration, where XML allows nothing.
    const bool begun = fed_ > 0 || gathered_ > 0;
    if (!begun) bytes.remove_prefix(std::min(bytes.size(), bytes.find_first_not_of("\r\n\t ")));
    while (!bytes.empty()) {
        const size_t taken = bytes.copy(room() + gathered_, PIECE - gathered_);
        bytes.remove_prefix(taken);
        gathered_ += taken;
        if (gathered_ == PIECE) parseGathered(false);
    }
}

void XmlReader::finish() {
    parseGathered(true);
}

// Expat's own buffer, so that nothing is copied twice.
char* XmlReader::room() {
    if (!buffer_) buffer_ = static_cast<char*>(XML_GetBuffer(parser_.get(), PIECE));
    if (!buffer_) throw std::bad_alloc();
    return buffer_;
}

void XmlReader::parseGathered(bool last) {
    room();
    buffer_ = nullptr;
    const auto status = XML_ParseBuffer(parser_.get(), static_cast<int>(gathered_), last);
    fed_ += std::exchange(gathered_, 0);
    if (failure_) std::rethrow_exception(failure_);
    if (status != XML_STATUS_OK) refuse(XML_ErrorString(XML_GetErrorCode(parser_.get())));
    // expat keeps markup that has not ended yet, and reads it again with every piece.
    const auto understood =
        static_cast<uint64_t>(std::max<XML_Index>(0, XML_GetCurrentByteIndex(parser_.get())));
    if (fed_ - understood > limits_.markup) refuse("one piece of markup is too long");
}

void XmlReader::refuse(std::string_view reason) const {
    throw Failure(WEBLNK_BAD_ANSWER,
                  fmt::format("XML, line {}: {}", XML_GetCurrentLineNumber(parser_.get()), reason));
}

}  // namespace vxhost
