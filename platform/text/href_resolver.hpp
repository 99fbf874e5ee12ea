// The hrefs of one PROPFIND answer, made comparable with the URL that was asked.
#pragma once

#include <string>
#include <string_view>

namespace vxhost {

class HrefResolver {
public:
    // The client's URL as spelt, UTF-8; asked: the one that answered, when it is another.
    explicit HrefResolver(std::string_view spelt, std::string asked = {});
    HrefResolver(const HrefResolver&) = delete;
    HrefResolver& operator=(const HrefResolver&) = delete;

    // As short as it can be told, since a listing holds one for each member: a member of the
    // collection as spelt by its segment alone ("a%20b", "sub/"), any other absolute path as it is,
    // and the rest against the URL that was asked (RFC 3986, 5), whole. An href of that resource
    // itself, in whatever spelling, becomes the client's URL as spelt. Origins are not compared for
    // that: an answer names nothing outside the requested resource, and servers behind a proxy name
    // themselves by an address of their own. So does an href whose last segment is no name, or a
    // dot segment: nobody is its member. Valid until the next call, and as long as the href.
    std::string_view resolve(std::string_view href);

private:
    bool isRequested(std::string_view path) const;
    std::string_view segmentIn(std::string_view path) const;

    std::string spelt_;
    std::string base_;              // the URL that was asked, as a request carries it
    std::string_view root_, path_;  // of spelt_
    std::string askedPath_;         // of base_, with single slashes
    bool redirected_;               // to another path than path_
    bool hasSegments_;              // path_ followed by a segment is a member
    std::string result_;
};

}  // namespace vxhost
