// The answer to a PROPFIND, from pieces of XML as they arrive: of each response only what a listing
// reads becomes a node.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/markup/document.hpp"
#include "platform/markup/multistatus_reader.hpp"
#include "platform/markup/node_sharer.hpp"

namespace vxhost {

// In the document, and so in the record of a member: 0 is that of an empty one.
inline constexpr uint64_t unknownSize = UINT64_MAX;

// The document is a multistatus of response elements alone, each with
//   - its first href, rewritten; an empty one, or none, is rewritten, too, and names what was asked
//     (RFC 3986, 4.4);
//   - one propstat with one prop, which holds what the response's propstats of status 2xx say of
//     displayname, getcontentlength, getlastmodified, creationdate and resourcetype (only for a
//     collection); empty when there is none of 2xx: the member exists, and tells nothing.
// Values lose the blanks around them, displayname excepted; an empty one is left out. The size of
// what is no collection is always there, and unknownSize where the server tells no number.
// A response of no propstat but a status of its own other than 2xx (RFC 4918, 14.24) is skipped,
// unless nothing else would be left: it speaks of a member that cannot be read, and must not cost
// the listing of the others. A response with neither stays, without propstat.
// A root that is no multistatus comes alone, under its own name.
class MultistatusBuilder {
public:
    // From an href's text to the one to keep, which must stay valid until the next call.
    using RewriteHref = std::function<std::string_view(std::string_view)>;

    // mostBytes: of memory that the document may take.
    explicit MultistatusBuilder(RewriteHref rewrite = {}, uint64_t mostBytes = UINT64_MAX);

    // Throw as MultistatusReader does; then there is no document.
    void feed(std::string_view bytes) { reader_.feed(bytes); }
    DocumentPtr finish();

    size_t skipped() const { return skipped_; }  // responses left out

    // What the latest response said of itself, as it stands there; valid until the next feed().
    struct Told {
        std::string_view entityTag, contentLength, lastModified;  // empty: nothing
        bool isCollection;
    };
    Told latest() const;

private:
    void beginDocument(std::string_view root);
    void appendResponse(const MultistatusResponse& response);
    void append(std::string_view href, const vx::Node* propstat);
    const vx::Node* makePropstat(const MultistatusResponse& response);

    RewriteHref rewrite_;
    uint64_t mostBytes_;
    DocumentPtr document_ = std::make_unique<TreeDocument>();
    NodeArena nodes_{*document_};
    NodeSharer sharer_{*document_, nodes_};
    vx::Node* lastResponse_ = nullptr;

    size_t skipped_ = 0;
    std::string firstSkipped_;  // its href
    MultistatusReader reader_;
};

}  // namespace vxhost
