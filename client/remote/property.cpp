#include "client/remote/property.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/markup/xml_reader.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using vxhost::Request;

constexpr std::string_view dav = "DAV:";
constexpr std::string_view xmlNamespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
constexpr uint64_t mostAnswerBytes = 16 << 20;  // of an answer

// As expat names an element: "uri\nlocal", or "local".
PropertyName splitName(std::string_view name) {
    const size_t end = name.find('\n');
    if (end == name.npos) return {{}, std::string(name)};
    return {std::string(name.substr(0, end)), std::string(name.substr(end + 1))};
}

// Text as XML, piece by piece. Each element declares its namespace where it is another one than
// that of what it is in, so that it means the same wherever it is put.
class FragmentWriter {
public:
    void start(std::string_view name) {
        closeTag();
        const PropertyName its = splitName(name);
        text_ += '<' + its.local;
        const std::string_view outer = open_.empty() ? std::string_view() : open_.back().nameSpace;
        if (its.nameSpace != outer) {
            text_ += fmt::format(" xmlns=\"{}\"", vxhost::escapeXml(its.nameSpace));
        }
        open_.push_back(its);
        isOpen_ = true;
        attributes_ = 0;
    }
    void attribute(std::string_view name, std::string_view value) {
        const PropertyName its = splitName(name);
        std::string prefix;
        if (its.nameSpace == xmlNamespace) {
            prefix = "xml:";
        } else if (!its.nameSpace.empty()) {
            prefix = fmt::format("a{}:", ++attributes_);
            text_ +=
                fmt::format(" xmlns:a{}=\"{}\"", attributes_, vxhost::escapeXml(its.nameSpace));
        }
        text_ += fmt::format(" {}{}=\"{}\"", prefix, its.local, vxhost::escapeXml(value));
    }
    void end() {
        if (isOpen_) {
            text_ += "/>";
        } else {
            text_ += "</" + open_.back().local + '>';
        }
        isOpen_ = false;
        open_.pop_back();
    }
    void characters(std::string_view text) {
        closeTag();
        text_ += vxhost::escapeXml(text);
    }
    std::string take() { return std::exchange(text_, {}); }

private:
    void closeTag() {
        if (isOpen_) text_ += '>';
        isOpen_ = false;
    }

    std::string text_;
    std::vector<PropertyName> open_;
    bool isOpen_ = false;  // the last tag, which more attributes may follow
    size_t attributes_ = 0;
};

// What a multistatus says of one resource.
struct ToldProperties {
    std::vector<Property> properties;
    std::vector<std::string> reasons;  // of each: what its propstat says besides
    int status = 0;                    // of the response itself; 0: none
    std::string reason;                // the same
};

class PropertyReader : public vxhost::BodySink, public vxhost::XmlHandler {
public:
    void begin(const Answer& answer) override {
        told_ = {};
        open_.clear();
        reader_.reset();
        if (answer.status == 207) reader_.emplace(*this, vxhost::XmlLimits{mostAnswerBytes});
    }
    void write(std::string_view piece) override {
        if (reader_) reader_->feed(piece);
    }
    bool restartable() const override { return true; }

    // Nothing when no multistatus came. Throws a Failure.
    std::optional<ToldProperties> finish() {
        if (!reader_) return {};
        reader_->finish();
        return std::move(told_);
    }

private:
    bool isInProperty() const { return property_ > 0; }
    std::string_view parent() const {
        return open_.size() < 2 ? std::string_view() : open_[open_.size() - 2];
    }

    void startElement(std::string_view name) override {
        if (isInProperty()) {
            ++property_;
            found_.isXml = true;
            fragment_.start(name);
            return;
        }
        open_.emplace_back(vxhost::davName(name));
        const bool isProperty = open_.size() > 1 && parent() == "prop";
        if (isProperty) {
            property_ = 1;
            found_ = Property{splitName(name), false, {}, 0};
        } else if (parent() == "error") {
            reason_ += (reason_.empty() ? "" : ", ") + splitName(name).local;
        } else if (open_.back() == "propstat") {
            first_ = told_.properties.size();
            status_.clear();
            reason_.clear();
        }
        text_.clear();
    }
    void attribute(std::string_view name, std::string_view value) override {
        if (property_ > 1) fragment_.attribute(name, value);
    }
    void characters(std::string_view text) override {
        if (!isInProperty()) {
            text_ += text;
            return;
        }
        found_.value += text;
        fragment_.characters(text);
    }
    void endElement() override {
        if (property_ > 1) {
            --property_;
            return fragment_.end();
        }
        const std::string local = std::move(open_.back());
        open_.pop_back();
        const std::string_view outer = open_.empty() ? std::string_view() : open_.back();
        if (isInProperty()) {
            property_ = 0;
            std::string xml = fragment_.take();
            if (found_.isXml) found_.value = std::move(xml);
            told_.properties.push_back(std::move(found_));
        } else if (local == "status" && outer == "propstat") {
            status_ = text_;
        } else if (local == "status" && outer == "response") {
            told_.status = vxhost::parseStatusLine(text_).value_or(0);
        } else if (outer == "error") {
            addReason();
        } else if (local == "responsedescription") {
            addReason();
            if (outer == "response") told_.reason = std::string(vxhost::trim(text_));
        } else if (local == "propstat") {
            endPropstat();
        }
    }

    void addReason() {
        const std::string text(vxhost::trim(text_));
        reason_ += (reason_.empty() || text.empty() ? "" : ": ") + text;
    }

    // The status comes behind the properties that it is of.
    void endPropstat() {
        const int status = vxhost::parseStatusLine(vxhost::trim(status_)).value_or(200);
        for (size_t i = first_; i < told_.properties.size(); ++i) {
            told_.properties[i].status = status;
            told_.reasons.push_back(reason_);
        }
    }

    std::optional<vxhost::XmlReader> reader_;
    std::vector<std::string> open_;  // outside of properties: local names of "DAV:", or empty
    size_t property_ = 0;            // elements that are open from a property inwards
    Property found_;
    FragmentWriter fragment_;
    std::string text_, status_, reason_;
    size_t first_ = 0;  // of the propstat
    ToldProperties told_;
};

// Its prefix is not seen by elements that have none, which are in no namespace.
std::string startTag(const PropertyName& name) {
    if (name.nameSpace.empty()) return name.local;
    return fmt::format("P:{} xmlns:P=\"{}\"", name.local, vxhost::escapeXml(name.nameSpace));
}

std::string element(const PropertyName& name, const std::string& content) {
    const std::string tag = startTag(name);
    if (content.empty()) return fmt::format("<{}/>", tag);
    return fmt::format("<{}>{}</{}>", tag, content, tag.substr(0, tag.find(' ')));
}

std::string documentFor(AskedFor what, const std::vector<PropertyName>& names) {
    std::string inside = what == AskedFor::names ? "<D:propname/>" : "<D:allprop/>";
    if (what == AskedFor::these) {
        inside = "<D:prop>";
        for (const PropertyName& name : names) inside += element(name, {});
        inside += "</D:prop>";
    }
    return fmt::format("{}<D:propfind xmlns:D=\"DAV:\">{}</D:propfind>", declaration, inside);
}

std::string xmlOf(const PropertyChange& change) {
    const std::string value = change.value.value_or("");
    return change.isXml ? value : vxhost::escapeXml(value);
}

std::string documentFor(const std::vector<PropertyChange>& changes) {
    std::string inside;
    for (const PropertyChange& change : changes) {
        const std::string its = element(change.name, xmlOf(change));
        const std::string_view verb = change.value ? "set" : "remove";
        inside += fmt::format("<D:{0}><D:prop>{1}</D:prop></D:{0}>", verb, its);
    }
    return fmt::format("{}<D:propertyupdate xmlns:D=\"DAV:\">{}</D:propertyupdate>", declaration,
                       inside);
}

Error notProperties() {
    return localError(Kind::network, "The server's answer tells nothing of properties.");
}

std::string refusalText(int status, const std::string& reason) {
    if (reason.empty()) return fmt::format("the server refused it with {}.", status);
    return fmt::format("the server refused it with {}: {}", status, reason);
}

// What was refused, and why; what fails because of that alone (424) is not told.
Result<void> outcomeOf(const ToldProperties& told, Answer answer) {
    std::vector<std::string> sentences;
    int first = told.status >= 300 ? told.status : 0;
    if (first != 0) sentences.push_back(refusalText(first, told.reason));
    size_t done = 0;
    for (size_t i = 0; i < told.properties.size(); ++i) {
        const Property& each = told.properties[i];
        if (vxhost::isSuccess(each.status)) ++done;
        if (vxhost::isSuccess(each.status) || each.status == 424) continue;
        if (first == 0) first = each.status;
        sentences.push_back(
            fmt::format("{}: {}", shownName(each.name), refusalText(each.status, told.reasons[i])));
    }
    const bool anyFailed = first != 0 || done < told.properties.size();
    if (!anyFailed) return {};
    answer.status = first == 0 ? 424 : first;
    Error error = refusal(answer);
    if (!sentences.empty()) error.sentences = std::move(sentences);
    error.sentences.emplace_back(done == 0 ? "Nothing was changed."
                                           : "The others were changed all the same, which is this "
                                             "server's fault (RFC 4918, 9.2).");
    return error;
}

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.' || static_cast<unsigned char>(c) >= 0x80;
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ';
}

class Nothing : public vxhost::XmlHandler {
public:
    void startElement(std::string_view) override {}
    void endElement() override {}
    void characters(std::string_view) override {}
};

Result<void> checkXml(const std::string& document) {
    try {
        Nothing nothing;
        vxhost::XmlReader reader(nothing, {mostAnswerBytes}, "UTF-8");
        reader.feed(document);
        reader.finish();
        return {};
    } catch (const vxhost::Failure& failure) {
        return localError(Kind::usage, failure.what());
    }
}

}  // namespace

std::string shownName(const PropertyName& name) {
    if (name.nameSpace == dav) return "D:" + name.local;
    return fmt::format("{{{}}}{}", name.nameSpace, name.local);
}

Result<PropertyName> parsePropertyName(std::string_view typed) {
    PropertyName name;
    const size_t end = typed.rfind('}');
    if (typed.starts_with('{') && end != typed.npos) {
        name = {std::string(typed.substr(1, end - 1)), std::string(typed.substr(end + 1))};
    } else if (typed.starts_with("D:")) {
        name = {std::string(dav), std::string(typed.substr(2))};
    } else {
        return localError(Kind::usage,
                          fmt::format("\"{}\" is no name of a property: those are "
                                      "{{namespace}}name, as {{http://example.org/}}color, or "
                                      "D:name for those of WebDAV itself.",
                                      typed));
    }
    const bool fits = !name.local.empty() && std::ranges::all_of(name.local, isNameCharacter) &&
                      std::ranges::none_of(name.nameSpace, isControl);
    const Result<void> valid =
        fits ? checkXml(element(name, {})) : localError(Kind::usage, "not well-formed");
    if (valid) return name;
    return localError(Kind::usage,
                      fmt::format("\"{}\" is no name that a property can have in XML.", typed));
}

Result<void> checkValue(const PropertyChange& change) {
    return checkXml(fmt::format("<value xmlns:D=\"DAV:\">{}</value>", xmlOf(change)));
}

Task<Result<void>> setFileDate(Remote& remote, std::string url, Time modified,
                               Conditions conditions) {
    std::vector<PropertyChange> changes{
        {{"urn:schemas-microsoft-com:", "Win32LastModifiedTime"}, httpDate(modified)}};
    co_return co_await changeProperties(remote, std::move(url), std::move(changes),
                                        std::move(conditions));
}

Task<Result<std::vector<Property>>> readProperties(Remote& remote, std::string url, AskedFor what,
                                                   std::vector<PropertyName> names) {
    PropertyReader reader;
    std::string document = documentFor(what, names);
    Request request = vxhost::propertiesRequest(std::move(url), 0, std::move(document));
    request.sink = &reader;
    const Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    try {
        std::optional<ToldProperties> told = reader.finish();
        if (told) co_return std::move(told->properties);
        co_return notProperties();
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

Task<Result<void>> changeProperties(Remote& remote, std::string url,
                                    std::vector<PropertyChange> changes, Conditions conditions) {
    PropertyReader reader;
    Request request;
    request.method = "PROPPATCH";
    request.url = std::move(url);
    request.policy = vxhost::changing;
    request.headers = headerLines(conditions);
    request.document = documentFor(changes);
    request.sink = &reader;
    Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    if (answer->status != 207) co_return Result<void>();
    try {
        const std::optional<ToldProperties> told = reader.finish();
        if (!told) co_return notProperties();
        co_return outcomeOf(*told, std::move(*answer));
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

}  // namespace quillon
