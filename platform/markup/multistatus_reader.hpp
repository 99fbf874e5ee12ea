// The responses of a multistatus (RFC 4918, 13), one by one, from pieces of XML as they arrive.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/markup/xml_reader.hpp"

namespace vxhost {

// One response; valid until the reader takes more.
struct MultistatusResponse {
    enum Value : uint8_t {
        displayName,
        contentLength,
        lastModified,
        creationDate,
        entityTag,
        valueCount
    };

    std::string_view href;    // the first, without the blanks around it; may be empty
    std::string_view status;  // of its own, a status line; empty: none
    bool hasPropstat = false;
    // What its propstats of status 2xx say, as it stands there; empty: nothing.
    std::array<std::string_view, valueCount> values{};
    bool isCollection = false;
    int32_t refusedStatus = 0;  // of the first propstat other than 2xx; 0: there is none
    const std::vector<std::string>* others = nullptr;  // values of the other names, in their order

    // Of no propstat, but a status of its own other than 2xx (RFC 4918, 14.24).
    bool isRefused() const;
};

class MultistatusReader final : private XmlHandler {
public:
    using Take = std::function<void(const MultistatusResponse&)>;
    // Told of the root, which may be no multistatus, as expat names it; may be empty.
    using TakeRoot = std::function<void(std::string_view name)>;

    // others: names ("uri\nlocal") of further properties, whose texts are read, or that of the href
    // in one.
    explicit MultistatusReader(Take take, TakeRoot takeRoot = {},
                               std::vector<std::string> others = {});

    // Both throw as XmlReader does.
    void feed(std::string_view bytes) { reader_.feed(bytes); }
    void finish() { reader_.finish(); }

    // What the latest response said, until the next one begins.
    const MultistatusResponse& latest() const { return response_; }

private:
    enum class Place : uint8_t;
    struct Transition;
    static const Transition transitions[];

    struct Properties {
        std::array<std::string, MultistatusResponse::valueCount> values;
        std::vector<std::string> others;
        bool isCollection = false;
        void clear();
    };

    void startElement(std::string_view name) override;
    void endElement() override;
    void characters(std::string_view text) override;

    Place placeOf(std::string_view name, Place parent);
    std::string* textAt(Place place);  // where the text of an element goes; null: nowhere
    void begin(Place place);
    void end(Place place);
    void mergeFound();
    void tellResponse();

    Take take_;
    TakeRoot takeRoot_;
    const std::vector<std::string> otherNames_;

    std::vector<Place> open_;  // from the root inwards
    std::string* text_ = nullptr;

    // Of the response being read.
    std::string href_;
    std::string status_;  // its own
    bool hasHref_ = false;
    Properties kept_;
    // Of its propstat being read; the status comes after the properties.
    std::string foundStatus_;
    Properties found_;
    size_t other_ = 0;  // which one is being read

    MultistatusResponse response_;
    XmlReader reader_;
};

}  // namespace vxhost
